// Serves a folder of built pages with the policy that the product's web server sends.
import { createReadStream } from "node:fs";
import { stat } from "node:fs/promises";
import http from "node:http";
import path from "node:path";

const kTypes = { ".html": "text/html", ".js": "text/javascript", ".css": "text/css", ".svg": "image/svg+xml", ".woff2": "font/woff2" };
const kPolicy =
  "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self' data: blob:; media-src blob:; " +
  "worker-src 'self'; font-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

// Resolves to { address, close }.
export async function serveFolder(folder) {
  const server = http.createServer(async (request, response) => {
    const file = path.join(folder, path.normalize(new URL(request.url, "http://localhost").pathname));
    const found = file.startsWith(folder) && (await stat(file).catch(() => null))?.isFile();
    if (!found) {
      response.writeHead(404).end();
      return;
    }
    response.writeHead(200, {
      "content-type": kTypes[path.extname(file)] ?? "application/octet-stream",
      "content-security-policy": kPolicy,
    });
    createReadStream(file).pipe(response);
  });
  await new Promise((resolve) => server.listen(0, "127.0.0.1", resolve));
  return { address: `http://127.0.0.1:${server.address().port}`, close: () => new Promise((resolve) => server.close(resolve)) };
}
