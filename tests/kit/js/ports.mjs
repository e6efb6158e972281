// Free ports on loopback.
import dgram from "node:dgram";
import { readFileSync } from "node:fs";
import net from "node:net";

// Below the ports that the system gives to whoever connects, and above those that have a meaning here.
const kLowest = 21_000;
const kHighest = Math.min(32_000, lowestEphemeral() - 1);

function lowestEphemeral() {
  return Number(readFileSync("/proc/sys/net/ipv4/ip_local_port_range", "utf8").split(/\s+/)[0]);
}

// A port that nobody listens on, and that no other test gets as long as this process runs.
export async function freePort() {
  for (;;) {
    const port = kLowest + Math.floor(Math.random() * (kHighest - kLowest));
    if ((await reserve(port)) && !(await listens(port))) return port;
  }
}

// Between the choice of a port and its use others choose, too: the UDP port of the same number, which nobody else here
// uses and which goes with this process, keeps them from it.
function reserve(port) {
  return new Promise((resolve) => {
    const mark = dgram.createSocket("udp4");
    mark.once("error", () => {
      mark.close();
      resolve(false);
    });
    mark.bind({ port, address: "127.0.0.1", exclusive: true }, () => resolve(true));
    mark.unref();
  });
}

// Whether somebody listens there now.
export function listens(port) {
  return new Promise((resolve) => {
    const socket = net.connect(port, "127.0.0.1");
    socket.once("connect", () => {
      socket.destroy();
      resolve(true);
    });
    socket.once("error", () => resolve(false));
  });
}
