// A file of 30 MB from a browser to the upload directory, against the way through the websocket module alone and against
// `cp`, and what memory that takes; and a configuration of 1 MB, against a file. file_upload.cpp measures.
//
//   tests/kit/js/isolated node bench/audio_upload.mjs [rounds]
import { spawnSync } from "node:child_process";
import path from "node:path";
import { makeConfigurations } from "../tests/kit/js/configurations.mjs";
import { kLoggers, Network } from "../tests/kit/js/network.mjs";
import * as paths from "../tests/kit/js/paths.mjs";

const [rounds = "15"] = process.argv.slice(2);
if (!paths.isolated) throw new Error("run this with tests/kit/js/isolated: it uses /tmp and /var/opt");
makeConfigurations();
const echo = `
<Location "/echo">
    SetHandler websocket-handler
    WebSocketHandler "${path.join(paths.buildDir, "tests/kit/echo_plugin.so")}" echo_init
</Location>
`;
// The logger leaves the files where they are, so that they can be looked at.
const network = await Network.start({
  loggers: [{ ...kLoggers[0], scenario: { requests: { 87: { answers: 0 } } } }],
  apache: { extra: echo },
});
network.expectInLog(/./);
try {
  const args = [network.apache.port, network.apache.part.pid, rounds, paths.configurations].map(String);
  const { status } = spawnSync(path.join(paths.buildDir, "bench/file_upload"), args, { stdio: "inherit" });
  process.exitCode = status ?? 1;
} finally {
  await network.stop();
}
