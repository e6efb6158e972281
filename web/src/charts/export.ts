// What is seen, as a file.
import type { ChartColours } from "./palette.ts";

/// A signal's points within the exported stretch, and how a point is written.
export interface CsvColumn {
  readonly title: string;
  readonly x: Float64Array;
  /// Microseconds, as the logger stamped it.
  readonly stamp: Float64Array;
  readonly text: (index: number) => string;
}

/// One row for each time at which any column has a point; a column without one at that time stays empty. `x` is seconds
/// on the network's time base; the stamp is that of the first column that has a point there.
export function toCsv(columns: readonly CsvColumn[]): string {
  const lines = [["time (UTC)", "time [s]", "logger stamp [us]", ...columns.map(({ title }) => title)].map(csvField).join(",")];
  const next = columns.map(() => 0);
  for (;;) {
    let time = Infinity;
    columns.forEach(({ x }, index) => {
      if (next[index]! < x.length) time = Math.min(time, x[next[index]!]!);
    });
    if (time === Infinity) break;
    let stamp = "";
    const cells = columns.map((column, index) => {
      const at = next[index]!;
      if (column.x[at] !== time) return "";
      ++next[index]!;
      stamp ||= String(column.stamp[at]);
      return csvField(column.text(at));
    });
    lines.push([isoMicroseconds(time), time.toFixed(6), stamp, ...cells].join(","));
  }
  return `${lines.join("\r\n")}\r\n`;
}

/// Rows of fields as a file.
export function csvRows(rows: readonly (readonly string[])[]): string {
  return rows.map((row) => `${row.map(csvField).join(",")}\r\n`).join("");
}

/// A field of a file of values. Texts that a spreadsheet would take for a formula get a leading apostrophe; numbers do not.
function csvField(text: string): string {
  const safe = /^[=+\-@\t\r]/.test(text) && Number.isNaN(Number(text)) ? `'${text}` : text;
  return /[",\r\n]/.test(safe) ? `"${safe.replaceAll('"', '""')}"` : safe;
}

/// A time as files tell it.
export function isoMicroseconds(seconds: number): string {
  const whole = Math.floor(seconds);
  const micro = Math.min(999_999, Math.round((seconds - whole) * 1e6));
  return `${new Date(whole * 1000).toISOString().slice(0, 19)}.${String(micro).padStart(6, "0")}Z`;
}

/// An entry of the legend above an exported picture.
export interface PngLabel {
  readonly colour: string;
  readonly text: string;
}

/// The canvases below each other, under a title and the names of the curves.
export function toPng(
  title: string,
  labels: readonly PngLabel[],
  canvases: readonly HTMLCanvasElement[],
  colours: ChartColours,
): Promise<Blob | null> {
  const ratio = devicePixelRatio;
  const used = canvases.filter((canvas) => canvas.height > 1);
  const width = Math.max(1, ...used.map((canvas) => canvas.width));
  const head = 24 * ratio;
  const line = 18 * ratio;
  const rows = layOut(labels, width, ratio);
  const picture = document.createElement("canvas");
  picture.width = width;
  picture.height = head + rows.length * line + used.reduce((sum, canvas) => sum + canvas.height, 0) + 8 * ratio;
  const pen = picture.getContext("2d")!;
  pen.fillStyle = colours.panel;
  pen.fillRect(0, 0, picture.width, picture.height);
  pen.textBaseline = "middle";
  pen.fillStyle = colours.text;
  pen.font = `600 ${13 * ratio}px "Inter Variable", system-ui, sans-serif`;
  pen.fillText(title, 12 * ratio, head / 2 + ratio);
  pen.font = `${12 * ratio}px "Inter Variable", system-ui, sans-serif`;
  rows.forEach((row, index) => {
    for (const { label, left } of row) {
      const middle = head + (index + 0.5) * line;
      pen.fillStyle = label.colour;
      pen.fillRect(left, middle - ratio, 12 * ratio, 2 * ratio);
      pen.fillStyle = colours.text;
      pen.fillText(label.text, left + 18 * ratio, middle);
    }
  });
  let top = head + rows.length * line;
  for (const canvas of used) {
    pen.drawImage(canvas, 0, top);
    top += canvas.height;
  }
  return new Promise((done) => picture.toBlob(done, "image/png"));
}

function layOut(labels: readonly PngLabel[], width: number, ratio: number): { label: PngLabel; left: number }[][] {
  const rows: { label: PngLabel; left: number }[][] = [];
  let left = Infinity;
  for (const label of labels) {
    const size = (label.text.length * 7 + 40) * ratio;
    if (left + size > width) {
      rows.push([]);
      left = 12 * ratio;
    }
    rows[rows.length - 1]!.push({ label, left });
    left += size;
  }
  return rows;
}

/// Hands a file to the browser's downloads.
export function download(file: Blob, name: string): void {
  const link = document.createElement("a");
  link.href = URL.createObjectURL(file);
  link.download = name.replace(/[\\/:*?"<>|\u0000-\u001f]+/g, "_");
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 60_000);
}
