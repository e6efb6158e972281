// The model of what a network costs: each cost is a fixed part and so much for each of what it grows with.

// The line a + b x through points [x, y] with the least squares, and how far the points are from it: `residual` is the
// usual distance (root of the mean square), `worst` the largest one as a share of the largest value.
export function fit(points) {
  const mean = (of) => points.reduce((sum, point) => sum + of(point), 0) / points.length;
  const [x0, y0] = [mean(([x]) => x), mean(([, y]) => y)];
  const b = mean(([x, y]) => (x - x0) * (y - y0)) / mean(([x]) => (x - x0) ** 2);
  const a = y0 - b * x0;
  const distances = points.map(([x, y]) => y - (a + b * x));
  const residual = Math.sqrt(mean(([x, y]) => (y - (a + b * x)) ** 2));
  const largest = Math.max(...points.map(([, y]) => Math.abs(y)));
  return { a, b, residual, worst: Math.max(...distances.map(Math.abs)) / largest, at: (x) => a + b * x };
}

const perBrowser = (bytes) => (point) => bytes(point) / point.browsers;
const added = (member) => (point) => point.use[member] - point.rest[member];
const childMemory = (point) => point.use.memory.children - point.rest.memory.children;
const [kilo, mega] = [1e3, 1e6];

// Whether the network was as quiet as it should be: each logger has two heartbeats a second, and more to say while the
// network still comes together.
export const atRest = ({ loggers, rest }) => rest.messagesIn <= 2.5 * loggers + 5;

// Each cost: on which axis it was measured, of what it is a line, what is measured, and its unit; which of
// the measurements it takes, all of them where nothing is said.
export const kCosts = [
  {
    name: "heartbeats",
    takes: atRest,
    what: "messages/s that the bus server hands on, at rest",
    axis: "loggers",
    grows: "loggers\u00b2",
    x: ({ loggers }) => loggers ** 2,
    y: ({ rest }) => rest.messagesOut,
    unit: "/s",
  },
  {
    name: "busHeartbeat",
    takes: atRest,
    what: "processor time of the bus server, at rest",
    axis: "loggers",
    grows: "messages/s",
    x: ({ rest }) => rest.messagesOut,
    y: ({ rest }) => rest.bus * mega,
    unit: "\u00b5s/s",
  },
  {
    name: "loggerHeartbeat",
    takes: atRest,
    what: "processor time of all loggers, at rest",
    axis: "loggers",
    grows: "messages/s",
    x: ({ rest }) => rest.messagesOut,
    y: ({ rest }) => rest.loggers * mega,
    unit: "\u00b5s/s",
  },
  {
    name: "loggerMemory",
    what: "memory of all loggers, at rest",
    axis: "loggers",
    grows: "loggers",
    x: ({ loggers }) => loggers,
    y: ({ rest }) => rest.memory.loggers / mega,
    unit: "MB",
  },
  {
    name: "busMemory",
    what: "memory of the bus server, at rest",
    axis: "loggers",
    grows: "loggers",
    x: ({ loggers }) => loggers,
    y: ({ rest }) => rest.memory.bus / mega,
    unit: "MB",
  },
  {
    name: "informed",
    what: "from the connection to complete logger info",
    axis: "loggers",
    grows: "loggers",
    x: ({ loggers }) => loggers,
    y: ({ arrival }) => arrival.informed,
    unit: "ms",
  },
  {
    name: "catalogueTraffic",
    what: "what a browser is sent until its catalogue of 100 signals a logger is complete",
    axis: "loggers",
    grows: "loggers\u00b2",
    x: ({ loggers }) => loggers ** 2,
    y: ({ arrival }) => arrival.catalogueTraffic / kilo,
    unit: "kB",
  },
  {
    name: "catalogueTime",
    what: "how long that takes",
    axis: "loggers",
    grows: "loggers\u00b2",
    x: ({ loggers }) => loggers ** 2,
    y: ({ arrival }) => arrival.catalogue,
    unit: "ms",
  },
  {
    name: "signalTime",
    what: "how long the catalogue takes, of four loggers",
    axis: "signals",
    grows: "signals of a logger",
    x: ({ signals }) => signals,
    y: ({ arrival }) => arrival.catalogue,
    unit: "ms",
  },
  {
    name: "signalMemory",
    what: "memory of a browser's process, with four loggers",
    axis: "signals",
    grows: "signals of a logger",
    x: ({ signals }) => signals,
    y: (point) => perBrowser(childMemory)(point) / mega,
    unit: "MB",
  },
  {
    name: "valueMessages",
    what: "messages/s that the bus server hands on",
    axis: "values",
    grows: "values/s of all loggers \u00d7 browsers",
    x: ({ values, loggers, browsers }) => values * loggers * browsers,
    y: added("messagesOut"),
    unit: "/s",
  },
  ...[
    ["busValue", "bus", "the bus server"],
    ["loggerValue", "loggers", "all loggers"],
    ["webValue", "children", "the browsers' processes, keep-alive left out"],
  ].map(([name, member, who]) => ({
    name,
    what: `processor time of ${who}`,
    axis: "values",
    grows: "messages/s",
    x: added("messagesOut"),
    y: (point) => added(member)(point) * mega,
    unit: "\u00b5s/s",
  })),
  {
    name: "keepAlive",
    what: "processor time of the keep-alives",
    axis: "browsers",
    grows: "browsers",
    x: ({ browsers }) => browsers,
    y: ({ use }) => use.keepAlive * mega,
    unit: "\u00b5s/s",
  },
  {
    name: "webBrowser",
    what: "processor time of the browsers' processes, keep-alive left out, at 80 messages/s each",
    axis: "browsers",
    grows: "browsers",
    x: ({ browsers }) => browsers,
    y: (point) => added("children")(point) * mega,
    unit: "\u00b5s/s",
  },
  {
    name: "browserMemory",
    what: "memory of the browsers' processes",
    axis: "browsers",
    grows: "browsers",
    x: ({ browsers }) => browsers,
    y: (point) => childMemory(point) / mega,
    unit: "MB",
  },
];

// name -> {cost, fit}, of the measurements that are kept.
export function modelOf(axes) {
  const model = {};
  for (const cost of kCosts) {
    const points = axes[cost.axis].filter(cost.takes ?? (() => true));
    model[cost.name] = { cost, fit: fit(points.map((point) => [cost.x(point), cost.y(point)])) };
  }
  return model;
}
