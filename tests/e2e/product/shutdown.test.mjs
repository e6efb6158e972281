// The web server ends while a browser is connected.
import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { kLoggers, Network } from "../../kit/js/network.mjs";
import { until } from "../../kit/js/wait.mjs";

// apachectl's words for the signals.
for (const [name, signal] of [
  ["stop", "SIGTERM"],
  ["graceful stop", "SIGWINCH"],
]) {
  describe(`a ${name} of Apache during a session`, () => {
    test("ends the session in order, and the server", async () => {
      const network = await Network.start();
      try {
        const clients = await Promise.all([network.connectReady(), network.connectReady()]);
        network.apache.part.signal(signal);
        for (const client of clients) {
          const { code } = await client.closed(20_000);
          assert.equal(code, 1001);
        }
        const { code } = await network.apache.part.exited(30_000);
        assert.equal(code, 0);
        // A session that was ending already may do so a moment after the server itself.
        const count = (text) => network.apache.log.text.split(text).length - 1;
        const opened = count("krwebsocket opened!!!\n");
        for (const text of ["krwebsocket_on_disconnect\n", "\nFinished\n"]) {
          await until(
            () => `${opened} times "${text.trim()}", not ${count(text)}`,
            () => count(text) === opened,
          );
        }
      } finally {
        await network.stop();
      }
    });
  });
}

describe("a graceful restart of Apache during a session", () => {
  test("new browsers are served", async () => {
    const network = await Network.start();
    try {
      await network.connectReady();
      network.apache.part.signal("SIGUSR1");
      await until("the restart", () => network.apache.log.text.includes("Graceful restart requested"));
      const client = await network.connectReady();
      assert.equal(client.info.configs.length, 3);
    } finally {
      await network.stop();
    }
  });

  test("a browser that has not yet got what it begins with is sent away, comes again and is served", async () => {
    const [front, ...others] = kLoggers;
    // Busy for so long that the restart comes first.
    const network = await Network.start({ loggers: [{ ...front, scenario: { requests: { 53: { busy: 7 } } } }, ...others] });
    network.expectInLog(/^\[ERROR\] KLV::WaResponseTimeZone\(\) /);
    const opened = () => network.apache.log.text.split("krwebsocket opened!!!\n").length - 1;
    try {
      const ready = network.connectReady();
      await until("the session", () => opened() === 1);
      network.apache.part.signal("SIGUSR1");
      assert.equal((await ready).info.configs.length, 3);
      assert.ok(opened() > 1);
    } finally {
      await network.stop();
    }
  });
});
