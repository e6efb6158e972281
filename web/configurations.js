// The configurations that are kept on the logger: texts under names. They are only ever set as text.

export class ConfigurationTable {
  #body;
  #note;
  #form;
  #send;

  /** form: has "name" and "config", and the buttons "save" and "list"; send: sends a request object. */
  constructor(table, note, form, send) {
    this.#body = table.tBodies[0];
    this.#note = note;
    this.#form = form;
    this.#send = send;
    form.addEventListener("submit", (event) => {
      event.preventDefault();
      send({ command: "save_config", name: form.elements.name.value, config: form.elements.config.value });
    });
    form.elements.list.addEventListener("click", () => this.#list());
  }

  /** The logger serves these commands from now on. */
  setReady() {
    this.#setDisabled(false);
    this.#list();
  }

  /** The answers about configurations. */
  take(answer) {
    if (answer.response === "get_configs") this.#setNames(answer);
    else if (answer.response === "save_config") this.#setChanged(answer, "saved");
    else if (answer.response === "delete_config") this.#setChanged(answer, "deleted");
    else if (answer.response === "load_config") this.#setLoaded(answer);
  }

  /** What is shown is from a connection that has gone. */
  setStale() {
    this.#setDisabled(true);
    this.#body.classList.add("stale");
    if (this.#body.rows.length > 0) this.#note.textContent = "As last seen.";
  }

  #list() {
    this.#send({ command: "get_configs" });
  }

  #setDisabled(disabled) {
    this.#form.elements.save.disabled = disabled;
    this.#form.elements.list.disabled = disabled;
    for (const button of this.#body.querySelectorAll("button")) button.disabled = disabled;
  }

  #setNames({ configs, error_code: code }) {
    if (!configs) {
      this.#note.textContent = `The configurations could not be listed: ${code}.`;
      return;
    }
    this.#body.classList.remove("stale");
    const names = configs.map(({ name }) => name).sort((a, b) => a.localeCompare(b));
    this.#body.replaceChildren(...names.map((name) => this.#row(name)));
    this.#note.textContent = names.length === 1 ? "1 configuration." : `${names.length} configurations.`;
  }

  #setChanged({ status, error_code: code, error_msg: reason = code }, done) {
    if (status === "OK") this.#list();
    else this.#note.textContent = `Not ${done}: ${reason}.`;
  }

  #setLoaded({ name, config, status, error_code: code, error_msg: reason = code }) {
    if (status !== "OK") {
      this.#note.textContent = `Not loaded: ${reason}.`;
      return;
    }
    this.#form.elements.name.value = name;
    this.#form.elements.config.value = config;
    this.#note.textContent = `${name} is loaded.`;
  }

  #row(name) {
    const row = document.createElement("tr");
    const head = document.createElement("th");
    head.scope = "row";
    head.textContent = name;
    row.append(head);
    const buttons = row.insertCell();
    for (const [label, command] of [
      ["Load", "load_config"],
      ["Delete", "delete_config"],
    ]) {
      const button = document.createElement("button");
      button.type = "button";
      button.textContent = label;
      button.setAttribute("aria-label", `${label} ${name}`);
      button.addEventListener("click", () => this.#send({ command, name }));
      buttons.append(button, " ");
    }
    return row;
  }
}
