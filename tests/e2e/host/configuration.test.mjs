import { test } from "node:test";
import assert from "node:assert/strict";
import fs from "node:fs";

import { checkConfig, echoPlugin, HostApache, location, probePlugin } from "../../kit/js/host_apache.mjs";
import { configurationOf } from "../../kit/js/live_view_apache.mjs";
import * as paths from "../../kit/js/paths.mjs";
import { until } from "../../kit/js/wait.mjs";
import { Peer, TEXT } from "../../kit/js/peer.mjs";

async function refused(config, pattern) {
  const { code, output } = checkConfig(config);
  assert.notEqual(code, 0);
  assert.match(output, pattern);
}

async function accepted(config, options) {
  const { code, output } = checkConfig(config, options);
  assert.equal(code, 0, output);
}

test("a plug-in that is not there is a clear error", () =>
  refused(
    location("/a", "/nonexistent/plugin.so", "x_init"),
    /cannot load the websocket plug-in \/nonexistent\/plugin.so: .*No such file/,
  ));

test("a file that is no library is a clear error", () =>
  refused(location("/a", paths.apacheTemplate, "x_init"), /cannot load the websocket plug-in .*invalid ELF/));

test("an unknown init function is a clear error", () =>
  refused(location("/a", echoPlugin, "x_init"), /the websocket plug-in .*echo_plugin.so has no function x_init/));

for (const [init, pattern] of Object.entries({
  newer_init: /newer_init of the websocket plug-in .*: its plug-in record has version 7, not 0/,
  truncated_init: /truncated_init .*: its plug-in record has 8 bytes, not \d+/,
  mute_init: /mute_init .*: its plug-in record lacks on_connect or on_message/,
  null_init: /null_init .*: it gave no plug-in record/,
  failing_init: /failing_init of the websocket plug-in .* failed: cannot start/,
})) {
  test(`${init} is a clear error`, () => refused(location("/a", probePlugin, init), pattern));
}

test("directives take what they should, in server and directory context", async () => {
  await accepted(`WebSocketHandler "${echoPlugin}" echo_init
    WebSocketMaxMessageSize 1
    MaxMessageSize 33554432
    WebSocketOriginCheck TRUSTED
    WebSocketTrustedOrigin https://a.example http://b.example:81
    WebSocketPingInterval 0
    WebSocketMaxTextSize 1
    WebSocketMemoryLimit 0
    WebSocketMaxConnections 100 10
    WebSocketSystemCalls restricted
    WebSocketProcessPerConnection On
    <Location "/a">
      WebSocketMaxConnections 5
      WebSocketMemoryLimit 67108864
      WebSocketSystemCalls ALL
      WebSocketReadPath /etc "/not there"
      WebSocketReadPath relative/to/the/root
      WebSocketMakePath /tmp
      WebSocketWritePath /var/tmp
      WebSocketConnectPort 1 65535
      WebSocketHandler "${probePlugin}" probe_init
      WebSocketPingInterval 30
      WebSocketOriginCheck Off
    </Location>`);
});

for (const [line, pattern] of [
  ["WebSocketMaxMessageSize 0", /WebSocketMaxMessageSize takes a size in bytes from 1 to \d+, not "0"/],
  ["WebSocketMaxMessageSize -5", /not "-5"/],
  ["WebSocketMaxMessageSize 10M", /not "10M"/],
  ["MaxMessageSize 99999999999999999999", /MaxMessageSize takes .*not "99999999999999999999"/],
  ["WebSocketOriginCheck Never", /WebSocketOriginCheck takes Same, Trusted or Off, not "Never"/],
  ["WebSocketTrustedOrigin example.org", /takes origins like https:.*not "example.org"/],
  ["WebSocketPingInterval soon", /WebSocketPingInterval takes seconds from 0 .*not "soon"/],
  ["WebSocketMaxTextSize 0", /WebSocketMaxTextSize takes a size in bytes from 1 to \d+, not "0"/],
  ["WebSocketMemoryLimit 1000", /WebSocketMemoryLimit takes bytes from 67108864 to \d+, or 0 for no limit, not "1000"/],
  ["WebSocketMaxConnections many", /WebSocketMaxConnections takes numbers from 0 \(any\) to 8192, in all and from one address, not "many"/],
  ["WebSocketMaxConnections 10 -1", /not "-1"/],
  ["WebSocketMaxConnections 8193", /not "8193"/],
  ["WebSocketSystemCalls Some", /WebSocketSystemCalls takes All or Restricted, not "Some"/],
  ["WebSocketConnectPort 0", /WebSocketConnectPort takes TCP ports from 1 to 65535, not "0"/],
  ["WebSocketConnectPort 65536", /not "65536"/],
  ["WebSocketProcessPerConnection Yes", /WebSocketProcessPerConnection must be On or Off/],
  ["WebSocketHandler only-one", /WebSocketHandler takes two arguments/],
]) {
  test(`"${line}" is refused`, () => refused(line, pattern));
}

