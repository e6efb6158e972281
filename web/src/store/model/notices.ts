/// What is told once, in a corner.
/// What a notice says. refused: the logger did not understand what was sent.
export type NoticeText = "refused" | "unplayable" | "setup-not-loaded" | "audio-not-assigned";

/// Something to tell once, in a corner. `detail` is what a logger or server said.
export interface Notice {
  readonly id: number;
  readonly kind: "info" | "error";
  readonly text: NoticeText;
  readonly detail: string;
  readonly at: number;
}
