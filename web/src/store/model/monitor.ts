/// The remote-control monitor.
export interface MonitorState {
  /// null before the names have come.
  readonly screens: readonly { readonly index: number; readonly name: string }[] | null;
  readonly running: boolean;
  /// The screen that this page has chosen last. All browsers share one, and what it is now cannot be asked.
  readonly chosen: number | null;
  readonly signals: readonly { readonly name: string; readonly value: string; readonly unit: string; readonly arrivedAt: number }[];
}
