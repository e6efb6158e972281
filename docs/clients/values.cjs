// Prints five values of the first signal: node values.cjs ws://127.0.0.1:8080/live   (in a browser, WebSocket is there)
const WebSocket = globalThis.WebSocket ?? require("ws");
const live = new WebSocket(process.argv[2], ["kr-webapp-v1"]);
const ask = (command, members) => live.send(JSON.stringify({ command, ...members }));
let left = 5;
const take = {
  get_logger_info: ({ status }) => (status === "OK" ? ask("get_signal_names") : setTimeout(ask, 1000, "get_logger_info")),
  get_signal_names: ({ status, Streams }) =>
    status === "OK" && ask("generic_start_sig", { signal_key: Streams[0].signal_key, interval: 100 }),
  generic_sig_value: ({ status, signal_key: [name], value }) => status === "OK" && (console.log(name, value), --left === 0 && live.close()),
};
live.onopen = () => ask("get_logger_info");
live.onmessage = ({ data }, frame = JSON.parse(data)) => take[frame.response]?.(frame);
