// Buttons: with a pictogram, a text or both, always with a name.
import type { ComponentChildren } from "preact";
import { Icon, type IconName } from "./icons.tsx";

interface Props {
  readonly icon?: IconName;
  /// What it does. Shown as a tip when there is no text inside.
  readonly label: string;
  readonly onClick?: (event: MouseEvent) => void;
  readonly pressed?: boolean;
  readonly expanded?: boolean;
  readonly disabled?: boolean;
  readonly kind?: "plain" | "primary" | "danger" | "outlined";
  readonly class?: string;
  readonly testid?: string;
  readonly children?: ComponentChildren;
}

export function Button(props: Props) {
  const { icon, label, children, kind = "plain" } = props;
  const bare = children === undefined;
  return (
    <button
      type="button"
      class={`button ${kind} ${bare ? "bare" : ""} ${props.class ?? ""}`}
      aria-label={bare ? label : undefined}
      title={label}
      aria-pressed={props.pressed}
      aria-expanded={props.expanded}
      disabled={props.disabled}
      data-testid={props.testid}
      onClick={props.onClick}
    >
      {icon && <Icon name={icon} />}
      {!bare && <span class="button-text">{children}</span>}
    </button>
  );
}
