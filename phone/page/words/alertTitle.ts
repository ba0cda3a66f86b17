import type { Alert } from "../protocol/alert.js";
import type { Texts } from "./texts.js";

/** What an alert says in a line, without a full stop. */
export function alertTitle({ kind, state, value }: Alert, texts: Texts): string {
  const { w, fill, percent, celsius } = texts;
  switch (kind) {
    case "temp_high":
      return value === undefined ? w.alertTooHotPlain : fill(w.alertTooHot, celsius(value, 1));
    case "disk_full":
      return value === undefined ? w.alertDiskPlain : fill(w.alertDisk, percent(value, 1));
    case "on_battery":
      if (state === "cleared") return w.alertMains;
      return value === undefined ? w.alertOnBatteryPlain : fill(w.alertOnBattery, percent(value));
    case "battery_low":
      return value === undefined ? w.alertBatteryLowPlain : fill(w.alertBatteryLow, percent(value));
    case "time_machine":
      if (state === "cleared") return w.alertBackupDone;
      return value === undefined ? w.alertBackupPlain : texts.count(w.alertBackup, Math.round(value));
  }
}
