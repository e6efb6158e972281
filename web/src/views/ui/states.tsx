// What a view shows where there is nothing to show, or not all of it.
import type { ComponentChildren } from "preact";
import { texts } from "../../i18n/texts.ts";
import { useStore } from "../context.ts";
import { Button } from "./button.tsx";
import { Icon, type IconName } from "./icons.tsx";

/// Nothing here, or nothing yet: `waiting` shows that something is expected.
export function Nothing({
  icon,
  text,
  hint,
  waiting,
  children,
}: {
  icon: IconName;
  text: string;
  hint?: string | undefined;
  waiting?: boolean;
  children?: ComponentChildren;
}) {
  return (
    <div class={`nothing ${waiting ? "waiting" : ""}`} role={waiting ? "status" : undefined}>
      <Icon name={icon} />
      <p>{text}</p>
      {hint !== undefined && <p class="muted">{hint}</p>}
      {children}
    </div>
  );
}

/// What is shown is not all: who is missing, and the one way to ask again.
export function Incomplete({ text }: { text: string }) {
  const store = useStore();
  const t = texts();
  return (
    <div class="incomplete" role="status">
      <Icon name="warning" />
      <span class="incomplete-text" title={t.common.connectAnewWhy}>
        {text}
      </span>
      <Button label={t.common.connectAnew} kind="outlined" onClick={() => store.reconnect()}>
        {t.common.connectAnew}
      </Button>
    </div>
  );
}
