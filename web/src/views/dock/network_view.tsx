// Every logger of the network: what it is, whether it answers, how its clock stands.
import { duration, wholeSeconds } from "../../charts/numbers.ts";
import { texts } from "../../i18n/texts.ts";
import type { GoneLogger, LoggerState } from "../../store/model.ts";
import { useStore, zoneClock } from "../context.ts";
import { Incomplete, Nothing } from "../ui/states.tsx";

/// Milliseconds after which somebody should have answered: a logger is asked twice meanwhile.
const kLong = 5_000;

export function NetworkView() {
  const store = useStore();
  const t = texts();
  const { loggers, gone, complete, name } = store.network.value;
  const connection = store.connection.value;
  if (loggers.length === 0) return <Nobody />;
  const missing = connection.type === "waiting" ? connection.missing : [];
  return (
    <div class="network" data-testid="loggers">
      {missing.length > 0 && <Incomplete text={t.common.missing(missing.join(", "))} />}
      <p class="network-state">
        <span class={complete ? "tag good" : "tag warn"} data-testid="network-state">
          {complete ? t.network.complete : t.network.partial}
        </span>
        <span class="muted">{name !== "" ? name : t.network.alone}</span>
      </p>
      <ul class="loggers">
        {loggers.map((logger) => (
          <Logger key={logger.mac} logger={logger} />
        ))}
      </ul>
      {gone.length > 0 && <Gone loggers={gone} />}
    </div>
  );
}

/// Those that have left.
function Gone({ loggers }: { loggers: readonly GoneLogger[] }) {
  const store = useStore();
  const t = texts();
  store.ticks.texts.value;
  return (
    <section class="gone-loggers" aria-label={t.network.gone}>
      <h3 class="section-head">{t.network.gone}</h3>
      <ul>
        {loggers.map(({ mac, label, heardAt }) => (
          <li class="logger-head" key={mac} data-testid="gone-logger" data-mac={mac}>
            <span class="dot" aria-hidden="true" />
            <span class="logger-name muted" title={`${label}\n${mac}`}>
              {label}
            </span>
            <span class="logger-answers warn">{t.network.heard(t.common.ago(wholeSeconds((performance.now() - heardAt) / 1000)))}</span>
          </li>
        ))}
      </ul>
    </section>
  );
}

/// Nobody has answered, and after a while what to look at.
function Nobody() {
  const store = useStore();
  const t = texts().network;
  store.ticks.texts.value;
  const state = store.connection.value;
  const long = state.type === "waiting" && performance.now() - state.sinceAt > kLong;
  return <Nothing icon="network" text={t.waiting} waiting hint={long ? t.nobody : undefined} />;
}

function Logger({ logger }: { logger: LoggerState }) {
  const t = texts().network;
  const common = texts().common;
  const zone = logger.timeZone;
  const known = zone === "" || zoneClock(zone).zone === zone;
  const lines: [string, string][] = [
    [t.type, logger.type],
    [t.config, logger.configName],
    [t.software, logger.softwareVersion],
    [t.zone, known ? zone : `${zone} (${t.zoneUnknown})`],
    [t.status, logger.status ?? ""],
    [t.offset, offsetText(logger)],
    [t.mac, logger.mac],
  ];
  return (
    <li class={`logger ${logger.answers === false ? "silent" : ""}`} data-testid="logger" data-mac={logger.mac}>
      <div class="logger-head">
        <span class={`dot ${logger.answers === false ? "bad" : logger.answers === null ? "wait" : "good"}`} aria-hidden="true" />
        <h3 class="logger-name" title={logger.label}>
          {logger.label}
        </h3>
        {logger.local && <span class="tag">{t.local}</span>}
        <Answering logger={logger} />
      </div>
      <dl class="facts">
        {lines.map(([term, text]) => (
          <div class="fact" key={term}>
            <dt>{term}</dt>
            <dd class={term === t.mac || term === t.status ? "figures" : ""} title={text}>
              {text !== "" ? text : <span class="muted">{common.unknown}</span>}
            </dd>
          </div>
        ))}
      </dl>
    </li>
  );
}

function Answering({ logger }: { logger: LoggerState }) {
  const store = useStore();
  const t = texts().network;
  if (logger.answers === false) store.ticks.texts.value;
  const text =
    logger.answers === null
      ? t.notAsked
      : logger.answers
        ? t.answers
        : t.silentFor(wholeSeconds((performance.now() - logger.heardAt) / 1000));
  return <span class={`logger-answers ${logger.answers === false ? "warn" : "muted"}`}>{text}</span>;
}

function offsetText(logger: LoggerState): string {
  const t = texts().network;
  if (logger.clockOffset === null) return "";
  if (logger.clockOffset === 0) return t.offsetNone;
  const size = duration(Math.abs(logger.clockOffset) / 1e6);
  return logger.clockOffset > 0 ? t.ahead(size) : t.behind(size);
}
