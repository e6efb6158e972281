// The audio files of the logger, and the upload of new ones. Everything comes from the bus and is only ever set as text.

const kLargest = 32 * 1024 * 1024; // what the web server takes in one frame, as it is shipped

export class AudioTable {
  #body;
  #note;
  #form;
  #send;
  #sendData;
  #done = ""; // what the list that comes next is to be introduced with
  #announced = null; // the file whose content the logger has not asked for yet

  /**
   * form: has "file", "marker", "from" and "to", and the buttons "upload", "cancel" and "list".
   * send: sends a request object; sendData: sends a file as a binary frame.
   */
  constructor(table, note, form, send, sendData) {
    this.#body = table.tBodies[0];
    this.#note = note;
    this.#form = form;
    this.#send = send;
    this.#sendData = sendData;
    form.addEventListener("submit", (event) => {
      event.preventDefault();
      this.#announce();
    });
    form.elements.cancel.addEventListener("click", () => this.#cancel());
    form.elements.list.addEventListener("click", () => this.#list());
  }

  /** The logger serves these commands from now on. */
  setReady() {
    this.#setDisabled(false);
    this.#list();
  }

  /** The answers about audio files. */
  take(answer) {
    if (answer.response === "get_audio_list") this.#setList(answer);
    else if (answer.response === "upload_audio_file") this.#setUpload(answer);
    else if (answer.response === "set_audio_file") this.#setDone(answer, "The file has been set.");
    else if (answer.response === "cancel_data_upload") this.#note.textContent = "No upload is pending.";
  }

  /** What is shown is from a connection that has gone, and its upload with it. */
  setStale() {
    this.#announced = null;
    this.#setDisabled(true);
    this.#body.classList.add("stale");
    if (this.#body.rows.length > 0) this.#note.textContent = "As last seen.";
  }

  #list() {
    this.#send({ command: "get_audio_list" });
  }

  #cancel() {
    this.#announced = null;
    this.#send({ command: "cancel_data_upload" });
  }

  #setDisabled(disabled) {
    for (const name of ["upload", "cancel", "list"]) this.#form.elements[name].disabled = disabled;
    for (const button of this.#body.querySelectorAll("button")) button.disabled = disabled;
  }

  // The time span and the marker of the form.
  get #place() {
    const { marker, from, to } = this.#form.elements;
    return { marker_id: marker.value, start_time: Number(from.value), end_time: Number(to.value) };
  }

  #announce() {
    const [file] = this.#form.elements.file.files;
    if (!file) this.#note.textContent = "Choose a file first.";
    else if (file.size > kLargest) this.#note.textContent = `${file.name} is larger than ${kLargest / 1024 / 1024} MB.`;
    else {
      const [, name, extension = ""] = /^(.*?)(?:\.([^.]*))?$/s.exec(file.name);
      this.#announced = file;
      this.#send({ command: "upload_audio_file", name, file_extension: extension, ...this.#place });
    }
  }

  #setUpload(answer) {
    if (answer.status === "WAITING_FOR_DATA") {
      const file = this.#announced;
      this.#announced = null;
      if (!file) return; // announced by hand
      this.#note.textContent = `${file.name} is on its way.`;
      this.#sendData(file);
      return;
    }
    if (answer.status !== "OK") this.#announced = null;
    this.#setDone(answer, `${answer.name} has been uploaded.`);
  }

  #setDone(answer, text) {
    const reason = answer.krp_error_description ?? answer.error_msg ?? answer.krp_error_code ?? answer.error_code;
    this.#done = answer.status === "OK" ? text : `Not done: ${reason}.`;
    this.#note.textContent = this.#done;
  }

  #setList(answer) {
    if (!answer.audio_list) {
      this.#setDone(answer, "");
      return;
    }
    this.#body.classList.remove("stale");
    const { length } = answer.audio_list;
    this.#body.replaceChildren(...answer.audio_list.map((file) => this.#row(file)));
    this.#note.textContent = `${this.#done} ${length === 1 ? "1 audio file." : `${length} audio files.`}`.trim();
    this.#done = "";
  }

  #row({ name, marker_id: marker, start_time: from, end_time: to }) {
    const row = document.createElement("tr");
    const head = document.createElement("th");
    head.scope = "row";
    head.textContent = name;
    row.append(head);
    for (const text of [marker, String(from), String(to)]) row.insertCell().textContent = text;
    const button = document.createElement("button");
    button.type = "button";
    button.textContent = "Set";
    button.setAttribute("aria-label", `Set ${name} to the marker and the times above`);
    button.addEventListener("click", () => this.#send({ command: "set_audio_file", audio_file: name, ...this.#place }));
    row.insertCell().append(button);
    return row;
  }
}
