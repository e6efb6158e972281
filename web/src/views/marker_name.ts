// How markers are called where there is little room.

/// What a person called it: the marker without the time that this page, or a logger, has put behind the name.
export function markerName(marker: string): string {
  return marker.replace(/ ?\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{1,6}$/, "");
}
