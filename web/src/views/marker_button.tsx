// Sets a marker: at once, with a preset name, or with a typed one. Says whether the loggers have it.
import { useRef, useState } from "preact/hooks";
import { texts } from "../i18n/texts.ts";
import type { PendingMarker } from "../store/model.ts";
import { useStore, useWorkspace } from "./context.ts";
import { markerName } from "./marker_name.ts";
import { Button } from "./ui/button.tsx";
import { useDismiss, useFocus } from "./ui/hooks.ts";
import { Icon } from "./ui/icons.tsx";

export function MarkerButton() {
  const store = useStore();
  const t = texts();
  const [open, setOpen] = useState(false);
  const root = useRef<HTMLDivElement>(null);
  useDismiss(root, open, () => setOpen(false));
  const pending = store.triggers.value.pending[0];
  return (
    <div class="marker" ref={root}>
      {pending !== undefined && <Pending marker={pending} />}
      <div class="marker-buttons">
        <Button
          icon="flag"
          kind="primary"
          class="marker-set"
          label={`${t.marker.setNow} (M)`}
          testid="marker"
          onClick={() => store.setMarker("")}
        >
          {t.marker.set}
        </Button>
        <Button
          icon="down"
          kind="primary"
          class="marker-more"
          label={t.marker.named}
          expanded={open}
          testid="marker-named"
          onClick={() => setOpen(!open)}
        />
      </div>
      {open && <NamedMarkers close={() => setOpen(false)} />}
    </div>
  );
}

function Pending({ marker }: { marker: PendingMarker }) {
  const t = texts().marker;
  const text = { sending: t.sending, confirmed: t.confirmed, "not-confirmed": t.notConfirmed }[marker.state];
  return (
    <span class={`pending ${marker.state}`} role="status" data-testid="marker-pending" data-state={marker.state} title={marker.marker}>
      {marker.state === "confirmed" && <Icon name="check" />}
      {marker.state === "not-confirmed" && <Icon name="warning" />}
      <span class="pending-name">{markerName(marker.marker) || t.set}</span>
      <span>{text}</span>
    </span>
  );
}

function NamedMarkers({ close }: { close: () => void }) {
  const store = useStore();
  const workspace = useWorkspace();
  const t = texts();
  const [name, setName] = useState("");
  const input = useRef<HTMLInputElement>(null);
  useFocus(input);
  const set = (text: string) => {
    close();
    store.setMarker(text);
  };
  return (
    <div class="marker-panel" role="group" aria-label={t.marker.named}>
      <form
        class="marker-form"
        onSubmit={(event) => {
          event.preventDefault();
          set(name.trim());
        }}
      >
        <input
          type="text"
          ref={input}
          maxLength={120}
          aria-label={t.marker.name}
          placeholder={t.marker.name}
          value={name}
          data-testid="marker-name"
          onInput={(event) => setName(event.currentTarget.value)}
        />
        <button type="submit" class="button primary">
          {t.marker.set}
        </button>
      </form>
      <div class="marker-presets">
        {store.markerPresets.value.map((preset, index) =>
          preset === "" ? null : (
            <button type="button" class="button outlined preset-button" key={index} onClick={() => set(preset)}>
              <kbd>{index + 1}</kbd>
              <span class="button-text">{preset}</span>
            </button>
          ),
        )}
      </div>
      <Button
        label={t.marker.presets}
        icon="keys"
        onClick={() => {
          close();
          workspace.dialog.value = "presets";
        }}
      >
        {t.marker.presets}
      </Button>
    </div>
  );
}
