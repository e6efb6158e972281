// The truth about the connection, in a word and, where there is more to say, a few others.
import { useEffect, useState } from "preact/hooks";
import { wholeSeconds } from "../charts/numbers.ts";
import { texts } from "../i18n/texts.ts";
import type { ConnectionState } from "../store/model.ts";
import { useStore } from "./context.ts";
import { Button } from "./ui/button.tsx";
import { Icon, type IconName } from "./ui/icons.tsx";

interface Shown {
  readonly tone: "good" | "wait" | "bad" | "plain";
  readonly text: string;
  readonly detail: string;
  readonly icon?: IconName;
}

export function ConnectionBadge() {
  const store = useStore();
  const t = texts();
  const state = store.connection.value;
  const counts = state.type === "lost" || state.type === "silent";
  const now = useSeconds(counts);
  const shown = describe(state, store.paused.value, now);
  return (
    <div class={`connection ${shown.tone}`} data-testid="connection" data-state={state.type}>
      <span class="connection-dot" aria-hidden="true" />
      {shown.icon && <Icon name={shown.icon} />}
      <span class="connection-words" role="status">
        <strong class="connection-text">{shown.text}</strong>
        {shown.detail !== "" && !counts && (
          <span class="connection-detail" title={shown.detail}>
            {shown.detail}
          </span>
        )}
      </span>
      {counts && (
        <span class="connection-detail" title={shown.detail}>
          {shown.detail}
        </span>
      )}
      {state.type === "lost" && (
        <Button label={t.connection.now} kind="outlined" testid="connect-now" onClick={() => store.reconnect()}>
          {t.connection.now}
        </Button>
      )}
    </div>
  );
}

function describe(state: ConnectionState, paused: boolean, now: number): Shown {
  const t = texts().connection;
  switch (state.type) {
    case "connecting":
      return { tone: "wait", text: t.connecting, detail: state.attempt > 1 ? t.tryNumber(state.attempt) : "" };
    case "waiting":
      return { tone: "wait", text: t.waiting, detail: state.missing.length > 0 ? t.waitingFor(state.missing.join(", ")) : "" };
    case "live":
      return paused ? { tone: "plain", text: t.paused, detail: "", icon: "pause" } : { tone: "good", text: t.live, detail: "" };
    case "silent":
      return { tone: "bad", text: t.silent, detail: texts().network.silentFor(wholeSeconds((now - state.sinceAt) / 1000)), icon: "warning" };
    case "off":
      return { tone: "bad", text: t.off, detail: t.offWhy, icon: "warning" };
    case "no-bus":
      return { tone: "bad", text: t.noBus, detail: state.text, icon: "warning" };
    case "lost": {
      const again = t.again(Math.max(0, Math.ceil((state.retryAt - now) / 1000)));
      const why = state.detail === "" ? t.reasons[state.reason] : `${t.reasons[state.reason]}: ${state.detail}`;
      return { tone: "bad", text: t.lost, detail: `${again} · ${why}`, icon: "warning" };
    }
    case "playback":
      return { tone: "plain", text: t.playback, detail: state.file, icon: "play" };
  }
}

// The page's clock, read twice a second while something counts down.
function useSeconds(running: boolean): number {
  const [now, setNow] = useState(() => performance.now());
  useEffect(() => {
    if (!running) return;
    setNow(performance.now());
    const timer = setInterval(() => setNow(performance.now()), 500);
    return () => clearInterval(timer);
  }, [running]);
  return running ? Math.max(now, 0) : 0;
}
