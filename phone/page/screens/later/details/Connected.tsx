import type { BluetoothDevice, Display, Sample, UsbDevice } from "../../../protocol/sample.js";
import type { Texts } from "../../../words/texts.js";
import { useScreen } from "../../first/context.js";
import { IconRow } from "./IconRow.js";
import { bluetooth, bluetoothIcon, cable, display, usbIcon, wireless } from "./icons.js";
import { SectionHead } from "./SectionHead.js";

export function Connected() {
  const { view, texts } = useScreen();
  const sample = view.current.sample.value;
  if (sample === undefined) return null;
  const things = [
    ...sample.bluetooth.map((device) => bluetoothRow(device, texts)),
    ...sample.displays.map((screen) => displayRow(screen, texts)),
    ...sample.usb.map((device) => usbRow(device, texts)),
    ...networkRows(sample, texts),
    ...(sample.bluetoothOn === false ? [{ icon: bluetooth, name: texts.w.bluetoothOff }] : []),
  ];
  if (things.length === 0) return null;
  return (
    <section class="section pad connected">
      <SectionHead title={texts.w.connected} />
      <ul>
        {things.map((thing, index) => (
          <IconRow key={index} {...thing} />
        ))}
      </ul>
    </section>
  );
}

function bluetoothRow(device: BluetoothDevice, { w, fill, percent, list }: Texts) {
  const part = (words: string, value: number | undefined): string | undefined =>
    value === undefined ? undefined : fill(words, percent(value));
  const parts = list([
    part(w.earLeft, device.batteryLeft),
    part(w.earRight, device.batteryRight),
    part(w.earCase, device.batteryCase),
  ]);
  // Of buds that report themselves apart, the emptier one ends the music.
  const buds = [device.batteryLeft, device.batteryRight].filter((value) => value !== undefined);
  const battery = device.battery ?? (buds.length > 0 ? Math.min(...buds) : undefined);
  return {
    icon: bluetoothIcon(device.kind),
    name: device.name,
    detail: parts === "" ? "Bluetooth" : parts,
    value: battery === undefined ? undefined : percent(battery),
  };
}

function displayRow({ name, width, height, refreshHz, main, builtin }: Display, { w, number, hertz, list }: Texts) {
  const size = width !== undefined && height !== undefined ? `${number(width)} × ${number(height)}` : undefined;
  return {
    icon: display,
    name,
    detail: list([
      size,
      refreshHz === undefined ? undefined : hertz(refreshHz),
      main ? w.mainDisplay : undefined,
      builtin ? w.builtIn : undefined,
    ]),
  };
}

function usbRow({ name, maker, speed, kind, storage, volume }: UsbDevice, texts: Texts) {
  const { w, list } = texts;
  const kinds = {
    audio: w.kindAudio,
    keyboard: w.kindKeyboard,
    camera: w.kindCamera,
    printer: w.kindPrinter,
    storage: w.kindStorage,
    adapter: w.kindAdapter,
    other: undefined,
  } as const;
  return {
    icon: usbIcon(storage ? "storage" : kind),
    name,
    detail: list([
      "USB",
      speed === undefined ? undefined : speedText(speed, texts),
      storage ? w.kindStorage : kinds[kind],
      maker,
      volume === name ? undefined : volume,
    ]),
  };
}

// The computer writes "1,5 Mb/s" whatever its language.
function speedText(speed: string, { number }: Texts): string {
  const match = /^(\d+)(?:,(\d))? ([GM]b\/s)$/.exec(speed);
  if (match === null) return speed;
  const [, whole, tenth, unit] = match;
  return `${number(Number(`${whole}.${tenth ?? 0}`), tenth === undefined ? 0 : 1)}\u00a0${unit}`;
}

function networkRows({ network: way }: Sample, { w, list }: Texts) {
  if (way === undefined) return [];
  // The name of a connection is free text; what is not known to be wireless gets the socket.
  const isWireless = /wi-?fi|wlan|wireless|airport|^wl/i.test(way.link ?? "");
  return [{ icon: isWireless ? wireless : cable, name: way.link ?? w.network, detail: list([way.gateway, way.router]) }];
}
