// The list of what went over the connection, newest last.

const kMostEntries = 500;
const kLongestText = 20_000; // characters shown of one frame

const kMarks = { sent: ["→", "sent"], received: ["←", "received"], note: ["·", "note"] };

export class FrameLog {
  #list;

  constructor(list) {
    this.#list = list;
  }

  /** Adds one entry. kind: "sent", "received" or "note". message: the frame's object where it holds one. */
  add(kind, text, message = null) {
    const atEnd = this.#list.scrollHeight - this.#list.scrollTop - this.#list.clientHeight < 40;
    this.#list.append(entry(kind, text, message));
    while (this.#list.childElementCount > kMostEntries) this.#list.firstElementChild.remove();
    if (atEnd) this.#list.scrollTop = this.#list.scrollHeight;
  }

  clear() {
    this.#list.replaceChildren();
  }

  showPings(shown) {
    this.#list.classList.toggle("with-pings", shown);
  }
}

function entry(kind, text, message) {
  const item = document.createElement("li");
  item.dataset.kind = kind;
  if (message?.status) item.dataset.status = message.status;
  if (message?.command === "ping" || message?.response === "ping") item.dataset.ping = "";

  const time = document.createElement("time");
  const now = new Date();
  time.dateTime = now.toISOString();
  time.textContent = now.toISOString().slice(11, 23);

  const mark = document.createElement("span");
  mark.className = "mark";
  [mark.textContent] = kMarks[kind];
  mark.setAttribute("role", "img");
  mark.setAttribute("aria-label", kMarks[kind][1]);

  const body = document.createElement("pre");
  const rest = text.length - kLongestText;
  body.textContent = rest > 0 ? `${text.slice(0, kLongestText)}\n(${rest} more characters)` : text;

  item.append(time, mark, body);
  return item;
}
