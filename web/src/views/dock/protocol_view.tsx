// The frames that go by, a box to send one by hand, and sessions recorded to a file and played back.
import { useMemo, useRef, useState } from "preact/hooks";
import { download } from "../../charts/export.ts";
import { texts } from "../../i18n/texts.ts";
import type { FrameRecord } from "../../store/model.ts";
import { useStore } from "../context.ts";
import { rowHeight } from "../signal_list.tsx";
import { Button } from "../ui/button.tsx";
import { VirtualList } from "../ui/virtual_list.tsx";
import { bytes } from "./audio_view.tsx";
import { completions, requestText } from "./commands.ts";

export function ProtocolView() {
  return (
    <div class="protocol">
      <Sessions />
      <Frames />
      <Sender />
    </div>
  );
}

function Sessions() {
  const store = useStore();
  const t = texts();
  const { recording, playback } = store.protocol.value;
  const chooser = useRef<HTMLInputElement>(null);
  const save = async () => {
    const file = await store.stopRecording();
    if (file !== null) download(file, `live-view session ${new Date().toISOString().slice(0, 19).replaceAll(":", "")}.jsonl`);
  };
  if (playback !== null) {
    return (
      <section class="playback" aria-label={t.connection.playback} data-testid="playback">
        <p class="playback-name" title={playback.file}>
          {t.protocol.playing(playback.file)}
        </p>
        <div class="playback-line">
          <Button
            icon={playback.paused ? "play" : "pause"}
            label={playback.paused ? t.protocol.resume : t.protocol.pause}
            onClick={() => store.pausePlayback(!playback.paused)}
          />
          <input
            type="range"
            min="0"
            max={Math.max(0.1, playback.length)}
            step="0.1"
            value={playback.position}
            aria-label={t.protocol.position}
            onInput={(event) => store.seekPlayback(Number(event.currentTarget.value))}
          />
          <span class="figures">
            {playback.position.toFixed(0)} / {playback.length.toFixed(0)} s
          </span>
          <select
            aria-label={t.protocol.speed}
            value={String(playback.speed)}
            onChange={(event) => store.setPlaybackSpeed(Number(event.currentTarget.value))}
          >
            {[0.5, 1, 2, 5, 10].map((speed) => (
              <option key={speed} value={String(speed)}>
                {speed}×
              </option>
            ))}
          </select>
        </div>
        <Button kind="outlined" label={t.protocol.stopPlay} testid="playback-stop" onClick={() => store.stopPlayback()}>
          {t.protocol.stopPlay}
        </Button>
      </section>
    );
  }
  return (
    <div class="sessions">
      {recording === null ? (
        <Button kind="outlined" label={t.protocol.record} testid="session-record" onClick={() => store.startRecording()}>
          {t.protocol.record}
        </Button>
      ) : (
        <Button kind="danger" icon="stop" label={t.protocol.stopRecord} testid="session-save" onClick={() => void save()}>
          {t.protocol.stopRecord}
        </Button>
      )}
      {recording !== null && <span class="muted figures">{t.protocol.recorded(recording.frames, bytes(recording.bytes))}</span>}
      <input
        ref={chooser}
        type="file"
        class="visually-hidden"
        tabIndex={-1}
        aria-label={t.protocol.play}
        data-testid="session-file"
        onChange={(event) => {
          const file = event.currentTarget.files?.[0];
          if (file !== undefined) void store.play(file, file.name);
          event.currentTarget.value = "";
        }}
      />
      {recording === null && (
        <Button icon="play" kind="outlined" label={t.protocol.play} onClick={() => chooser.current!.click()}>
          {t.protocol.play}
        </Button>
      )}
    </div>
  );
}