test("an inner location inherits what it does not set", async () => {
  const server = await HostApache.start({
    config: `WebSocketMaxMessageSize 10
      WebSocketHandler "${echoPlugin}" echo_init
      <Location "/a">
        SetHandler websocket-handler
      </Location>
      <Location "/a/b">
        WebSocketMaxMessageSize 20
      </Location>`,
  });
  for (const [at, limit] of [
    ["/a", 10],
    ["/a/b", 20],
  ]) {
    const peer = await Peer.open(server, at);
    await peer.expectEcho(TEXT, "x".repeat(limit));
    peer.text("x".repeat(limit + 1));
    await peer.expectClose(1009);
  }
  await server.stop();
});

test("the shipped configuration serves the page and ten browsers at once", async () => {
  // The test plug-in in the place of the product.
  const server = await HostApache.start({
    whole: (apache) => configurationOf(apache, { plugin: probePlugin }).replace("krwebsocket_init", "probe_init"),
  });
  const processes = () => fs.readFileSync(`/proc/${server.part.pid}/task/${server.part.pid}/children`, "latin1").trim().split(" ");
  // Each browser comes with three connections for the page and one for the websocket. Who finds no idle process has
  // to wait until Apache has started one, which it does slowly.
  await until("enough processes", () => processes().length >= 10 * 4);
  const page = await fetch(`http://127.0.0.1:${server.port}/`);
  assert.equal(page.status, 200);
  assert.match(page.headers.get("content-type"), /text\/html/);
  const browsers = await Promise.all(
    [...Array(10)].map(async () => {
      const pages = await Promise.all(
        [...Array(3)].map(() => Peer.ask(server, "/index.html", { headers: { Upgrade: undefined, Connection: "keep-alive" } })),
      );
      const peer = await Peer.open(server, "/live");
      peer.text("pid");
      await peer.nextText();
      return [peer, ...pages];
    }),
  );
  for (const [peer, ...pages] of browsers) {
    await peer.bye();
    for (const connection of pages) connection.hangUp();
  }
  await server.stop();
});

for (const mpm of ["worker", "event"]) {
  test(`a plug-in that needs a process for each connection is refused under mpm_${mpm}`, async () => {
    const at = (value) => location("/a", echoPlugin, "echo_init", `WebSocketProcessPerConnection ${value}`);
    const { code, output } = checkConfig(at("On"), { mpm });
    assert.notEqual(code, 0);
    const sentence =
      "WebSocketProcessPerConnection is on here, since the plug-in can have one session in each process: it needs " +
      `mpm_prefork, not mpm_${mpm}, which serves many connections in one process ` +
      "(Debian: a2dismod mpm_event; a2enmod mpm_prefork)";
    assert.ok(output.split("\n").includes(sentence), output);
    await accepted(at("Off"), { mpm });
  });

  test(`the module serves under mpm_${mpm} too, without ending the process`, async () => {
    const server = await HostApache.start({
      mpm,
      config: location("/echo", echoPlugin, "echo_init") + location("/probe", probePlugin, "probe_init"),
    });
    const pids = [];
    for (let i = 0; i < 10; i++) {
      const peer = await Peer.open(server, "/probe");
      peer.text("pid");
      pids.push(await peer.nextText());
      await peer.bye();
    }
    assert.ok(new Set(pids).size < 10);
    const peers = await Promise.all([...Array(8)].map(() => Peer.open(server, "/echo")));
    await Promise.all(peers.map((peer) => peer.expectEcho(TEXT, "x".repeat(100_000))));
    await Promise.all(peers.map((peer) => peer.bye()));
    await server.stop();
  });
}
