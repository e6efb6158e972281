// A button that opens a list of actions; also at a place, for the context menu of a row.
import type { ComponentChildren } from "preact";
import { useLayoutEffect, useRef, useState } from "preact/hooks";
import { useDismiss } from "./hooks.ts";
import { Icon, type IconName } from "./icons.tsx";

export interface MenuItem {
  readonly label: string;
  readonly icon?: IconName;
  readonly checked?: boolean;
  readonly disabled?: boolean;
  /// An item without one only tells something: in full, and keys reach it.
  readonly action?: () => void;
}

/// Items in groups; a line is drawn between them, a heading above where there is one.
export interface MenuGroup {
  readonly title?: string;
  readonly items: readonly MenuItem[];
}

interface Props {
  readonly label: string;
  readonly icon?: IconName;
  readonly groups: () => readonly MenuGroup[];
  readonly class?: string;
  readonly testid?: string;
  readonly children?: ComponentChildren;
}

export function MenuButton({ label, icon = "more", groups, testid, children, class: extra = "" }: Props) {
  const [open, setOpen] = useState(false);
  const root = useRef<HTMLDivElement>(null);
  const button = useRef<HTMLButtonElement>(null);
  const close = () => setOpen(false);
  useDismiss(root, open, close);
  return (
    <div class={`menu-root ${extra}`} ref={root}>
      <button
        type="button"
        ref={button}
        class={`button plain ${children === undefined ? "bare" : ""}`}
        aria-label={children === undefined ? label : undefined}
        title={label}
        aria-haspopup="menu"
        aria-expanded={open}
        data-testid={testid}
        onClick={(event) => {
          event.stopPropagation();
          setOpen(!open);
        }}
      >
        <Icon name={icon} />
        {children !== undefined && <span class="button-text">{children}</span>}
      </button>
      {open && (
        <Menu
          label={label}
          groups={groups()}
          anchor={button.current!}
          close={() => {
            close();
            button.current?.focus();
          }}
        />
      )}
    </div>
  );
}

function Menu({ label, groups, anchor, close }: { label: string; groups: readonly MenuGroup[]; anchor: HTMLElement; close: () => void }) {
  const root = useRef<HTMLDivElement>(null);
  useLayoutEffect(() => {
    place(root.current!, anchor.getBoundingClientRect());
    root.current!.querySelector<HTMLElement>("button:not(:disabled)")?.focus();
  }, []);
  return (
    <div
      class="menu"
      role="menu"
      aria-label={label}
      ref={root}
      onKeyDown={(event) => moveFocus(event, root.current!)}
      onClick={(event) => event.stopPropagation()}
    >
      {groups
        .filter(({ items }) => items.length > 0)
        .map((group, index) => (
          <div class="menu-group" role="group" key={index} aria-label={group.title}>
            {group.title !== undefined && (
              <div class="menu-title" aria-hidden="true">
                {group.title}
              </div>
            )}
            {group.items.map((item) => (
              <button
                type="button"
                role={item.checked === undefined ? "menuitem" : "menuitemcheckbox"}
                aria-checked={item.checked}
                aria-disabled={item.action === undefined ? true : undefined}
                class={`menu-item ${item.action === undefined ? "told" : ""}`}
                key={item.label}
                disabled={item.disabled}
                onClick={() => {
                  if (item.action === undefined) return;
                  close();
                  item.action();
                }}
              >
                <span class="menu-icon">{item.checked === true ? <Icon name="check" /> : item.icon && <Icon name={item.icon} />}</span>
                <span class="menu-label">{item.label}</span>
              </button>
            ))}
          </div>
        ))}
    </div>
  );
}

// Below the anchor, its right edges in line, but always within the window.
function place(menu: HTMLElement, anchor: DOMRect): void {
  const { width, height } = menu.getBoundingClientRect();
  const left = Math.max(8, Math.min(innerWidth - width - 8, anchor.right - width > 8 ? anchor.right - width : anchor.left));
  const below = anchor.bottom + 4;
  const top = below + height <= innerHeight - 8 ? below : Math.max(8, anchor.top - height - 4);
  menu.style.left = `${left}px`;
  menu.style.top = `${top}px`;
}

function moveFocus(event: KeyboardEvent, root: HTMLElement): void {
  const step = { ArrowDown: 1, ArrowUp: -1 }[event.key];
  if (step === undefined) return;
  event.preventDefault();
  event.stopPropagation();
  const items = [...root.querySelectorAll<HTMLElement>("button:not(:disabled)")];
  const index = items.indexOf(document.activeElement as HTMLElement);
  items[(index + step + items.length) % items.length]?.focus();
}
