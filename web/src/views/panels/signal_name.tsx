// The name of a signal in a panel, with its logger where the name alone could mean two signals.
import type { PanelSignal } from "../panel_signals.ts";

export function SignalName({ signal, class: className }: { signal: PanelSignal; class: string }) {
  return (
    <>
      <span class={className}>{signal.name}</span>
      {signal.origin !== "" && <span class="signal-origin">{signal.origin}</span>}
    </>
  );
}
