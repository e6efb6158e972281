// The texts of the page in the language that the browser asks for or the user has chosen.
import { signal } from "@preact/signals";
import { de } from "./de.ts";
import { en, type Texts } from "./en.ts";

export type Language = "de" | "en";

const kAll: Record<Language, Texts> = { de, en };

function wanted(): Language {
  for (const tag of navigator.languages) {
    if (/^de\b/i.test(tag)) return "de";
    if (/^en\b/i.test(tag)) return "en";
  }
  return "en";
}

/// The language in use; setting it changes all texts at once.
export const language = signal<Language>(wanted());

/// The texts in use. Read in a component, it is drawn again when the language changes.
export function texts(): Texts {
  return kAll[language.value];
}
