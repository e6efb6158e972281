// The table of the buses, and their live loads. Everything in it comes from the bus and is only ever set as text.

const kUnits = {
  UNIT_PERCENT: "%",
  UNIT_BYTES_SEC: "B/s",
  UNIT_KBYTES_SEC: "kB/s",
  UNIT_MBYTES_SEC: "MB/s",
  UNIT_GBYTES_SEC: "GB/s",
  UNIT_FRAMES_SEC: "frames/s",
  UNIT_KFRAMES_SEC: "kframes/s",
  UNIT_BYTES: "B",
  UNIT_KBYTES: "kB",
  UNIT_MBYTES: "MB",
  UNIT_GBYTES: "GB",
};
const kUnknown = -4;

// A MOST bus has figures of its own, a GPS receiver a status; neither says which bus it is.
function describe({ logger_name: logger = "", data }) {
  if (data.bus_status_string !== undefined) {
    return { logger, bus: "MOST", name: "ring", value: data.bus_status_string, unit: "" };
  }
  if (data.gps_status !== undefined) {
    const fix = data.value === 0 ? "fix" : "no fix";
    return { logger, bus: `GPS ${data.channel}`, name: data.name, value: fix, unit: "" };
  }
  const value = data.value === kUnknown ? "\u2013" : String(data.value);
  const bus = `${data.bus_id.replace("BUSID_", "")} ${data.channel}`;
  return { logger, bus, name: data.name, value, unit: data.value === kUnknown ? "" : (kUnits[data.unit] ?? "") };
}

export class BusTable {
  #body;
  #note;
  #button;
  #send;
  #wanted = false;
  #rows = new Map(); // by logger, bus and name
  #latest = new Map(); // what is still to be painted
  #paint = 0;

  /** button: starts and stops the loads; send: sends a request object. */
  constructor(table, note, button, send) {
    this.#body = table.tBodies[0];
    this.#note = note;
    this.#button = button;
    this.#send = send;
    button.addEventListener("click", () => this.#toggle());
  }

  /** The loggers are known; loads that ran before the connection broke run again. */
  setReady() {
    this.#button.disabled = false;
    this.#note.textContent = "Start to see the buses and their loads.";
    if (this.#wanted) this.#send({ command: "busload_start" });
  }

  /** The answers about buses. */
  take(answer) {
    if (answer.response === "busload_data" && answer.data) this.#setLoad(answer);
    else if (answer.response === "get_bus_names" && answer.busnames) this.#setCatalogue(answer);
    else if (answer.response === "busload_start" || answer.response === "busload_stop") this.#setRunning(answer);
  }

  /** What is shown is from a connection that has gone. */
  setStale() {
    this.#body.classList.add("stale");
    this.#button.disabled = true;
    if (this.#rows.size > 0) this.#note.textContent = "As last seen.";
  }

  #toggle() {
    this.#wanted = !this.#wanted;
    this.#send({ command: this.#wanted ? "busload_start" : "busload_stop" });
  }

  #setRunning({ response, status }) {
    if (status !== "OK") return;
    this.#wanted = response === "busload_start";
    this.#button.textContent = this.#wanted ? "Stop loads" : "Start loads";
  }

  #setCatalogue({ busnames, status }) {
    const loggers = new Set(busnames.map(({ ksl_offset: offset }) => offset)).size;
    this.#note.textContent =
      status === "OK"
        ? `${busnames.length} buses.`
        : `${busnames.length} buses of ${loggers} loggers so far; not every logger has answered.`;
  }

  #setLoad(answer) {
    const load = describe(answer);
    this.#latest.set(JSON.stringify([load.logger, load.bus, load.name]), load);
    this.#paint ||= requestAnimationFrame(() => this.#paintLatest());
  }

  // Once for each picture of the screen, however many loads come in between.
  #paintLatest() {
    this.#paint = 0;
    this.#body.classList.remove("stale");
    for (const [id, load] of this.#latest) {
      const row = this.#rows.get(id) ?? this.#addRow(id, load);
      row.cells[3].textContent = load.value;
      row.cells[4].textContent = load.unit;
    }
    this.#latest.clear();
  }

  #addRow(id, { logger, bus, name }) {
    const row = this.#body.insertRow();
    for (const text of [logger === "" ? "this one" : logger, bus, name, "", ""]) row.insertCell().textContent = text;
    this.#rows.set(id, row);
    return row;
  }
}
