/// The version of Live View that this page belongs to; the build puts it in.
declare const LIVE_VIEW_VERSION: string;

export const kVersion: string = LIVE_VIEW_VERSION;
