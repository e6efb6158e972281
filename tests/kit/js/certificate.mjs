// Certificates for TLS on loopback.
import { execFileSync } from "node:child_process";
import path from "node:path";

// Makes one of its own kind in `dir`; answers with the files {certificate, key}.
export function makeCertificate(dir) {
  const files = { certificate: path.join(dir, "certificate.pem"), key: path.join(dir, "key.pem") };
  const kind = ["-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2"];
  const subject = ["-subj", "/CN=localhost", "-addext", "subjectAltName=IP:127.0.0.1,DNS:localhost"];
  const use = ["-addext", "basicConstraints=critical,CA:FALSE"];
  execFileSync("openssl", ["req", ...kind, ...subject, ...use, "-keyout", files.key, "-out", files.certificate], { stdio: "pipe" });
  return files;
}
