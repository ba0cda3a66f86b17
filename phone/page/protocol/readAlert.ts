import { alertKinds, type Alert } from "./alert.js";
import { batteryMinutes, gigabytes } from "./readSample.js";
import { boolean, fields, known, number, oneOf, text, timeMs, timeS } from "./readers.js";

/** Reads an alert out of any JSON value. Nothing when its kind is not known, or its state or time. */
export function readAlert(value: unknown): Alert | undefined {
  const field = fields(value);
  const kind = oneOf(alertKinds, field?.("kind"));
  const state = oneOf(["raised", "cleared"] as const, field?.("state"));
  const epochMs = timeMs(field?.("epoch_ms"));
  if (field === undefined || kind === undefined || state === undefined || epochMs === undefined) return undefined;
  return {
    kind,
    state,
    epochMs,
    ...known({
      // The age of a backup in days is the largest of the values.
      value: number(field("value"), 0, kind === "time_machine" ? 1e5 : kind === "temp_high" ? 200 : 100),
      threshold: number(field("threshold"), 0, 1e5),
      diskFreeGb: gigabytes(field("disk_free_gb")),
      batteryMinutes: batteryMinutes(field("battery_min")),
      backupMs: timeS(field("backup_epoch")),
      backupDiskName: text(field("backup_disk_name")),
      backupDiskConnected: boolean(field("backup_disk_connected")),
    }),
  };
}
