// The page's pictograms: one line width, 20 by 20.
const kPaths = {
  add: "M10 4v12M4 10h12",
  back: "M15 10H5m4-4-4 4 4 4",
  bars: "M4 16V9m4 7V4m4 12v-5m4 5V7",
  chart: "M3 15l4-6 3 3 4-7 3 4",
  check: "M4 10.5l4 4 8-9",
  close: "M5 5l10 10M15 5L5 15",
  collapse: "M12 5l-5 5 5 5",
  contrast: "M10 3a7 7 0 1 0 0 14zM10 3a7 7 0 1 1 0 14z",
  down: "M5 8l5 5 5-5",
  download: "M10 3v9m-4-4 4 4 4-4M4 16h12",
  expand: "M8 5l5 5-5 5",
  flag: "M5 17V3h9l-2 3.5L14 10H5",
  full: "M4 8V4h4m4 0h4v4m0 4v4h-4m-4 0H4v-4",
  grip: "M7 5h.01M7 10h.01M7 15h.01M13 5h.01M13 10h.01M13 15h.01",
  keys: "M3 6h14v8H3zM6 9h.01M9 9h.01M12 9h.01M14.5 9h.01M7 11.5h6",
  lanes: "M3 5h6v3H3zM11 5h6v3h-6zM3 12h3v3H3zM8 12h9v3H8z",
  later: "M5 10h10m-4-4 4 4-4 4",
  link: "M8.5 11.5l3-3M7 9l-2 2a2.8 2.8 0 0 0 4 4l2-2m2-2 2-2a2.8 2.8 0 0 0-4-4L9 7",
  list: "M7 5h10M7 10h10M7 15h10M3.5 5h.01M3.5 10h.01M3.5 15h.01",
  loads: "M3 5h14M3 5v3h9V5M3 12h14M3 12v3h5v-3",
  mic: "M10 3a2.2 2.2 0 0 0-2.2 2.2v4.6a2.2 2.2 0 0 0 4.4 0V5.200A2.2 2.2 0 0 0 10 3zM5 9.500a5 5 0 0 0 10 0M10 14.500V17",
  monitor: "M3 4h14v9H3zM7 16.500h6M10 13v3.500",
  moon: "M15.500 12A6.500 6.500 0 0 1 8 4.500a6.200 6.200 0 1 0 7.500 7.500z",
  more: "M5 10h.01M10 10h.01M15 10h.01",
  network: "M10 4a1.8 1.8 0 1 0 0 .01M5 15a1.8 1.8 0 1 0 0 .01M15 15a1.8 1.8 0 1 0 0 .01M9.200 6 6 13.300m4.800-7.300 3.200 7.300M7 15h6",
  numbers: "M4 6.500 6 5v10M10 6.500A2.200 2.200 0 0 1 14.500 7c0 2-4.500 5-4.500 8h5",
  pause: "M7 5v10M13 5v10",
  play: "M6 4l10 6-10 6z",
  protocol: "M4 6l3.500 4L4 14M10 14h6",
  search: "M9 4a5 5 0 1 0 0 10A5 5 0 0 0 9 4zm3.700 8.700L16 16",
  setups: "M3 4h6v7H3zM11 4h6v4h-6zM11 10h6v6h-6zM3 13h6v3H3z",
  stop: "M6 6h8v8H6z",
  sun: "M10 7a3 3 0 1 0 0 6 3 3 0 0 0 0-6zM10 2.500v2M10 15.500v2M2.500 10h2M15.500 10h2M4.700 4.700l1.400 1.400M13.900 13.900l1.400 1.400M4.700 15.300l1.400-1.400M13.900 6.100l1.400-1.400",
  table: "M3 4h14v12H3zM3 8h14M3 12h14M9 8v8",
  warning: "M10 3.500 17.500 16h-15zM10 8v4M10 14h.01",
  xy: "M4 3v13h13M7 12c2-7 5 3 8-7",
} as const;

export type IconName = keyof typeof kPaths;

export function Icon({ name }: { name: IconName }) {
  return (
    <svg class="icon" viewBox="0 0 20 20" aria-hidden="true" focusable="false">
      <path d={kPaths[name]} />
    </svg>
  );
}
