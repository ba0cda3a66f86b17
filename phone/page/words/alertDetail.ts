import type { Alert } from "../protocol/alert.js";
import type { Texts } from "./texts.js";

/** What an alert says besides its title. `lastedMs`: how long what it clears lasted, where that is known. */
export function alertDetail(alert: Alert, lastedMs: number | undefined, texts: Texts): string | undefined {
  const { w, fill, celsius, bytes, duration } = texts;
  if (alert.state === "cleared") {
    return alert.kind === "on_battery" && lastedMs !== undefined ? fill(w.alertMainsHelp, duration(lastedMs / 1000)) : undefined;
  }
  switch (alert.kind) {
    case "temp_high":
      return fill(w.alertTooHotHelp, celsius(alert.threshold ?? 95));
    case "disk_full":
      return alert.diskFreeGb === undefined ? undefined : fill(w.free, bytes(alert.diskFreeGb * 1e9));
    case "on_battery":
    case "battery_low":
      return alert.batteryMinutes === undefined ? undefined : fill(w.left, duration(alert.batteryMinutes * 60));
    case "time_machine":
      if (alert.backupDiskName === undefined || alert.backupDiskConnected === undefined) return undefined;
      return fill(alert.backupDiskConnected ? w.wasConnected : w.wasNotConnected, alert.backupDiskName);
  }
}
