import type { Alert } from "../../../protocol/alert.js";
import type { Severity } from "../../../state/view.js";

/** Red is what cannot wait. */
export function alertSeverity({ kind }: Alert): Severity {
  return kind === "temp_high" || kind === "battery_low" ? "red" : "amber";
}
