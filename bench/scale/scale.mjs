// What a logger network costs on this machine as it grows: with the number of loggers, of signals on each, of values a
// second that each has, or of browsers, the others staying as they are. Each size that is measured takes the place of
// the former measurement of the same size in docs/scale/measured.json, of which bench/scale/report.mjs makes the tables
// and plots of docs/scale.md.
//
//   tests/kit/js/isolated node bench/scale/scale.mjs loggers|signals|values|browsers size...
//   tests/kit/js/isolated node bench/scale/scale.mjs rare loggers...     at rest, with a tenth of the heartbeats
import { keep } from "./kept.mjs";
import { kRare, kRate, kStarted, measurePoint } from "./point.mjs";

const kUsual = { loggers: 4, signals: 100, values: 20, browsers: 4 };

const [axis, ...sizes] = process.argv.slice(2);
if ((axis !== "rare" && !(axis in kUsual)) || sizes.length === 0) {
  console.error("usage: bench/scale/scale.mjs loggers|signals|values|browsers|rare size...");
  process.exit(2);
}

for (const size of sizes.map(Number)) {
  if (axis === "rare") {
    const point = await measurePoint({ ...kUsual, loggers: size, browsers: 0 }, console.log, kRare);
    keep(axis, "loggers", point);
    console.log(
      `${size} loggers, rare heartbeats: ${point.rest.messagesOut.toFixed(0)} messages/s, cores at rest ${point.rest.machine.toFixed(2)}`,
    );
    continue;
  }
  const point = await measurePoint({ ...kUsual, [axis]: size }, console.log);
  keep(axis, axis, point);
  const { rest, use, arrival, came } = point;
  console.log(
    `${size} ${axis}: together after ${point.together.toFixed(1)} s; informed after ${arrival.informed.toFixed(0)} ms, ` +
      `catalogue ${arrival.catalogue.toFixed(0)} ms; ${came.perSecond.toFixed(0)} of ${point.browsers * kStarted * kRate} values/s, ` +
      `median ${came.median?.toFixed(1)} ms, 99th ${came.p99?.toFixed(1)} ms; ` +
      `cores at rest ${rest.machine.toFixed(2)}, in use ${use.machine.toFixed(2)}; bus ${use.messagesOut.toFixed(0)} messages/s out`,
  );
}
