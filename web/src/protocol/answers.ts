/// Which frame ends the answer to each command, and how long to wait for it before the next request is handed over.
import type { Command, Frame, FrameOf, Key, Outcome, OutcomeOnly, Request, Status } from "./types";

/// What of a frame decides whether an answer has ended: large lists are not parsed for it.
export interface Summary extends Pick<Outcome, "status" | "errorCode" | "errorMessage"> {
  /// The command that is answered.
  readonly response: string;
  readonly key: Key | null;
}

interface Answer {
  /// Milliseconds. Some answers never come: they are sent when the last logger has answered. The logger itself
  /// waits no longer than this before it serves the next request.
  readonly patience: number;
  readonly ends: (frame: Summary, request: Request) => boolean;
}

const first = () => true;
const ofTheSameKey = (frame: Summary, request: Request) =>
  "signal_key" in request && (frame.key === null || (frame.key[0] === request.signal_key[0] && frame.key[1] === request.signal_key[1]));

/// null: there is no answer to wait for, either since none ever comes (only values follow `start_monitor`) or since it
/// comes when something else has happened (`set_trigger` is answered by the event itself).
export const kAnswers: Readonly<Record<Command, Answer | null>> = {
  ping: { patience: 10_000, ends: first },
  close_webapp: null,
  get_logger_info: { patience: 8_000, ends: first },
  get_logger_status: { patience: 2_300, ends: first },
  get_ksl_network: { patience: 3_000, ends: first },
  get_ksl_time_offset: { patience: 2_300, ends: first },
  get_signal_names: { patience: 1_000, ends: first },
  signal_forwarding_start: { patience: 5_000, ends: first },
  signal_forwarding_stop: { patience: 5_000, ends: first },
  generic_start_sig: { patience: 7_000, ends: ofTheSameKey },
  generic_stop_sig: { patience: 5_000, ends: ofTheSameKey },
  busload_start: { patience: 5_000, ends: first },
  busload_stop: { patience: 5_000, ends: first },
  get_bus_names: { patience: 2_500, ends: first },
  set_trigger: null,
  get_trigger_count: { patience: 3_000, ends: first },
  get_trigger: { patience: 5_000, ends: (frame) => frame.status !== "PROGRESS" },
  get_configs: { patience: 5_000, ends: first },
  load_config: { patience: 5_000, ends: first },
  save_config: { patience: 5_000, ends: first },
  delete_config: { patience: 5_000, ends: first },
  upload_audio_file: { patience: 10_000, ends: first },
  // An upload that was pending is named by an answer of its own before.
  cancel_data_upload: { patience: 5_000, ends: (frame) => frame.errorMessage === "" },
  set_audio_file: { patience: 5_000, ends: first },
  get_audio_list: { patience: 3_000, ends: first },
  get_rcmonitor_names: { patience: 3_000, ends: first },
  start_monitor: null,
  stop_monitor: null,
  request_screen: null,
};

/// The frame that ends the answer to a command.
export type AnswerTo<C extends Command> = C extends OutcomeOnly
  ? Outcome & { readonly response: C }
  : C extends Frame["response"]
    ? FrameOf<C>
    : never;

export function endsAnswer(request: Request, frame: Summary): boolean {
  return frame.response === request.command && (kAnswers[request.command]?.ends(frame, request) ?? false);
}

export function summaryOf(frame: Frame): Summary {
  return {
    response: frame.response === "other" ? frame.name : frame.response,
    status: frame.status,
    errorCode: frame.errorCode,
    errorMessage: frame.errorMessage,
    key: "key" in frame ? frame.key : null,
  };
}

/// What the end of a large list tells: its status stands there.
export function listSummary(response: string, text: string): Summary {
  const status = /"status"\s*:\s*"([A-Z_]+)"/.exec(text.slice(-300))?.[1] ?? "";
  return { response, status: status as Status | "", errorCode: "", errorMessage: "", key: null };
}
