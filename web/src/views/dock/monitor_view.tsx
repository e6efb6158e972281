// The screens of the local logger's handheld control unit.
import { texts } from "../../i18n/texts.ts";
import { useStore } from "../context.ts";
import { Button } from "../ui/button.tsx";
import { Nothing } from "../ui/states.tsx";

export function MonitorView() {
  const store = useStore();
  const t = texts();
  const { screens, running, chosen, signals } = store.monitor.value;
  if (screens === null) return <Nothing icon="monitor" text={t.monitor.waiting} waiting />;
  if (screens.length === 0) return <Nothing icon="monitor" text={t.monitor.empty} />;
  return (
    <div class="monitor">
      <div class="monitor-head">
        <p class="muted list-note">{t.monitor.shared}</p>
        <Button
          icon={running ? "stop" : "play"}
          kind={running ? "outlined" : "primary"}
          label={running ? t.monitor.stop : t.monitor.start}
          testid="monitor-run"
          onClick={() => (running ? store.stopMonitor() : store.startMonitor())}
        >
          {running ? t.monitor.stop : t.monitor.start}
        </Button>
      </div>
      <div class="screens" role="group" aria-label={t.monitor.screen}>
        {screens.map(({ index, name }) => (
          <button
            type="button"
            class="screen"
            key={index}
            aria-pressed={chosen === index}
            title={name}
            data-testid={`screen-${index}`}
            onClick={() => store.chooseScreen(index)}
          >
            <span class="figures muted">{index}</span> <span class="screen-name">{name}</span>
          </button>
        ))}
      </div>
      {signals.length === 0 ? (
        <Nothing icon="monitor" text={running ? t.monitor.noValues : t.monitor.stopped} waiting={running} />
      ) : (
        <table class="monitor-values" data-testid="monitor-values">
          <tbody>
            {signals.map(({ name, value, unit }) => (
              <tr key={name}>
                <th scope="row" title={name}>
                  {name}
                </th>
                <td class="figures">
                  {value} <span class="unit">{unit}</span>
                </td>
              </tr>
            ))}
          </tbody>
        </table>
      )}
    </div>
  );
}
