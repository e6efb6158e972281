/// Audio files and their upload.
export interface AudioFile {
  readonly name: string;
  readonly marker: string;
  /// Seconds of the logger's clock.
  readonly from: number;
  readonly to: number;
}

export type UploadState =
  | { readonly type: "idle" }
  | { readonly type: "uploading"; readonly name: string; readonly sent: number; readonly size: number }
  | { readonly type: "done"; readonly name: string }
  | { readonly type: "failed"; readonly name: string; readonly reason: string };

export interface AudioState {
  /// null before the list has come.
  readonly files: readonly AudioFile[] | null;
  readonly upload: UploadState;
}
