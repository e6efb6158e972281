/// The page's knowledge as one object: joins the feed with what is kept of each subject.
import { computed, signal } from "@preact/signals";
import type { ClientState } from "../protocol/client_state";
import type { Frame } from "../protocol/types";
import type { FeedLink, FromFeed } from "../worker/messages";
import { ArrangementStore } from "./arrangement_store";
import { AudioStore } from "./audio_store";
import { BusesStore } from "./buses_store";
import { ConnectionStore } from "./connection_store";
import { FeedRequests } from "./feed_requests";
import type { SetupsState, Store } from "./model";
import { MonitorStore } from "./monitor_store";
import { NetworkStore } from "./network_store";
import { NetworkTime } from "./network_time";
import { NoticeBoard } from "./notice_board";
import { Playback } from "./playback";
import { Presets } from "./presets";
import { ProtocolStore } from "./protocol_store";
import { setupInAddress, setupLink } from "./setup_address";
import { SetupsStore } from "./setups_store";
import { SignalsStore } from "./signals_store";
import type { Ticks } from "./ticks";
import { TriggersStore } from "./triggers_store";

const kPoll = 15_000; // ms between two looks at the loggers' states
const kTidy = 60_000; // ms

export interface StoreOptions {
  /// The websocket's address.
  readonly url: string;
  /// The page's address, whose hash may name a set-up.
  readonly address: string;
  /// Where the browser keeps things; null where it keeps nothing.
  readonly storage: Storage | null;
  readonly ticks: Ticks;
}

