export const alertKinds = ["temp_high", "disk_full", "on_battery", "battery_low", "time_machine"] as const;
export type AlertKind = (typeof alertKinds)[number];

/** What the computer has told about itself on its own; absent members are not known. */
export interface Alert {
  readonly kind: AlertKind;
  readonly state: "raised" | "cleared";
  /** Milliseconds since 1970, by the computer's clock. */
  readonly epochMs: number;
  /** What was measured: °C for `temp_high`, whole days for `time_machine`, otherwise per cent. */
  readonly value?: number;
  readonly threshold?: number;
  /** 10⁹ bytes. */
  readonly diskFreeGb?: number;
  readonly batteryMinutes?: number;
  /** Milliseconds since 1970. */
  readonly backupMs?: number;
  readonly backupDiskName?: string;
  readonly backupDiskConnected?: boolean;
}
