import {
  batteryStates, bluetoothKinds, usbKinds,
  type BluetoothDevice, type Display, type History, type MacInfo, type Network, type Process,
  type Sample, type UsbDevice, type Volume,
} from "./sample.js";
import {
  boolean, fields, integer, known, list, nonZero, number, oneOf, percent, text, timeMs, timeS, type Fields,
} from "./readers.js";

/**
 * Reads a sample out of any JSON value. Nothing when it is no object or does not say when it was
 * read: a reading without its time could not be told from an old one.
 */
export function readSample(value: unknown): Sample | undefined {
  const field = fields(value);
  if (field === undefined) return undefined;
  const epochMs = timeMs(field("epoch_ms")) ?? timeS(field("epoch"));
  if (epochMs === undefined) return undefined;
  const connections = fields(field("connections")) ?? (() => undefined);
  return {
    epochMs,
    sensorsFailed: text(field("error")) !== undefined,
    processes: list(field("procs"), readProcess, 11),
    volumes: list(connections("volumes"), readVolume),
    usb: list(connections("usb"), readUsb),
    displays: list(connections("displays"), readDisplay),
    bluetooth: list(connections("bluetooth"), readBluetooth),
    ...known({
      ...readProcessor(field),
      ...readBattery(field),
      ...readDisk(field),
      bluetoothOn: boolean(connections("bluetooth_on")),
      network: readNetwork(connections("network")),
      macInfo: readMacInfo(field("mac_info")),
      history: readHistory(field("history")),
    }),
  };
}

function readProcessor(field: Fields) {
  const gpuCelsius = celsius(field("temp_gpu"));
  const gpuPercent = percent(field("gpu_pct"));
  const isOff = field("gpu_off") === true || (gpuPercent !== undefined && gpuCelsius === undefined);
  return {
    // Whole 0 stands for "not known", and a start less than three minutes ago is no loss.
    uptimeHours: nonZero(field("uptime_h"), 0, 1e6),
    load: readLoad(field("load")),
    loadNow: number(field("load_now"), 0, 1e5),
    cpuPercent: percent(field("cpu_pct")),
    cpuCelsius: celsius(field("temp_cpu")),
    gpuCelsius: isOff ? undefined : gpuCelsius,
    gpuOff: isOff || undefined,
    gpuPercent: isOff ? undefined : gpuPercent,
    eCoreMhz: megahertz(field("ecpu_mhz")),
    pCoreMhz: megahertz(field("pcpu_mhz")),
    powerWatts: watts(field("power_w")),
    cpuWatts: watts(field("cpu_power_w")),
    gpuWatts: watts(field("gpu_power_w")),
    systemWatts: watts(field("sys_power_w")),
    ramPercent: percent(field("ram_pct")),
    ramUsedGib: number(field("ram_used_gb"), 0, 1e6),
    ramTotalGib: nonZero(field("ram_total_gb"), 0, 1e6),
    swapGib: number(field("swap_gb"), 0, 1e6),
  };
}

function readBattery(field: Fields) {
  return {
    batteryPercent: percent(field("battery_pct")),
    batteryState: oneOf(batteryStates, field("battery_state")),
    onMains: boolean(field("on_ac")),
    batteryMinutes: batteryMinutes(field("battery_min")),
    batteryEstimateMinutes: batteryMinutes(field("battery_est_min")),
    batteryCycles: integer(field("battery_cycles"), 0, 1e5),
    batteryDesignCycles: integer(field("battery_design_cycles"), 1, 1e5),
    batteryCapacityPercent: number(field("battery_max_capacity_pct"), 1, 150),
    batteryCondition: text(field("battery_condition")),
  };
}

function readDisk(field: Fields) {
  const lastBackupMs = timeS(field("tm_last_backup"));
  return {
    diskPercent: percent(field("disk_pct")),
    diskFreeGb: gigabytes(field("disk_free_gb")),
    lastBackupMs,
    backupRunning: boolean(field("tm_running")),
    backupDiskConnected: boolean(field("tm_disk_connected")),
    backupDiskName: text(field("tm_disk_name")),
  };
}

export const celsius = (value: unknown) => nonZero(value, -60, 200);
export const watts = (value: unknown) => nonZero(value, 0, 1e5);
export const gigabytes = (value: unknown) => number(value, 0, 1e9);
export const batteryMinutes = (value: unknown) => number(value, 0, 1e5);
const megahertz = (value: unknown) => nonZero(value, 0, 1e5);
const bytes = (value: unknown) => number(value, 0, 1e18);
const pixels = (value: unknown) => integer(value, 1, 1e5);

function readLoad(value: unknown): readonly [number, number, number] | undefined {
  const [one, five, fifteen] = list(value, (entry) => number(entry, 0, 1e5), 3);
  return one === undefined || five === undefined || fifteen === undefined ? undefined : [one, five, fifteen];
}

function readProcess(value: unknown): Process | undefined {
  if (!Array.isArray(value)) return undefined;
  // A thousand processors at work are 100 000 per cent.
  const share = number(value[0], 0, 1e5);
  const name = text(value[1], 34);
  return share === undefined || name === undefined ? undefined : { name, percent: share };
}

