// The table of the signals, and their live values. Everything in it comes from the bus and is only ever set as text.

const kMostRows = 200; // shown at once; the filter finds the others
const kInterval = 100; // ms; has no effect at the loggers but belongs to a start

const idOf = (key) => JSON.stringify(key);

export class SignalTable {
  #body;
  #note;
  #filter;
  #send;
  #streams = [];
  #complete = false;
  #wanted = new Set(); // what the person has started, whatever became of it at the logger
  #values = new Map(); // the latest answer with a value, by signal
  #rows = new Map(); // the rows shown, by signal
  #changed = new Set(); // signals whose row is out of date
  #paint = 0;

  /** send: sends a request object. */
  constructor(table, note, filter, send) {
    this.#body = table.tBodies[0];
    this.#note = note;
    this.#filter = filter;
    this.#send = send;
    filter.addEventListener("input", () => this.#draw());
  }

  /** Asks for the catalogue; every running signal is started anew when it has come. */
  ask() {
    this.#note.textContent = "Waiting for the signals.";
    this.#send({ command: "get_signal_names" });
  }

  /** The answers about signals. */
  take(answer) {
    if (answer.response === "get_signal_names" && answer.Streams) this.#setCatalogue(answer);
    else if (answer.response === "get_signal_names") this.#note.textContent = "A logger has not given its signals.";
    else if (answer.response === "generic_sig_value" && answer.status === "OK") this.#setValue(answer);
    else if (answer.response === "generic_start_sig" && answer.status !== "OK") this.#setRefused(answer);
  }

  /** What is shown is from a connection that has gone. */
  setStale() {
    this.#body.classList.add("stale");
    if (this.#streams.length > 0) this.#note.textContent = "As last seen.";
  }

  #setCatalogue({ Streams: streams, status }) {
    this.#streams = streams;
    this.#complete = status === "OK";
    this.#body.classList.remove("stale");
    this.#values.clear();
    this.#changed.clear(); // a picture may be due for a value that has just been forgotten
    this.#draw();
    if (!this.#complete) return;
    // A new catalogue stops everything.
    for (const { signal_key: key } of streams) if (this.#wanted.has(idOf(key))) this.#start(key);
  }

  #setValue(answer) {
    const id = idOf(answer.signal_key);
    this.#values.set(id, answer);
    if (!this.#rows.has(id)) return;
    this.#changed.add(id);
    this.#paint ||= requestAnimationFrame(() => this.#paintChanged());
  }

  #setRefused({ signal_key: key, error_code: code }) {
    this.#wanted.delete(idOf(key));
    this.#draw();
    this.#note.textContent = `${key[0]} could not be started: ${code}.`;
  }

  // Once for each picture of the screen, however many values come in between.
  #paintChanged() {
    this.#paint = 0;
    for (const id of this.#changed) if (this.#rows.has(id)) this.#showValue(this.#rows.get(id), this.#values.get(id));
    this.#changed.clear();
  }

  #start(key) {
    this.#wanted.add(idOf(key));
    this.#send({ command: "generic_start_sig", signal_key: key, interval: kInterval });
  }

  #stop(key) {
    this.#wanted.delete(idOf(key));
    this.#send({ command: "generic_stop_sig", signal_key: key });
  }

  #draw() {
    const words = this.#filter.value.toLowerCase().split(/\s+/);
    const matches = this.#streams.filter((stream) => {
      const text = [stream.userDefinedName, stream.signal_key[0], stream.logger_name, stream.bus_id].join(" ").toLowerCase();
      return words.every((word) => text.includes(word));
    });
    this.#rows.clear();
    this.#body.replaceChildren(...matches.slice(0, kMostRows).map((stream) => this.#row(stream)));
    this.#note.textContent = this.#describe(matches.length);
  }

  #describe(count) {
    const shown = count > kMostRows ? `the first ${kMostRows} of ${count}` : String(count);
    const whole = `${this.#streams.length} signals${this.#complete ? "" : " so far; not every logger has answered yet"}`;
    return `${whole}, ${shown} shown. Listing them anew starts anew what is running.`;
  }

  #row(stream) {
    const id = idOf(stream.signal_key);
    const row = document.createElement("tr");
    const box = document.createElement("input");
    box.type = "checkbox";
    box.checked = this.#wanted.has(id);
    box.setAttribute("aria-label", `Run ${stream.userDefinedName || stream.signal_key[0]}`);
    box.addEventListener("change", () => (box.checked ? this.#start(stream.signal_key) : this.#stop(stream.signal_key)));
    row.insertCell().append(box);
    const name = document.createElement("th");
    name.scope = "row";
    name.textContent = stream.userDefinedName || stream.signal_key[0];
    name.title = stream.signal_key[0];
    row.append(name);
    row.insertCell().textContent = stream.logger_name || stream.signal_key[1];
    row.insertCell().textContent = `${stream.bus_id.replace("BUSID_", "")} ${stream.channel}`;
    row.insertCell().className = "mono";
    row.insertCell();
    row.insertCell().textContent = stream.unit;
    this.#rows.set(id, row);
    if (this.#values.has(id)) this.#showValue(row, this.#values.get(id));
    return row;
  }

  #showValue(row, { value, value_description: description = "" }) {
    row.cells[4].textContent = value;
    row.cells[5].textContent = description;
  }
}
