// What the model says of sizes that no single machine has, and what experiments say of the model.
import { atRest } from "./model.mjs";
import { number } from "./text.mjs";

const kSizes = [
  { loggers: 1000, browsers: 20 },
  { loggers: 4, browsers: 10_000 },
  { loggers: 1000, browsers: 10_000 },
];
const kValues = 20; // a second, of a logger
const kRareShare = 0.1; // of the heartbeats, where they are rare

// What a size takes, by the model's parts that grow.
function needsOf({ loggers, browsers }, model) {
  const each = (name) => model[name].fit.b;
  const cores = (messages, name) => (messages * each(name)) / 1e6;
  const heartbeats = each("heartbeats") * loggers ** 2;
  const values = each("valueMessages") * loggers * browsers * kValues;
  return {
    "heartbeats handed on, messages/s": heartbeats,
    "cores of bus servers for them": cores(heartbeats, "busHeartbeat"),
    "cores of all loggers for them": cores(heartbeats, "loggerHeartbeat"),
    "of one logger, % of a core": (100 * cores(heartbeats, "loggerHeartbeat")) / loggers,
    "values handed on, messages/s": values,
    "cores of bus servers for them ": cores(values, "busValue"),
    "cores of all loggers for them ": cores(values, "loggerValue"),
    "of one logger, % of a core ": (100 * cores(values, "loggerValue")) / loggers,
    "cores of the browsers' processes for them": cores(values, "webValue"),
    "cores of their keep-alives": (browsers * each("keepAlive")) / 1e6,
    "GB of the browsers' processes, with four loggers' catalogue": (browsers * each("browserMemory")) / 1e3,
    "MB sent to each browser until its catalogue is complete": (each("catalogueTraffic") * loggers ** 2) / 1e3,
    "seconds until then": (each("catalogueTime") * loggers ** 2) / 1e3,
  };
}

// Measurements of what the model was not fitted to.
function checksOf(axes, model) {
  const checks = [];
  const compare = (what, byModel, measured, unit) =>
    checks.push([what, `${number(byModel)} ${unit}`, `${number(measured)} ${unit}`, `${number((100 * measured) / byModel)} %`]);
  // In use, where the network did not come to rest: the heartbeats and the values together.
  for (const { loggers, values, browsers, use } of axes.loggers.filter((point) => !atRest(point))) {
    const [heartbeats, valueMessages] = [model.heartbeats.fit.b * loggers ** 2, model.valueMessages.fit.b * loggers * values * browsers];
    const cores = (heartbeat, value) => (model[heartbeat].fit.b * heartbeats + model[value].fit.b * valueMessages) / 1e4;
    compare(`${loggers} loggers, ${browsers} browsers: messages`, heartbeats + valueMessages, use.messagesOut, "/s");
    compare(`their bus server's processor time`, cores("busHeartbeat", "busValue"), 100 * use.bus, "% of a core");
    compare(`the loggers' processor time`, cores("loggerHeartbeat", "loggerValue"), 100 * use.loggers, "% of a core");
  }
  for (const { loggers, rest } of axes.rare ?? []) {
    compare(
      `${loggers} loggers, a tenth of the heartbeats: messages`,
      model.heartbeats.fit.b * loggers ** 2 * kRareShare,
      rest.messagesOut,
      "/s",
    );
    compare(`their bus server's processor time`, model.busHeartbeat.fit.at(rest.messagesOut) / 1e4, 100 * rest.bus, "% of a core");
    compare(`their own processor time`, model.loggerHeartbeat.fit.at(rest.messagesOut) / 1e4, 100 * rest.loggers, "% of a core");
    compare(`their own memory`, model.loggerMemory.fit.at(loggers), rest.memory.loggers / 1e6, "MB");
  }
  for (const { count, messagesOut, hub } of axes.joined ?? []) {
    const byModel = model.busHeartbeat.fit.b;
    compare(`a message through the middle of ${count} joined bus servers`, byModel, (1e6 * hub) / messagesOut, "\u00b5s");
  }
  return checks;
}

// sizes and rows of the plan's table, and those of the checks.
export function planOf(axes, model) {
  const needs = kSizes.map((size) => needsOf(size, model));
  const rows = Object.keys(needs[0]).map((what) => [what.trim(), ...needs.map((need) => number(need[what]))]);
  return {
    sizes: kSizes.map(({ loggers, browsers }) => `${number(loggers)} loggers, ${number(browsers)} browsers`),
    rows,
    checks: checksOf(axes, model),
  };
}
