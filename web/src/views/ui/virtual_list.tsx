// A list of rows of one height of which only those on the screen exist.
import type { ComponentChildren } from "preact";
import { useEffect, useLayoutEffect, useRef, useState } from "preact/hooks";
import { useSize } from "./hooks.ts";

interface Props<Row> {
  readonly rows: readonly Row[];
  /// CSS pixels.
  readonly rowHeight: number;
  readonly rowKey: (row: Row) => string;
  readonly render: (row: Row, index: number) => ComponentChildren;
  readonly label: string;
  readonly role?: "list" | "rowgroup" | "log";
  readonly testid?: string;
  /// Keeps to the newest row at the end until somebody scrolls up.
  readonly follow?: boolean;
  /// Told which rows are on the screen.
  readonly onSeen?: (rows: readonly Row[]) => void;
}

const kOverscan = 6;
// Browsers limit the height of an element; far beyond what a network of loggers offers.
const kMostHeight = 8_000_000;

export function VirtualList<Row>({ rows, rowHeight, rowKey, render, label, role = "list", testid, follow = false, onSeen }: Props<Row>) {
  const root = useRef<HTMLDivElement>(null);
  const { height } = useSize(root);
  const [top, setTop] = useState(0);
  useEffect(() => {
    const element = root.current!;
    const scrolled = () => {
      setTop(Math.floor(element.scrollTop / rowHeight));
      atEnd.current = element.scrollHeight - element.scrollTop - element.clientHeight < rowHeight;
    };
    element.addEventListener("scroll", scrolled, { passive: true });
    return () => element.removeEventListener("scroll", scrolled);
  }, [rowHeight]);
  const atEnd = useRef(true);
  useLayoutEffect(() => {
    const element = root.current!;
    if (follow && atEnd.current) element.scrollTop = rows.length * rowHeight;
  }, [rows, height, follow]);
  const count = Math.ceil(height / rowHeight) + 1;
  const last = Math.min(rows.length, top + count + kOverscan);
  const first = Math.max(0, Math.min(top - kOverscan, last - count));
  const seen = rows.slice(first, last);
  useEffect(() => onSeen?.(seen), [rows, first, last]);
  return (
    <div
      class="virtual"
      ref={root}
      tabIndex={role === "rowgroup" ? undefined : 0}
      role={role === "rowgroup" ? undefined : "group"}
      aria-label={role === "rowgroup" ? undefined : label}
      data-testid={testid}
      onKeyDown={(event) => moveFocus(event, rowHeight)}
    >
      <div
        class="virtual-all"
        role={role}
        aria-label={role === "rowgroup" ? undefined : label}
        style={{ height: `${Math.min(kMostHeight, rows.length * rowHeight)}px` }}
      >
        <div class="virtual-seen" role="presentation" style={{ transform: `translateY(${first * rowHeight}px)` }}>
          {seen.map((row, index) => (
            <div
              class="virtual-row"
              role={role === "rowgroup" ? "row" : "listitem"}
              aria-setsize={role === "list" ? rows.length : undefined}
              aria-posinset={role === "list" ? first + index + 1 : undefined}
              aria-rowindex={role === "rowgroup" ? first + index + 1 : undefined}
              key={rowKey(row)}
              style={{ height: `${rowHeight}px` }}
            >
              {render(row, first + index)}
            </div>
          ))}
        </div>
      </div>
    </div>
  );
}

// Arrow keys go from row to row; what does not exist yet is scrolled to first.
function moveFocus(event: KeyboardEvent, rowHeight: number): void {
  const step = { ArrowDown: 1, ArrowUp: -1 }[event.key];
  const root = event.currentTarget as HTMLElement;
  if (step === undefined || event.target instanceof HTMLInputElement) return;
  const stops = [...root.querySelectorAll<HTMLElement>("[data-stop]")];
  const current = stops.findIndex((stop) => stop === document.activeElement || stop.contains(document.activeElement));
  const next = stops[current < 0 ? 0 : current + step];
  event.preventDefault();
  if (next !== undefined) next.focus();
  else root.scrollTop += step * rowHeight;
}
