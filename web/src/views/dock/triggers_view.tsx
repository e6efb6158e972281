// The markers of all loggers, newest first, in the logger's and in the browser's time.
import { texts } from "../../i18n/texts.ts";
import type { TriggerEvent } from "../../store/model.ts";
import { markerName } from "../marker_name.ts";
import { networkClock, useStore, useWorkspace, zoneClock } from "../context.ts";
import { rowHeight } from "../signal_list.tsx";
import { Button } from "../ui/button.tsx";
import { Incomplete, Nothing } from "../ui/states.tsx";
import { VirtualList } from "../ui/virtual_list.tsx";

const kBrowserZone = Intl.DateTimeFormat().resolvedOptions().timeZone;

export function TriggersView() {
  const store = useStore();
  const t = texts();
  const { events, complete, missing } = store.triggers.value;
  if (events.length === 0) {
    if (missing.length > 0)
      return (
        <>
          <Incomplete text={t.triggers.partial(missing)} />
          <Nothing icon="flag" text={t.triggers.unknown} />
        </>
      );
    return complete ? (
      <Nothing icon="flag" text={t.triggers.empty} />
    ) : (
      <Nothing icon="flag" text={t.triggers.waiting} waiting>
        <Button label={t.triggers.ask} kind="outlined" onClick={() => store.listTriggers()}>
          {t.triggers.ask}
        </Button>
      </Nothing>
    );
  }
  return (
    <div class="triggers">
      {missing.length > 0 && <Incomplete text={t.triggers.partial(missing)} />}
      <p class="muted list-note" role="status">
        {t.triggers.count(events.length)}
      </p>
      <VirtualList
        rows={events}
        rowHeight={Math.max(48, rowHeight())}
        rowKey={({ id }) => id}
        label={t.triggers.tab}
        testid="trigger-list"
        render={(event) => <Row event={event} />}
      />
    </div>
  );
}

function Row({ event }: { event: TriggerEvent }) {
  const store = useStore();
  const workspace = useWorkspace();
  const t = texts();
  const clock = event.timeZone !== "" ? zoneClock(event.timeZone) : networkClock(store);
  const browser = zoneClock(kBrowserZone);
  const name = (marker: string) => markerName(marker) || t.triggers.marker;
  // The time that is part of a marker stands below anyway.
  const also = [...new Set(event.also.map(name))].filter((other) => other !== name(event.marker));
  return (
    <div class="trigger" data-testid="trigger-row" data-marker={event.marker}>
      <button
        type="button"
        data-stop
        class="trigger-main"
        title={[event.marker, ...event.also, t.triggers.show].join("\n")}
        onClick={() => workspace.show(event.x)}
      >
        <span class="trigger-marker">
          {name(event.marker)}
          {also.length > 0 && <span class="muted"> · {also.join(" · ")}</span>}
        </span>
        <span class="trigger-times figures">
          <span title={`${t.triggers.loggerTime} (${clock.zone})`}>
            {clock.date(event.x)} {clock.time(event.x, 3)}
          </span>
          {browser.zone !== clock.zone && (
            <span class="muted" title={`${t.triggers.browserTime} (${browser.zone})`}>
              {browser.time(event.x)} {browser.zone}
            </span>
          )}
          <span class="muted trigger-number" title={t.triggers.number}>
            #{event.number}
          </span>
        </span>
      </button>
      <Button
        icon="mic"
        label={`${t.triggers.speak}: ${event.marker}`}
        onClick={() => {
          workspace.commentFor.value = event.marker;
          workspace.dock.value = "audio";
        }}
      />
    </div>
  );
}
