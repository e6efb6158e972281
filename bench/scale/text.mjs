// Figures and tables as the documents have them.

// Two digits that count, and no more precision than there is.
export function number(value) {
  if (value === null || Number.isNaN(value)) return "none";
  const rounded = Number(value.toPrecision(2));
  return Math.abs(rounded) >= 1000 ? String(rounded).replace(/\B(?=(\d{3})+$)/g, " ") : String(rounded);
}

export const table = (titles, rows) => [titles, titles.map(() => "---"), ...rows].map((cells) => `| ${cells.join(" | ")} |`).join("\n");
