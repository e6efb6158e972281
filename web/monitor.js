// The remote-control monitor: the screens of the logger's handheld unit. Everything comes from the bus and is only ever
// set as text.

const kScreens = 10;

export class MonitorTable {
  #body;
  #note;
  #screen;
  #button;
  #send;
  #runs = false;
  #rows = new Map(); // by signal
  #left = new Set(); // signals of the screen before, whose last values may still be on their way

  /** screen: selects the screen; button: starts and stops; send: sends a request object. */
  constructor(table, note, screen, button, send) {
    this.#body = table.tBodies[0];
    this.#note = note;
    this.#screen = screen;
    this.#button = button;
    this.#send = send;
    screen.append(...Array.from({ length: kScreens }, (_, index) => new Option(`Screen ${index}`, String(index))));
    screen.addEventListener("change", () => this.#select());
    button.addEventListener("click", () => this.#setRunning(!this.#runs));
  }

  /** The logger serves these commands from now on; a monitor that ran before the connection broke runs again. */
  setReady() {
    this.#setDisabled(false);
    this.#send({ command: "get_rcmonitor_names" });
    this.#note.textContent = "Start to see the screen.";
    if (this.#runs) this.#setRunning(true);
  }

  /** The answers about the monitor. */
  take(answer) {
    if (answer.response === "get_rcmonitor_names") this.#setNames(answer);
    else if (answer.response === "request_screen") this.#note.textContent = answer.error_msg;
    else if (answer.response === "signal_message") this.#setValue(answer);
  }

  /** What is shown is from a connection that has gone. */
  setStale() {
    this.#setDisabled(true);
    this.#left.clear();
    this.#body.classList.add("stale");
    if (this.#rows.size > 0) this.#note.textContent = "As last seen.";
  }

  #setDisabled(disabled) {
    this.#screen.disabled = disabled;
    this.#button.disabled = disabled;
  }

  // None of these has an answer. The screen is selected first, so that no other one is seen.
  #setRunning(runs) {
    this.#runs = runs;
    this.#button.textContent = runs ? "Stop monitor" : "Start monitor";
    this.#note.textContent = runs ? "The screen is the same for everybody who watches." : "Start to see the screen.";
    if (runs) {
      this.#clear();
      this.#send({ command: "request_screen", index: this.#screen.value });
    }
    this.#send({ command: runs ? "start_monitor" : "stop_monitor" });
  }

  // The names are asked for, since all values of the screen before have come when they come.
  #select() {
    this.#left = new Set(this.#rows.keys());
    this.#clear();
    this.#send({ command: "request_screen", index: this.#screen.value });
    this.#send({ command: "get_rcmonitor_names" });
  }

  #clear() {
    this.#rows.clear();
    this.#body.replaceChildren();
  }

  #setNames({ rc_monitors: monitors = [], status, krp_error_code: code }) {
    this.#left.clear();
    if (status !== "OK") this.#note.textContent = `The logger has not given its monitors: ${code ?? "no reason"}.`;
    for (const { index, name } of monitors) if (this.#screen.options[index]) this.#screen.options[index].textContent = `${index} ${name}`;
  }

  #setValue({ name, value, unit }) {
    if (this.#left.has(name)) return;
    this.#body.classList.remove("stale");
    const row = this.#rows.get(name) ?? this.#addRow(name);
    row.cells[1].textContent = value;
    row.cells[2].textContent = unit;
  }

  #addRow(name) {
    const row = this.#body.insertRow();
    const head = document.createElement("th");
    head.scope = "row";
    head.textContent = name;
    row.append(head);
    row.insertCell().className = "mono";
    row.insertCell();
    this.#rows.set(name, row);
    return row;
  }
}
