// Free ports on loopback.
import net from "node:net";

const given = new Set();

// A port that nobody listens on and that this process has not given away yet.
export async function freePort() {
  for (;;) {
    const port = await new Promise((resolve, reject) => {
      const server = net.createServer();
      server.once("error", reject);
      server.listen(0, "127.0.0.1", () => {
        const { port: free } = server.address();
        server.close(() => resolve(free));
      });
    });
    if (given.has(port)) continue;
    given.add(port);
    return port;
  }
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
