// The triggers of all loggers, and the form that sets one. Everything comes from the bus and is only ever set as text.

const kMostRows = 200; // the newest ones

function timeText(microseconds) {
  const time = new Date(microseconds / 1000);
  return Number.isNaN(time.getTime()) ? String(microseconds) : time.toISOString().replace("T", " ").replace("Z", " UTC");
}

export class TriggerTable {
  #body;
  #note;
  #form;
  #send;

  /** form: has the input "marker"; send: sends a request object. */
  constructor(table, note, form, send) {
    this.#body = table.tBodies[0];
    this.#note = note;
    this.#form = form;
    this.#send = send;
    form.addEventListener("submit", (event) => {
      event.preventDefault();
      this.#send({ command: "set_trigger", marker_id: form.elements.marker.value });
      form.elements.marker.value = "";
    });
    form.elements.list.addEventListener("click", () => send({ command: "get_trigger" }));
  }

  /** The loggers are known. The list comes by itself with the next trigger; before that only who wants it waits for it. */
  setReady() {
    this.#setDisabled(false);
    this.#note.textContent = "List to see the triggers.";
  }

  /** The answers about triggers. */
  take(answer) {
    if (answer.response !== "get_trigger") return;
    if (answer.markers) this.#setMarkers(answer);
    else this.#note.textContent = "Not every logger has given its triggers.";
  }

  /** What is shown is from a connection that has gone. */
  setStale() {
    this.#setDisabled(true);
    this.#body.classList.add("stale");
    if (this.#body.rows.length > 0) this.#note.textContent = "As last seen.";
  }

  #setDisabled(disabled) {
    this.#form.elements.set.disabled = disabled;
    this.#form.elements.list.disabled = disabled;
  }

  #setMarkers({ markers, status }) {
    this.#body.classList.remove("stale");
    const newest = markers.slice(-kMostRows).reverse();
    this.#body.replaceChildren();
    for (const { number, timestamp, time_zone: zone, marker_id: marker } of newest) {
      const row = this.#body.insertRow();
      for (const text of [timeText(timestamp), marker, String(number), zone]) row.insertCell().textContent = text;
    }
    const shown = newest.length < markers.length ? `, the newest ${newest.length} shown` : "";
    const missing = status === "OK" ? "" : " Not every logger has answered yet.";
    this.#note.textContent = `${markers.length} triggers${shown}.${missing}`;
  }
}
