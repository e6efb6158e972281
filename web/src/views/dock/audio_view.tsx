// Comments to markers: spoken or chosen, heard before they are sent; and what is on the logger.
import { useEffect, useMemo, useRef, useState } from "preact/hooks";
import { texts } from "../../i18n/texts.ts";
import type { AudioFile } from "../../store/model.ts";
import { networkClock, useStore, useWorkspace } from "../context.ts";
import { Button } from "../ui/button.tsx";
import { Icon } from "../ui/icons.tsx";
import { Nothing } from "../ui/states.tsx";
import { canRecord, Recording, type Comment } from "./recorder.ts";

export function AudioView() {
  const store = useStore();
  const t = texts();
  const { files } = store.audio.value;
  return (
    <div class="audio">
      <NewComment />
      <div class="section-head">
        <h3>{t.audio.onLogger}</h3>
        <Button label={t.audio.reload} onClick={() => store.listAudio()}>
          {t.audio.reload}
        </Button>
      </div>
      {files === null ? (
        <Nothing icon="mic" text={t.audio.waiting} waiting />
      ) : files.length === 0 ? (
        <Nothing icon="mic" text={t.audio.empty} />
      ) : (
        <>
          <p class="muted list-note">
            {t.audio.notPlayable} {t.audio.clock}
          </p>
          <ul class="audio-files" data-testid="audio-files">
            {files.map((file) => (
              <FileRow key={file.name} file={file} />
            ))}
          </ul>
        </>
      )}
    </div>
  );
}

function NewComment() {
  const store = useStore();
  const workspace = useWorkspace();
  const t = texts();
  const [recording, setRecording] = useState<Recording | null>(null);
  const [refused, setRefused] = useState(false);
  const comment = workspace.comment.value;
  const chooser = useRef<HTMLInputElement>(null);
  const seconds = () => store.now();
  const keep = (spoken: Comment) => (workspace.comment.value = spoken);
  const { upload } = store.audio.value;
  const address = useMemo(() => (comment === null ? "" : URL.createObjectURL(comment.file)), [comment]);
  useEffect(() => () => URL.revokeObjectURL(address), [address]);
  // Who closes the tool while speaking finds what was spoken when it is opened again.
  useEffect(() => () => void recording?.stop(seconds).then(keep), [recording]);
  const begin = async () => {
    try {
      setRecording(await Recording.start(seconds));
      setRefused(false);
    } catch {
      setRefused(true);
    }
  };
  const send = () => {
    if (comment === null) return;
    const from = Math.floor(comment.from);
    store.uploadAudio(comment.file, comment.name, workspace.commentFor.value, from, Math.max(from + 1, Math.ceil(comment.to)));
    workspace.comment.value = null;
  };
  return (
    <section class="comment" aria-label={t.audio.comment}>
      <MarkerChoice value={workspace.commentFor.value} change={(marker) => (workspace.commentFor.value = marker)} />
      {comment === null ? (
        <div class="comment-buttons">
          {canRecord() &&
            (recording === null ? (
              <Button icon="mic" kind="primary" label={t.audio.record} testid="record" onClick={() => void begin()}>
                {t.audio.record}
              </Button>
            ) : (
              <Button icon="stop" kind="danger" label={t.audio.stop} testid="record-stop" onClick={() => setRecording(null)}>
                {t.audio.stop}
              </Button>
            ))}
          {recording !== null && <Elapsed />}
          <input
            ref={chooser}
            type="file"
            accept="audio/*"
            class="visually-hidden"
            tabIndex={-1}
            aria-label={t.audio.choose}
            data-testid="audio-file"
            onChange={(event) => {
              const file = event.currentTarget.files?.[0];
              const now = seconds();
              if (file !== undefined)
                workspace.comment.value = {
                  file,
                  name: file.name,
                  from: Number.isFinite(now) ? now : 0,
                  to: Number.isFinite(now) ? now : 0,
                };
              event.currentTarget.value = "";
            }}
          />
          {recording === null && (
            <Button kind="outlined" label={t.audio.choose} onClick={() => chooser.current!.click()}>
              {t.audio.choose}
            </Button>
          )}
        </div>
      ) : (
        <div class="comment-ready">
          <p class="comment-name" title={comment.name}>
            {comment.name} <span class="muted figures">{bytes(comment.file.size)}</span>
          </p>
          <audio controls src={address} aria-label={t.audio.listen} data-testid="audio-preview" />
          <div class="comment-buttons">
            <Button kind="primary" label={t.audio.send} testid="audio-send" disabled={upload.type === "uploading"} onClick={send}>
              {t.audio.send}
            </Button>
            <Button kind="outlined" label={t.audio.discard} onClick={() => (workspace.comment.value = null)}>
              {t.audio.discard}
            </Button>
          </div>
        </div>
      )}
      {!canRecord() && <p class="muted list-note">{t.audio.noMicrophone}</p>}
      {refused && (
        <p class="warn list-note" role="alert">
          {t.audio.refused}
        </p>
      )}
      <UploadLine />
    </section>
  );
}

