// The list of keys, and the names that the keys 1 to 9 set markers with.
import { texts } from "../i18n/texts.ts";
import { kVersion } from "../version.ts";
import { useStore, useWorkspace } from "./context.ts";
import { kShortcuts } from "./keyboard.ts";
import { Dialog } from "./ui/dialog.tsx";

const kNames: Record<string, string> = { ArrowLeft: "←", ArrowRight: "→", m: "M", a: "A", b: "B", x: "X", s: "S", d: "D", t: "T" };

export function KeysDialog() {
  const workspace = useWorkspace();
  const t = texts();
  const name = (key: string) => (key === " " ? t.keys.space : (kNames[key] ?? key));
  const shown = (keys: readonly string[]) =>
    keys.length > 2 ? `${name(keys[0]!)} – ${name(keys[keys.length - 1]!)}` : keys.map(name).join("  ");
  return (
    <Dialog title={t.keys.title} close={() => (workspace.dialog.value = null)}>
      <dl class="keys">
        {kShortcuts.map((shortcut) => (
          <div class="keys-row" key={shortcut.keys[0]}>
            <dt>
              <kbd>{shown(shortcut.keys)}</kbd>
            </dt>
            <dd>{shortcut.text(t)}</dd>
          </div>
        ))}
      </dl>
      <h3>{t.keys.mouse}</h3>
      <ul class="keys-mouse">
        {[t.keys.drag, t.keys.shiftDrag, t.keys.wheel, t.keys.cursorDrag, t.keys.doubleClick].map((line) => (
          <li key={line}>{line}</li>
        ))}
      </ul>
      <label class="check">
        <input
          type="checkbox"
          checked={workspace.keysEnabled.value}
          onChange={(event) => (workspace.keysEnabled.value = event.currentTarget.checked)}
        />
        {t.keys.enabled}
      </label>
      <p class="muted" data-testid="version">
        {t.title} {kVersion}
      </p>
    </Dialog>
  );
}

export function PresetsDialog() {
  const workspace = useWorkspace();
  const store = useStore();
  const t = texts();
  return (
    <Dialog title={t.marker.presets} close={() => (workspace.dialog.value = null)}>
      <div class="presets">
        {Array.from({ length: 9 }, (_, index) => (
          <label class="preset" key={index}>
            <kbd>{index + 1}</kbd>
            <input
              type="text"
              maxLength={120}
              aria-label={t.marker.preset(index + 1)}
              placeholder={t.marker.noPreset}
              value={store.markerPresets.value[index] ?? ""}
              onChange={(event) => store.setMarkerPreset(index, event.currentTarget.value.trim())}
            />
          </label>
        ))}
      </div>
    </Dialog>
  );
}
