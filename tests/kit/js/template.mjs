// The templates of shipped configurations.

// `text` with each @NAME@ outside of comments replaced. Throws when one has no value.
export function fillTemplate(text, values) {
  return text.replaceAll(/^(?!#).*$/gm, (line) =>
    line.replaceAll(/@([A-Z_]+)@/g, (whole, name) => {
      if (!(name in values)) throw new Error(`the template's ${whole} has no value`);
      return String(values[name]);
    }),
  );
}
