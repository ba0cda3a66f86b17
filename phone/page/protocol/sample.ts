/** One of the busiest processes. */
export interface Process {
  readonly name: string;
  /** Per cent of one processor; may exceed 100. */
  readonly percent: number;
}

/** A volume that a person would browse. */
export interface Volume {
  readonly name: string;
  readonly sizeBytes?: number;
  readonly freeBytes?: number;
  /** How it is attached, in the system's own words ("USB", "NVMe", "Network"). */
  readonly protocol?: string;
  readonly isTimeMachine: boolean;
}

export const usbKinds = ["audio", "keyboard", "camera", "printer", "storage", "adapter", "other"] as const;
export type UsbKind = (typeof usbKinds)[number];

export interface UsbDevice {
  readonly name: string;
  readonly maker?: string;
  /** As the computer says it, with a comma in "1,5 Mb/s". */
  readonly speed?: string;
  readonly kind: UsbKind;
  /** A mounted volume is on it. */
  readonly storage: boolean;
  readonly volume?: string;
}

export interface Display {
  readonly name: string;
  readonly width?: number;
  readonly height?: number;
  readonly refreshHz?: number;
  /** Has the menu bar. */
  readonly main: boolean;
  readonly builtin: boolean;
}

export const bluetoothKinds = [
  "headphones", "headset", "speaker", "microphone", "mouse", "keyboard", "trackpad", "gamepad",
  "pen", "remote", "phone", "tablet", "watch", "computer", "printer", "other",
] as const;
export type BluetoothKind = (typeof bluetoothKinds)[number];

/** Batteries are in per cent. */
export interface BluetoothDevice {
  readonly name: string;
  readonly kind: BluetoothKind;
  readonly battery?: number;
  readonly batteryLeft?: number;
  readonly batteryRight?: number;
  readonly batteryCase?: number;
}

export interface Network {
  readonly link?: string;
  readonly gateway?: string;
  readonly router?: string;
}

/** The machine; what is unknown is absent. */
export interface MacInfo {
  readonly productName?: string;
  readonly modelId?: string;
  readonly chip?: string;
  readonly pCores?: number;
  readonly eCores?: number;
  readonly pMaxMhz?: number;
  readonly eMaxMhz?: number;
  readonly ramGib?: number;
  /** Version of macOS ("14.2.1"), or name and version of another system. */
  readonly system?: string;
  /** A data: URL of a PNG whose head has been checked. */
  readonly picture?: string;
}

export const batteryStates = ["charging", "discharging", "charged", "finishing", "paused"] as const;
export type BatteryState = (typeof batteryStates)[number];

/**
 * One reading of the computer, out of a stranger's JSON: bounded, cleaned, the known zeros left
 * out. An absent member is not known, and never means zero.
 */
export interface Sample {
  /** Milliseconds since 1970, by the computer's clock. */
  readonly epochMs: number;
  /** Hours since the start. */
  readonly uptimeHours?: number;
  /** Load averages over 1, 5 and 15 minutes. */
  readonly load?: readonly [number, number, number];
  readonly loadNow?: number;

  /** Per cent, 0 to 100. */
  readonly cpuPercent?: number;
  /** °C. */
  readonly cpuCelsius?: number;
  readonly gpuCelsius?: number;
  /** The graphics processor is off: it says so, or it has a use but no temperature. */
  readonly gpuOff?: boolean;
  readonly gpuPercent?: number;
  readonly eCoreMhz?: number;
  readonly pCoreMhz?: number;
  /** Watts: processor and graphics together, each of them, the whole machine. */
  readonly powerWatts?: number;
  readonly cpuWatts?: number;
  readonly gpuWatts?: number;
  readonly systemWatts?: number;
  readonly ramPercent?: number;
  readonly ramUsedGib?: number;
  readonly ramTotalGib?: number;
  readonly swapGib?: number;
  /** The sensors cannot be read. */
  readonly sensorsFailed: boolean;
  /** Busiest first, at most 11. Empty when nothing is known. */
  readonly processes: readonly Process[];

  /** Per cent, 0 to 100. Absent without a battery. */
  readonly batteryPercent?: number;
  readonly batteryState?: BatteryState;
  readonly onMains?: boolean;
  /** Until empty, or until full while it charges. */
  readonly batteryMinutes?: number;
  /** A second, slower estimate of the same. */
  readonly batteryEstimateMinutes?: number;
  readonly batteryCycles?: number;
  readonly batteryDesignCycles?: number;
  /** Per cent of a new battery's capacity. */
  readonly batteryCapacityPercent?: number;
  /** In the machine's own words. */
  readonly batteryCondition?: string;

  readonly diskPercent?: number;
  /** 10⁹ bytes. */
  readonly diskFreeGb?: number;
  /** Milliseconds since 1970. */
  readonly lastBackupMs?: number;
  readonly backupRunning?: boolean;
  readonly backupDiskConnected?: boolean;
  readonly backupDiskName?: string;

  readonly volumes: readonly Volume[];
  readonly usb: readonly UsbDevice[];
  readonly displays: readonly Display[];
  readonly bluetoothOn?: boolean;
  readonly bluetooth: readonly BluetoothDevice[];
  readonly network?: Network;

  /** Only in few samples; whoever shows it keeps the last that came. */
  readonly macInfo?: MacInfo;
  /** Only in few samples. */
  readonly history?: History;
}

/** Complete minutes, oldest first; all four arrays are equally long. */
export interface History {
  /** When each minute began: minutes since 1970, strictly increasing. */
  readonly minutes: readonly number[];
  readonly cpu: readonly (number | null)[];
  readonly celsius: readonly (number | null)[];
  readonly watts: readonly (number | null)[];
}
