/// How buses and units are called on the page.

const kBuses: Readonly<Record<string, string>> = {
  BUSID_CAN: "CAN",
  BUSID_SERIAL: "Serial",
  BUSID_MOST25: "MOST25",
  BUSID_FLEXRAY: "FlexRay",
  BUSID_LIN: "LIN",
  BUSID_ETHERNET: "Ethernet",
  BUSID_CAMERA: "Camera",
  BUSID_MOST150: "MOST150",
  BUSID_MOST50: "MOST50",
  BUSID_ANALOG: "Analog",
  BUSID_CCPXCP: "CCP/XCP",
  BUSID_GPIO: "GPIO",
  BUSID_GPS: "GPS",
  BUSID_ECL: "ECL",
  BUSID_TTY: "TTY",
  BUSID_MII: "MII",
};

const kUnits: Readonly<Record<string, string>> = {
  UNIT_NONE: "",
  UNIT_PERCENT: "%",
  UNIT_BYTES_SEC: "B/s",
  UNIT_KBYTES_SEC: "kB/s",
  UNIT_MBYTES_SEC: "MB/s",
  UNIT_GBYTES_SEC: "GB/s",
  UNIT_FRAMES_SEC: "frames/s",
  UNIT_KFRAMES_SEC: "kframes/s",
  UNIT_BYTES: "B",
  UNIT_KBYTES: "kB",
  UNIT_MBYTES: "MB",
  UNIT_GBYTES: "GB",
};

/// "CAN 1"; "" for a bus of no known kind.
export function busName(busId: string, channel: number): string {
  const kind = kBuses[busId];
  return kind === undefined ? "" : `${kind} ${channel}`;
}

export function isMost(busId: string): boolean {
  return busId.startsWith("BUSID_MOST");
}

export function unitName(unit: string): string {
  return kUnits[unit] ?? "";
}

const kThousands = ["", "k", "M", "G"];

/// By what a number in the one unit is multiplied to be one in the other: 0.001 from "B/s" to "kB/s"; null for units of
/// different things.
export function unitRatio(from: string, to: string): number | null {
  if (from === to) return 1;
  const [, small, thing] = /^([kMG]?)((?:B|frames)(?:\/s)?)$/.exec(from) ?? [];
  const [, large, other] = /^([kMG]?)((?:B|frames)(?:\/s)?)$/.exec(to) ?? [];
  if (small === undefined || large === undefined || thing !== other) return null;
  return 1000 ** (kThousands.indexOf(small) - kThousands.indexOf(large));
}
