// Makes the tables, the model and the plots of docs/scale.md of what bench/scale/scale.mjs and bench/scale/joined.mjs have
// measured. With --check it only tells whether they are as the measurements say.
//
//   node bench/scale/report.mjs [--check]
import { existsSync, readFileSync, writeFileSync } from "node:fs";
import path from "node:path";
import { sourceDir } from "../../tests/kit/js/paths.mjs";
import { kept } from "./kept.mjs";
import { kCosts, modelOf } from "./model.mjs";
import { planOf } from "./plan.mjs";
import { svgOf } from "./plot.mjs";
import { number, table } from "./text.mjs";

const { machine, axes } = kept();
const model = modelOf(axes);

const share = (cores) => number(100 * cores);
const megabytes = (bytes) => number(bytes / 1e6);

const kAxes = {
  loggers: "loggers",
  signals: "signals of each logger",
  values: "values/s of each logger",
  browsers: "browsers",
};

const kColumns = [
  ["logger info, ms", ({ arrival }) => number(arrival.informed)],
  ["catalogue, ms", ({ arrival }) => number(arrival.catalogue)],
  ["value late by, ms: half, 99 of 100", ({ came }) => `${number(came.median)}, ${number(came.p99)}`],
  ["values/s that came", ({ came, browsers }) => `${number(came.perSecond)} of ${20 * browsers}`],
  ["bus server, % of a core", ({ use }) => share(use.bus)],
  ["loggers, %", ({ use }) => share(use.loggers)],
  ["browsers' processes, %", ({ use }) => share(use.children)],
  ["their keep-alive, %", ({ use }) => share(use.keepAlive)],
  ["all else on the machine, %", elsewhere],
  ["bus: messages/s, kB/s", ({ use }) => `${number(use.messagesOut)}, ${number(use.bytesOut / 1e3)}`],
  [
    "memory, MB: bus, loggers, web server",
    ({ use: { memory } }) => [memory.bus, memory.loggers, memory.children].map(megabytes).join(", "),
  ],
];

// What others took while this was measured; the browsers' own side is not among it.
function elsewhere({ use }) {
  return share(Math.max(0, use.machine - use.bus - use.loggers - use.children - use.keepAlive - use.browsers));
}

const axisTable = (axis) =>
  table(
    [kAxes[axis], ...kColumns.map(([name]) => name)],
    axes[axis].map((point) => [number(point[axis]), ...kColumns.map(([, of]) => of(point))]),
  );

const modelTable = () =>
  table(
    ["cost", "grows with", "fixed part", "for each", "usual distance of a measurement", "largest one, of the largest value"],
    kCosts.map(({ name, what, grows, unit }) => {
      const { a, b, residual, worst } = model[name].fit;
      return [what, grows, `${number(a)} ${unit}`, `${number(b)} ${unit}`, `${number(residual)} ${unit}`, `${number(100 * worst)} %`];
    }),
  );

const curve = (axis, name, of) => ({ name, points: axes[axis].map((point) => [point[axis], of(point)]) });

function plotOf(axis) {
  const xTitle = kAxes[axis];
  return svgOf(`Costs with the number of ${xTitle}`, [
    {
      title: "Processor time, % of a core",
      xTitle,
      curves: [
        curve(axis, "bus server", ({ use }) => 100 * use.bus),
        curve(axis, "loggers", ({ use }) => 100 * use.loggers),
        curve(axis, "browsers' processes", ({ use }) => 100 * use.children),
        curve(axis, "their keep-alive", ({ use }) => 100 * use.keepAlive),
      ],
    },
    {
      title: "Time, ms",
      xTitle,
      curves: [
        curve(axis, "logger info", ({ arrival }) => arrival.informed),
        curve(axis, "catalogue", ({ arrival }) => arrival.catalogue),
        curve(axis, "value late by", ({ came }) => came.median),
        curve(axis, "99 of 100 values", ({ came }) => came.p99),
      ],
    },
    {
      title: "Memory, MB",
      xTitle,
      curves: [
        curve(axis, "bus server", ({ use }) => use.memory.bus / 1e6),
        curve(axis, "loggers", ({ use }) => use.memory.loggers / 1e6),
        curve(axis, "web server", ({ use }) => use.memory.children / 1e6),
      ],
    },
  ]);
}

const plan = planOf(axes, model);
const blocks = {
  machine: `Measured on ${machine}.`,
  ...Object.fromEntries(Object.keys(kAxes).map((axis) => [axis, axisTable(axis)])),
  model: modelTable(),
  plan: table(["", ...plan.sizes], plan.rows),
  checks: table(["", "by the model", "measured", "measured of the model's"], plan.checks),
};

// The document with its blocks filled in.
function documentOf(text) {
  return text.replaceAll(/(<!-- ([a-z]+) -->\n)[^]*?(<!-- end -->)/g, (whole, begin, name, end) => `${begin}\n${blocks[name]}\n\n${end}`);
}

const file = (name) => path.join(sourceDir, "docs", name);
const made = { "scale.md": documentOf(readFileSync(file("scale.md"), "utf8")) };
for (const axis of Object.keys(kAxes)) made[`scale/${axis}.svg`] = plotOf(axis);
const others = Object.keys(made).filter((name) => !existsSync(file(name)) || readFileSync(file(name), "utf8") !== made[name]);
if (process.argv.includes("--check")) {
  if (others.length > 0) throw new Error(`not as bench/scale/report.mjs makes them: ${others.join(", ")}`);
} else {
  for (const name of others) writeFileSync(file(name), made[name]);
}