export function createStore(link: FeedLink, { url, address, storage, ticks }: StoreOptions): Store {
  // First of all: there is nobody to want anything of before.
  link.post({ op: "connect", url, origin: performance.timeOrigin });
  link.post({ op: "loads", wanted: true });
  const monotonic = () => performance.now();
  const requests = new FeedRequests(link);
  const time = new NetworkTime();
  const network = new NetworkStore((mac, offset) => signals.offsetChanged(mac, offset));
  const signals = new SignalsStore(link, network, time);
  const buses = new BusesStore(network);
  const triggers = new TriggersStore(monotonic);
  const audio = new AudioStore(link);
  const monitor = new MonitorStore(link, monotonic);
  const arrangement = new ArrangementStore(network, signals, storage);
  const setups = new SetupsStore(requests, arrangement);
  const protocol = new ProtocolStore(link, monotonic);
  const connection = new ConnectionStore(network, buses);
  const presets = new Presets(storage);
  const notices = new NoticeBoard(monotonic);
  const playback = new Playback(link, beginPlaying);
  const paused = signal(false);
  const frozenX = signal(NaN);
  let linkedSetup = setupInAddress(address);

  /// Milliseconds of the page's clock, or of the session that is played.
  const clock = () => protocol.playedMs() ?? monotonic();
  const now = () => time.now(clock(), network.localMac);

  function take(message: FromFeed): void {
    switch (message.op) {
      case "values":
        signals.takeValues(message);
        break;
      case "frame":
        takeFrame(message.frame, message.at);
        break;
      case "state":
        takeState(message.state);
        break;
      case "answer":
      case "no-answer":
        requests.take(message);
        break;
      case "signals":
        signals.takeStates(message.states);
        break;
      case "catalogue":
        network.takeCatalogue(message, clock());
        signals.takeCatalogue(message);
        break;
      case "log":
        protocol.takeLog(message.records, message.queued);
        break;
      case "recording":
        protocol.takeRecording(message);
        break;
      case "recorded":
        protocol.takeRecorded(message.file);
        break;
      case "upload":
        audio.progress(message.sent, message.size);
        break;
      case "uploaded":
        audio.ended(message.failure);
        if (message.failure === null) listAudio();
        break;
      case "playing":
        playback.take(message, takePlaying);
        break;
      case "unplayable":
        playback.unplayable();
        notices.add("error", "unplayable", message.reason);
        break;
    }
  }

  function takeFrame(frame: Frame, at: number): void {
    network.take(frame, at);
    buses.take(frame, at);
    triggers.take(frame);
    audio.take(frame);
    monitor.take(frame, at);
    setups.take(frame);
    connection.takeFrame(frame, at);
    if (frame.response === "undef_cmd") notices.add("error", "refused", frame.errorMessage);
  }

  function takeState(state: ClientState): void {
    if (protocol.playedMs() !== null) return;
    connection.takeState(state, monotonic());
    if (state.type === "waiting") {
      network.begin();
      buses.begin();
    } else if (state.type === "ready") {
      network.setComplete();
      signals.connected();
      void open();
    } else {
      for (const part of [network, signals, buses, triggers]) part.reset();
    }
  }

  /// What is asked once in a connection. Whatever may block the logger comes last, and only while everybody answers.
  async function open(): Promise<void> {
    buses.expect(monotonic());
    const { opening } = requests;
    const ignore = () => null;
    void opening.getConfigs().catch(ignore);
    void opening.getMonitorNames().catch(ignore);
    void opening.getAudioList().catch(ignore);
    loadLinkedSetup();
    if (!(await poll())) return;
    void requests.poll.getTrigger().catch(ignore);
  }

  /// Whether every logger has answered.
  async function poll(): Promise<boolean> {
    if (connection.clientState !== "ready") return false;
    const answer = await requests.poll.getLoggerStatus().catch((error: { reason: string }) => error);
    if ("reason" in answer && answer.reason === "late") network.someoneSilent(monotonic());
    return !("reason" in answer);
  }

  function loadLinkedSetup(): void {
    if (linkedSetup === null) return;
    const name = linkedSetup;
    linkedSetup = null;
    void setups.load(name).then((ok) => {
      if (!ok) notices.add("error", "setup-not-loaded", name);
    });
  }

  function takePlaying(message: Extract<FromFeed, { op: "playing" }>): void {
    if (message.cut) forgetAll();
    protocol.takePlaying(message, playback.file);
  }

  function beginPlaying(file: string): void {
    connection.play(file);
    signals.playing.value = true;
    signals.connected();
    network.setComplete();
  }

  function forgetAll(): void {
    for (const part of [network, buses, triggers, audio, monitor, setups]) part.begin();
    network.forgetAll();
    signals.clear();
    time.clear();
  }

  function listAudio(): void {
    void requests.person.getAudioList().catch(() => {});
  }

  link.listen(take);
  setInterval(() => void poll(), kPoll);
  setInterval(() => signals.forgetOld(clock()), kTidy);

  return {
    connection: connection.state,
    network: network.state,
    catalogue: signals.catalogue,
    runs: signals.runs,
    refusals: signals.refusals,
    buses: buses.state,
    triggers: computed(() => {
      const state = triggers.state.value;
      return { ...state, missing: state.complete ? [] : network.silent.value };
    }),
    audio: audio.state,
    monitor: monitor.state,
    setups: computed<SetupsState>(() => ({ ...setups.state.value, question: arrangement.question.value })),
    arrangement: arrangement.state,
    arranged: arrangement.settled,
    protocol: protocol.state,
    notices: notices.state,
    markerPresets: presets.state,
    ticks,
    paused,
    frozenX,

    now,
    viewX: () => (paused.peek() ? frozenX.peek() : now()),
    history: (id) => signals.history(id),
    age: (id) => (clock() - (signals.history(id)?.arrivedAt ?? -Infinity)) / 1000,
    stale: (id) => signals.stale(id, clock()),
    colour: (id) => signals.colours.of(id),

    start: (ids) => arrangement.start(ids),
    stop: (ids) => arrangement.stop(ids),
    setVisible: (owner, ids) => signals.setVisible(owner, ids),

    setArrangement: (value) => arrangement.set(value),
    addPanel: (kind, ids) => arrangement.addPanel(kind, ids),
    changePanel: (id, change) => arrangement.changePanel(id, change),
    removePanel: (id) => arrangement.removePanel(id),
    addToPanel: (id, ids) => arrangement.addToPanel(id, ids),
    removeFromPanel: (id, removed) => arrangement.removeFromPanel(id, removed),
    resolve: (reference) => arrangement.resolve(reference),

    pause() {
      frozenX.value = now();
      paused.value = true;
    },
    resume() {
      paused.value = false;
    },

    setMarker(name) {
      const local = network.state.peek().loggers.find((logger) => logger.local);
      const at = now();
      const marker = triggers.makeId(name, Number.isNaN(at) ? Date.now() / 1000 : at, local?.timeZone ?? "");
      triggers.sent(marker);
      void requests.marker.setTrigger(marker).catch(() => {});
    },
    setMarkerPreset: (index, name) => presets.set(index, name),
    listTriggers() {
      void requests.person.getTrigger().catch(() => {});
    },
    startLoads() {
      buses.expect(monotonic());
      buses.started();
      link.post({ op: "loads", wanted: true });
    },
    stopLoads() {
      buses.expect(monotonic());
      link.post({ op: "loads", wanted: false });
    },
    reconnect: () => link.post({ op: "reconnect" }),

    uploadAudio: (file, name, marker, from, to) => audio.upload(file, name, marker, from, to),
    cancelUpload: () => link.post({ op: "cancel-upload" }),
    assignAudio: (name, marker, from, to) =>
      audio.assign(requests.person, name, marker, from, to, (detail) => notices.add("error", "audio-not-assigned", detail)),
    listAudio,

    startMonitor: () => monitor.run(true),
    stopMonitor: () => monitor.run(false),
    chooseScreen: (index) => monitor.choose(index),

    listSetups: () => setups.list(),
    saveSetup: (name) => setups.save(name),
    loadSetup: (name) => setups.load(name),
    deleteSetup: (name) => setups.delete(name),
    answerQuestion: (mac) => arrangement.answer(mac),
    setupLink: (name) => setupLink(address, name),

    sendRaw: (text) => link.post({ op: "raw", text }),
    keepValues: (keep) => protocol.keepValues(keep),
    clearFrames: () => protocol.clear(),
    startRecording: () => protocol.record(),
    stopRecording: () => protocol.stopRecording(),
    play: (file, name) => playback.play(file, name),
    pausePlayback: (value) => playback.change({ paused: value }),
    seekPlayback: (seconds) => playback.change({ seek: seconds * 1000 }),
    setPlaybackSpeed: (speed) => playback.change({ speed }),
    stopPlayback() {
      playback.stop();
      protocol.endPlayback();
      signals.playing.value = false;
      forgetAll();
      signals.reset();
      link.post({ op: "stop-playing" });
    },

    dismiss: (id) => notices.dismiss(id),
  };
}