function Elapsed() {
  const t = texts();
  const [since] = useState(() => performance.now());
  const store = useStore();
  store.ticks.texts.value;
  return <span class="elapsed figures">{t.audio.recording(`${((performance.now() - since) / 1000).toFixed(0)} s`)}</span>;
}

function UploadLine() {
  const store = useStore();
  const t = texts();
  const { upload } = store.audio.value;
  if (upload.type === "idle") return null;
  if (upload.type === "uploading") {
    return (
      <div class="upload" role="status" data-testid="upload">
        <progress max={upload.size} value={upload.sent} aria-label={t.audio.sending} />
        <span class="figures">{t.audio.progress(bytes(upload.sent), bytes(upload.size))}</span>
        <Button label={t.common.cancel} onClick={() => store.cancelUpload()}>
          {t.common.cancel}
        </Button>
      </div>
    );
  }
  const good = upload.type === "done";
  return (
    <p class={`upload ${good ? "good" : "warn"}`} role="status" data-testid="upload">
      <Icon name={good ? "check" : "warning"} />
      {upload.type === "done" ? t.audio.done(upload.name) : t.audio.failed(upload.reason)}
    </p>
  );
}

function MarkerChoice({ value, change }: { value: string; change: (marker: string) => void }) {
  const store = useStore();
  const t = texts();
  const markers = store.triggers.value.events.map(({ marker }) => marker);
  const shown = value === "" || markers.includes(value) ? markers : [value, ...markers];
  return (
    <label class="field">
      {t.audio.marker}
      <select value={value} data-testid="audio-marker" onChange={(event) => change(event.currentTarget.value)}>
        <option value="">{t.audio.noMarker}</option>
        {shown.slice(0, 200).map((marker) => (
          <option key={marker} value={marker}>
            {marker}
          </option>
        ))}
      </select>
    </label>
  );
}

function FileRow({ file }: { file: AudioFile }) {
  const store = useStore();
  const t = texts();
  const [editing, setEditing] = useState(false);
  const [marker, setMarker] = useState(file.marker);
  const clock = networkClock(store);
  return (
    <li class="audio-file" data-testid="audio-row">
      <div class="audio-line">
        <span class="audio-name" title={file.name}>
          {file.name}
        </span>
        <Button label={t.audio.assign} icon="flag" expanded={editing} onClick={() => setEditing(!editing)} />
      </div>
      <p class="audio-line muted">
        <span class="audio-marker" title={file.marker}>
          {file.marker !== "" ? file.marker : t.audio.noMarker}
        </span>
        <span class="figures">
          {clock.date(file.from)} {clock.time(file.from)} – {clock.time(file.to)}
        </span>
      </p>
      {editing && (
        <form
          class="form"
          onSubmit={(event) => {
            event.preventDefault();
            const data = new FormData(event.currentTarget);
            store.assignAudio(file.name, marker, Number(data.get("from")), Number(data.get("to")));
            setEditing(false);
          }}
        >
          <MarkerChoice value={marker} change={setMarker} />
          <div class="field-pair">
            <label class="field">
              {t.audio.from}
              <input name="from" type="number" min="0" max="4294967295" step="1" required value={file.from} />
            </label>
            <label class="field">
              {t.audio.to}
              <input name="to" type="number" min="0" max="4294967295" step="1" required value={file.to} />
            </label>
          </div>
          <div class="form-buttons">
            <button type="button" class="button plain" onClick={() => setEditing(false)}>
              {t.common.cancel}
            </button>
            <button type="submit" class="button primary">
              {t.common.save}
            </button>
          </div>
        </form>
      )}
    </li>
  );
}

/// A size in bytes for people.
export function bytes(size: number): string {
  if (size < 1000) return `${size} B`;
  if (size < 1e6) return `${(size / 1e3).toFixed(1)} kB`;
  return `${(size / 1e6).toFixed(1)} MB`;
}
