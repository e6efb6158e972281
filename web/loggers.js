// The table of the loggers. Everything in it comes from the bus and is only ever set as text.

const kColumns = [
  { member: "logger_name" },
  { member: "logger_type" },
  { member: "mac", mono: true },
  { member: "config_name" },
  { member: "timezone" },
  { member: "softwareVersion" },
];

export class LoggerTable {
  #body;
  #note;
  #statusByMac = new Map();
  #loggers = [];

  constructor(table, note) {
    this.#body = table.tBodies[0];
    this.#note = note;
  }

  /** The loggers of a "get_logger_info" answer. */
  setInfo(answer) {
    this.#loggers = Array.isArray(answer.configs) ? answer.configs : [];
    this.#body.classList.remove("stale");
    this.#note.textContent = this.#describe(answer.status);
    this.#draw();
  }

  /** The states of a "get_logger_status" answer. */
  setStatus(answer) {
    this.#statusByMac = new Map((answer.logger_status ?? []).map(({ mac, status }) => [mac, status]));
    this.#draw();
  }

  /** What is shown is from a connection that has gone. */
  setStale() {
    if (this.#loggers.length === 0) return;
    this.#body.classList.add("stale");
    this.#note.textContent = "As last seen.";
  }

  #describe(status) {
    if (status !== "OK") return "Not every logger has answered yet.";
    return this.#loggers.length === 1 ? "One logger, complete." : `${this.#loggers.length} loggers, complete.`;
  }

  #draw() {
    this.#body.replaceChildren(...this.#loggers.map((logger) => this.#row(logger)));
  }

  #row(logger) {
    const row = document.createElement("tr");
    kColumns.forEach(({ member, mono }, index) => {
      const cell = document.createElement(index === 0 ? "th" : "td");
      if (index === 0) cell.scope = "row";
      if (mono) cell.className = "mono";
      cell.textContent = logger[member] ?? "";
      row.append(cell);
    });
    row.insertCell().textContent = this.#statusByMac.get(logger.mac) ?? "";
    return row;
  }
}