function readVolume(value: unknown): Volume | undefined {
  const field = fields(value);
  const name = text(field?.("name"));
  if (field === undefined || name === undefined) return undefined;
  const sizeBytes = bytes(field("size_bytes")) || undefined;
  const freeBytes = bytes(field("free_bytes"));
  return {
    name,
    isTimeMachine: field("is_time_machine") === true,
    ...known({
      sizeBytes,
      // More free than there is would draw a gauge out of its ground.
      freeBytes: freeBytes !== undefined && sizeBytes !== undefined ? Math.min(freeBytes, sizeBytes) : freeBytes,
      protocol: text(field("protocol")),
    }),
  };
}

function readUsb(value: unknown): UsbDevice | undefined {
  const field = fields(value);
  const name = text(field?.("name"));
  if (field === undefined || name === undefined) return undefined;
  return {
    name,
    kind: oneOf(usbKinds, field("kind")) ?? "other",
    storage: field("storage") === true,
    ...known({ maker: text(field("maker")), speed: text(field("speed"), 16), volume: text(field("volume")) }),
  };
}

function readDisplay(value: unknown): Display | undefined {
  const field = fields(value);
  const name = text(field?.("name"));
  if (field === undefined || name === undefined) return undefined;
  return {
    name,
    main: field("main") === true,
    builtin: field("builtin") === true,
    ...known({
      width: pixels(field("width")),
      height: pixels(field("height")),
      refreshHz: nonZero(field("refresh_hz"), 0, 1e4),
    }),
  };
}

function readBluetooth(value: unknown): BluetoothDevice | undefined {
  const field = fields(value);
  const name = text(field?.("name"));
  if (field === undefined || name === undefined) return undefined;
  return {
    name,
    kind: oneOf(bluetoothKinds, field("kind")) ?? "other",
    ...known({
      battery: percent(field("battery")),
      batteryLeft: percent(field("battery_left")),
      batteryRight: percent(field("battery_right")),
      batteryCase: percent(field("battery_case")),
    }),
  };
}

function readNetwork(value: unknown): Network | undefined {
  const field = fields(value);
  if (field === undefined) return undefined;
  return known({ link: text(field("link")), gateway: text(field("gateway"), 64), router: text(field("router")) });
}

export function readMacInfo(value: unknown): MacInfo | undefined {
  const field = fields(value);
  if (field === undefined) return undefined;
  return known({
    productName: text(field("product_name")),
    modelId: text(field("model_id"), 64),
    chip: text(field("chip")),
    pCores: integer(field("p_cores"), 1, 1e5),
    eCores: integer(field("e_cores"), 1, 1e5),
    pMaxMhz: megahertz(field("p_max_mhz")),
    eMaxMhz: megahertz(field("e_max_mhz")),
    ramGib: nonZero(field("ram_gb"), 0, 1e6),
    system: text(field("macos")),
    picture: readPicture(field("icon_png")),
  });
}

/** Four times a picture of 128 × 128 pixels that cannot be compressed. */
const longestPicture = 350_000;

/**
 * A data: URL of a PNG of at most 512 × 512 pixels. The size is read from the head: a few bytes can
 * promise a picture that no memory holds.
 */
function readPicture(value: unknown): string | undefined {
  if (typeof value !== "string" || value.length < 60 || value.length > longestPicture ||
      !/^[A-Za-z0-9+/]+={0,2}$/.test(value) || value.length % 4 !== 0) {
    return undefined;
  }
  const head = Uint8Array.from(atob(value.slice(0, 44)), (character) => character.charCodeAt(0));
  const signature = [137, 80, 78, 71, 13, 10, 26, 10, 0, 0, 0, 13, 73, 72, 68, 82];
  if (!signature.every((byte, index) => head[index] === byte)) return undefined;
  const view = new DataView(head.buffer);
  const isSmall = [16, 20].every((at) => view.getUint32(at) >= 1 && view.getUint32(at) <= 512);
  return isSmall ? `data:image/png;base64,${value}` : undefined;
}

/** The computers keep a day without its present minute. */
export const longestHistory = 1439;

/** Reads the history object. Nothing unless its four arrays fit each other and a day. */
export function readHistory(value: unknown): History | undefined {
  const field = fields(value);
  const start = integer(field?.("t0"), 0, 253_402_300_799);
  const steps = field?.("dm");
  if (field === undefined || start === undefined || start % 60 !== 0 || !Array.isArray(steps) ||
      steps.length < 1 || steps.length > longestHistory) {
    return undefined;
  }
  const minutes: number[] = [];
  let minute = start / 60;
  for (const [index, step] of steps.entries()) {
    const read = integer(step, index === 0 ? 0 : 1, index === 0 ? 0 : 1e6);
    if (read === undefined) return undefined;
    minutes.push((minute += read));
  }
  const cpu = curve(field("cpu"), minutes.length, percent);
  const temperature = curve(field("temp"), minutes.length, celsius);
  const power = curve(field("w"), minutes.length, watts);
  if (cpu === undefined || temperature === undefined || power === undefined) return undefined;
  return { minutes, cpu, celsius: temperature, watts: power };
}

function curve(
  value: unknown, length: number, read: (value: unknown) => number | undefined,
): (number | null)[] | undefined {
  if (!Array.isArray(value) || value.length !== length) return undefined;
  return value.map((entry: unknown) => read(entry) ?? null);
}
