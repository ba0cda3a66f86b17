import type { BluetoothKind, UsbKind } from "../../../protocol/sample.js";

const headphones = "M4.5 15.5V12a7.5 7.5 0 0 1 15 0V15.5M4.5 14.5h2a1.5 1.5 0 0 1 1.5 1.5v3a1.5 1.5 0 0 1-1.5 1.5h-.5a1.5 1.5 0 0 1-1.5-1.5ZM19.5 14.5h-2a1.5 1.5 0 0 0-1.5 1.5v3a1.5 1.5 0 0 0 1.5 1.5h.5a1.5 1.5 0 0 0 1.5-1.5Z";
const microphone = "M12 3a3 3 0 0 1 3 3v5a3 3 0 0 1-6 0V6a3 3 0 0 1 3-3ZM6 11a6 6 0 0 0 12 0M12 17v4";
const keyboard = "M4.5 6.5h15a2 2 0 0 1 2 2v7a2 2 0 0 1-2 2h-15a2 2 0 0 1-2-2v-7a2 2 0 0 1 2-2ZM6.5 10.3v.01M10.2 10.3v.01M13.9 10.3v.01M17.5 10.3v.01M8 14h8";
const printer = "M7 8.5V3.5h10v5M7 17.5H5a2 2 0 0 1-2-2v-5a2 2 0 0 1 2-2h14a2 2 0 0 1 2 2v5a2 2 0 0 1-2 2h-2M7 14.5h10v6H7Z";
const camera = "M4 7.5h3.5l1.5-2.5h6l1.5 2.5H20a1.5 1.5 0 0 1 1.5 1.5v9a1.5 1.5 0 0 1-1.5 1.5H4a1.5 1.5 0 0 1-1.5-1.5V9A1.5 1.5 0 0 1 4 7.5ZM12 10a3.3 3.3 0 1 1-.01 0";
const speaker = "M7 3h10a1.5 1.5 0 0 1 1.5 1.5v15A1.5 1.5 0 0 1 17 21H7a1.5 1.5 0 0 1-1.5-1.5v-15A1.5 1.5 0 0 1 7 3ZM12 6.5v.01M12 11a3.5 3.5 0 1 1-.01 0";
const plug = "M9 3v5M15 3v5M6.5 8h11v3a5.5 5.5 0 0 1-11 0ZM12 16.5V21";
const slab = (x: number, y: number, w: number, h: number): string =>
  `M${x + 2} ${y}h${w - 4}a2 2 0 0 1 2 2v${h - 4}a2 2 0 0 1-2 2h-${w - 4}a2 2 0 0 1-2-2v-${h - 4}a2 2 0 0 1 2-2Z`;

export const drive = "M6.2 4.5h11.6L21 14v4a1.5 1.5 0 0 1-1.5 1.5h-15A1.5 1.5 0 0 1 3 18v-4ZM3 14h18M6.5 16.8v.01";
export const display = `${slab(3, 4, 18, 12)}M12 16v4M8.5 20h7`;
export const backup = "M3.5 12a8.5 8.5 0 1 0 2.5-6L3.5 8.5M3.5 3.5v5h5M12 7.5V12l3 1.8";
export const wireless = "M2.5 9.5a14 14 0 0 1 19 0M5.8 13.2a9 9 0 0 1 12.4 0M9 16.7a4.5 4.5 0 0 1 6 0M12 20v.01";
export const cable = "M4 4.5h16v9H4ZM9 13.5v3M15 13.5v3M12 16.5V20M8 8v2.5M12 8v2.5M16 8v2.5M8 16.5h8";
export const bluetooth = "M7 7.5l10 9-5 4.5V3l5 4.5-10 9";

const bluetoothIcons: Readonly<Record<BluetoothKind, string>> = {
  headphones,
  headset: headphones,
  speaker,
  microphone,
  mouse: "M12 3a5.5 5.5 0 0 1 5.5 5.5v7a5.5 5.5 0 0 1-11 0v-7A5.5 5.5 0 0 1 12 3ZM12 7v3",
  keyboard,
  trackpad: `${slab(4, 4.5, 16, 15)}M4 15h16`,
  gamepad: "M8 7h8a5 5 0 0 1 5 5v2.5a3 3 0 0 1-5.5 1.5l-1-1.5h-5l-1 1.5A3 3 0 0 1 3 14.5V12a5 5 0 0 1 5-5ZM8.5 9.5v3M7 11h3M15.5 10v.01M17 12v.01",
  pen: "M4 20l1-4.5L16.5 4l3.5 3.5L8.5 19ZM14 6.5l3.5 3.5",
  remote: `${slab(8, 2.5, 8, 19)}M12 6.5v.01M12 11v.01M12 14v.01`,
  phone: `${slab(6.5, 2.5, 11, 19)}M11 18.5h2`,
  tablet: `${slab(4.5, 3, 15, 18)}M11 18h2`,
  watch: `${slab(6.5, 7, 11, 10)}M9 7l.5-4h5l.5 4M9 17l.5 4h5l.5-4`,
  computer: `${slab(4, 4.5, 16, 11)}M2 19.5h20`,
  printer,
  other: bluetooth,
};

const usbIcons: Readonly<Record<UsbKind, string>> = {
  audio: microphone,
  keyboard,
  camera,
  printer,
  storage: drive,
  adapter: plug,
  other: plug,
};

export function bluetoothIcon(kind: BluetoothKind): string {
  return bluetoothIcons[kind];
}

export function usbIcon(kind: UsbKind): string {
  return usbIcons[kind];
}