function Frames() {
  const store = useStore();
  const t = texts();
  const [filter, setFilter] = useState("");
  const [chosen, setChosen] = useState<number | null>(null);
  const { frames, keepValues, queued } = store.protocol.value;
  const shown = useMemo(() => {
    const words = filter
      .toLowerCase()
      .split(/\s+/)
      .filter((word) => word !== "");
    return words.length === 0 ? frames : frames.filter((frame) => matches(frame, words));
  }, [frames, filter]);
  const open = frames.find(({ number }) => number === chosen);
  return (
    <section class="frames" aria-label={t.protocol.tab}>
      <div class="frames-head">
        <input
          type="search"
          placeholder={t.protocol.filter}
          aria-label={t.protocol.filter}
          value={filter}
          data-testid="frame-filter"
          onInput={(event) => setFilter(event.currentTarget.value)}
        />
        <label class="check">
          <input type="checkbox" checked={keepValues} onChange={(event) => store.keepValues(event.currentTarget.checked)} />
          {t.protocol.values}
        </label>
        <Button label={t.protocol.clear} onClick={() => store.clearFrames()}>
          {t.protocol.clear}
        </Button>
      </div>
      {shown.length === 0 ? (
        <p class="muted frames-none">{frames.length === 0 ? t.protocol.empty : t.protocol.noHit}</p>
      ) : (
        <VirtualList
          rows={shown}
          rowHeight={Math.max(24, rowHeight() - 4)}
          rowKey={({ number }) => String(number)}
          label={t.protocol.tab}
          testid="frames"
          follow
          render={(frame) => (
            <FrameLine
              frame={frame}
              open={chosen === frame.number}
              toggle={() => setChosen(chosen === frame.number ? null : frame.number)}
            />
          )}
        />
      )}
      {queued > 0 && <p class="frames-foot muted figures">{t.protocol.queued(queued)}</p>}
      {open !== undefined && (
        <pre class="frame-text" tabIndex={0} data-testid="frame-text">
          {open.text}
          {open.size > open.text.length && <span class="muted">{`\n… ${t.protocol.cut(open.size.toLocaleString("en"))}`}</span>}
        </pre>
      )}
    </section>
  );
}

function matches(frame: FrameRecord, words: readonly string[]): boolean {
  const text = `${frame.direction} ${frame.name} ${frame.status} ${frame.text}`.toLowerCase();
  return words.every((word) => text.includes(word));
}

function FrameLine({ frame, open, toggle }: { frame: FrameRecord; open: boolean; toggle: () => void }) {
  const t = texts();
  return (
    <div
      class={`frame ${frame.direction} ${frame.status === "ERROR" ? "error" : ""}`}
      data-testid="frame"
      data-direction={frame.direction}
      data-status={frame.status}
    >
      <button type="button" data-stop class="frame-line" aria-expanded={open} onClick={toggle}>
        <span class="frame-direction" role="img" aria-label={frame.direction === "sent" ? t.protocol.sent : t.protocol.received}>
          {frame.direction === "sent" ? "→" : "←"}
        </span>
        <span class="frame-name">{frame.name !== "" ? frame.name : frame.text.slice(0, 80)}</span>
        {frame.status !== "" && <span class="frame-status">{frame.status}</span>}
        <span class="frame-took figures" title={t.protocol.took}>
          {frame.took === null ? "" : `${frame.took.toFixed(frame.took < 10 ? 1 : 0)} ms`}
        </span>
      </button>
    </div>
  );
}

function Sender() {
  const store = useStore();
  const t = texts();
  const [typed, setTyped] = useState("");
  const box = useRef<HTMLTextAreaElement>(null);
  const offers = completions(typed);
  const take = (command: string) => {
    setTyped(requestText(command));
    box.current!.focus();
  };
  const send = () => {
    if (typed.trim() !== "") store.sendRaw(typed);
  };
  return (
    <form
      class="sender"
      onSubmit={(event) => {
        event.preventDefault();
        send();
      }}
    >
      {offers.length > 0 && (
        <div class="offers" role="group" aria-label={t.protocol.command}>
          {offers.map((command) => (
            <button type="button" class="offer" key={command} onClick={() => take(command)}>
              {command}
            </button>
          ))}
        </div>
      )}
      <textarea
        ref={box}
        rows={3}
        spellcheck={false}
        autocomplete="off"
        aria-label={t.protocol.request}
        placeholder={t.protocol.request}
        value={typed}
        data-testid="request"
        onInput={(event) => setTyped(event.currentTarget.value)}
        onKeyDown={(event) => {
          if (event.key === "Enter" && event.ctrlKey) {
            event.preventDefault();
            send();
          } else if (event.key === "Tab" && offers.length > 0 && !event.shiftKey) {
            event.preventDefault();
            take(offers[0]!);
          }
        }}
      />
      <div class="sender-line">
        <span class="muted">{t.protocol.ctrlEnter}</span>
        <button type="submit" class="button primary" data-testid="request-send">
          {t.protocol.send}
        </button>
      </div>
    </form>
  );
}
