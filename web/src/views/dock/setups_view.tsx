// Arrangements of panels: kept on the logger under a name, loaded, deleted, passed on as a link.
import { useState } from "preact/hooks";
import { texts } from "../../i18n/texts.ts";
import { useStore } from "../context.ts";
import { Button } from "../ui/button.tsx";
import { Icon } from "../ui/icons.tsx";
import { Nothing } from "../ui/states.tsx";

export function SetupsView() {
  const store = useStore();
  const t = texts();
  const { names, busy, error, question } = store.setups.value;
  const [said, setSaid] = useState("");
  return (
    <div class="setups">
      <SaveForm names={names ?? []} busy={busy} />
      {error !== "" && (
        <p class="warn list-note" role="alert" data-testid="setup-error">
          <Icon name="warning" /> {error}
        </p>
      )}
      {said !== "" && (
        <p class="list-note selectable" role="status">
          {said}
        </p>
      )}
      {question !== null && (
        <section class="question" role="group" aria-label={t.setups.question(question.logger || question.mac)} data-testid="setup-question">
          <p>{t.setups.question(question.logger || question.mac)}</p>
          {question.candidates.map((logger) => (
            <Button
              key={logger.mac}
              kind="outlined"
              label={`${logger.label} ${logger.mac}`}
              onClick={() => store.answerQuestion(logger.mac)}
            >
              {logger.label} <span class="muted figures">{logger.mac}</span>
            </Button>
          ))}
          <Button label={t.setups.noneOfThem} onClick={() => store.answerQuestion(null)}>
            {t.setups.noneOfThem}
          </Button>
        </section>
      )}
      {names === null ? (
        <Nothing icon="setups" text={t.setups.waiting} waiting />
      ) : names.length === 0 ? (
        <Nothing icon="setups" text={t.setups.empty} hint={t.setups.kept} />
      ) : (
        <ul class="setup-list" data-testid="setups">
          {names.map((name) => (
            <SetupRow key={name} name={name} busy={busy} say={setSaid} />
          ))}
        </ul>
      )}
    </div>
  );
}

function SaveForm({ names, busy }: { names: readonly string[]; busy: boolean }) {
  const store = useStore();
  const t = texts();
  const current = store.arrangement.value.name;
  const [name, setName] = useState<string | null>(null);
  const [asked, setAsked] = useState("");
  const typed = (name ?? current).trim();
  const save = () => {
    if (names.includes(typed) && typed !== current && asked !== typed) {
      setAsked(typed);
      return;
    }
    setAsked("");
    void store.saveSetup(typed);
  };
  return (
    <form
      class="form"
      onSubmit={(event) => {
        event.preventDefault();
        save();
      }}
    >
      <p class="muted list-note">
        {t.setups.current}: <strong data-testid="setup-current">{current !== "" ? current : t.setups.unsaved}</strong>
      </p>
      <div class="save-line">
        <input
          type="text"
          maxLength={60}
          aria-label={t.setups.saveAs}
          placeholder={t.setups.saveAs}
          value={name ?? current}
          data-testid="setup-name"
          onInput={(event) => setName(event.currentTarget.value)}
        />
        <button type="submit" class="button primary" disabled={busy || typed === ""} data-testid="setup-save">
          {asked === typed && asked !== "" ? t.setups.overwrite(typed) : t.common.save}
        </button>
      </div>
    </form>
  );
}

function SetupRow({ name, busy, say }: { name: string; busy: boolean; say: (text: string) => void }) {
  const store = useStore();
  const t = texts();
  const [asked, setAsked] = useState(false);
  const current = store.arrangement.value.name === name;
  const copy = async () => {
    const link = store.setupLink(name);
    try {
      await navigator.clipboard.writeText(link);
      say(t.setups.copied);
    } catch {
      say(`${t.setups.copyFailed} ${link}`);
    }
  };
  return (
    <li class={`setup ${current ? "current" : ""}`} data-testid="setup-row">
      <button
        type="button"
        class="setup-load"
        disabled={busy}
        title={`${t.common.load}: ${name}`}
        onClick={() => void store.loadSetup(name)}
      >
        <Icon name={current ? "check" : "setups"} />
        <span class="setup-name">{name}</span>
      </button>
      <Button icon="link" label={`${t.setups.link}: ${name}`} onClick={() => void copy()} />
      <Button icon="close" label={`${t.common.delete}: ${name}`} disabled={busy} onClick={() => setAsked(true)} />
      {asked && (
        <div class="setup-sure" role="alert">
          <span>{t.setups.sure(name)}</span>
          <Button kind="danger" label={t.common.delete} onClick={() => (setAsked(false), void store.deleteSetup(name))}>
            {t.common.delete}
          </Button>
          <Button kind="outlined" label={t.common.cancel} onClick={() => setAsked(false)}>
            {t.common.cancel}
          </Button>
        </div>
      )}
    </li>
  );
}
