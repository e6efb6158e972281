/// Numbers as they were sent: JavaScript's own reading of JSON loses digits beyond 2^53.

/// The text of the number that is the member `name` of the object that `json` is, "" where there is none.
/// `json` has to be valid JSON, which whoever asks has parsed before.
export function numberText(json: string, name: string): string {
  const quoted = JSON.stringify(name);
  let depth = 0;
  let key = false; // whether the next text at depth 1 is a member's name
  for (let at = 0; at < json.length; at++) {
    const character = json[at];
    if (character === '"') {
      const end = endOfText(json, at);
      if (depth === 1 && key && json.slice(at, end) === quoted) {
        const rest = /^\s*:\s*(-?\d[\d.eE+-]*)/.exec(json.slice(end, end + 2000));
        if (rest) return rest[1]!;
      }
      key = false;
      at = end - 1;
    } else if (character === "{" || character === "[") {
      depth++;
      key = character === "{";
    } else if (character === "}" || character === "]") {
      depth--;
    } else if (character === ",") {
      key = true;
    }
  }
  return "";
}

/// Behind the closing quote of the text that begins at `start`.
function endOfText(json: string, start: number): number {
  for (let at = start + 1; at < json.length; at++) {
    if (json[at] === "\\") at++;
    else if (json[at] === '"') return at + 1;
  }
  return json.length;
}

/// Whether JavaScript's text of this number may differ from what was sent in more than its spelling.
export function isInexact(value: number): boolean {
  return Math.abs(value) > Number.MAX_SAFE_INTEGER;
}
