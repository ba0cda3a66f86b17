import type { Sample } from "../protocol/sample.js";
import { activity } from "./day.js";
import type { TurningRows } from "./turningRows.js";
import type { Day, FirstSentence, Phase, SecondSentence, Sky, Verdict } from "./view.js";

export interface Judged {
  readonly phase: Phase;
  readonly sample: Sample | undefined;
  readonly rows: TurningRows;
  readonly day: Day;
  /** When the newest sample was read, by the phone's clock. */
  readonly readAtMs: number | undefined;
  readonly nowMs: number;
}

/** Sky, sentences and rows. Without contact nothing turns: colour means live. */
export function judge(judged: Judged): Verdict {
  const { phase, sample, readAtMs, nowMs } = judged;
  if (phase === "live" && sample !== undefined) return judgeLive(judged, sample);
  const ageMs = readAtMs === undefined ? undefined : Math.max(0, Math.floor((nowMs - readAtMs) / 1000) * 1000);
  const lastReading: SecondSentence | undefined = ageMs === undefined ? undefined : { key: "lastReading", ageMs };
  switch (phase) {
    case "live":
    case "connecting": return verdict("dawn", { key: "connectingTo" });
    case "late": return { ...verdict("late", { key: "waiting" }, lastReading), rows: judged.rows.states() };
    case "offline":
      return verdict("fog", { key: "noContact" },
        readAtMs === undefined ? undefined : { key: "silentSince", atMs: readAtMs });
    case "unreachable":
    case "noNetwork": return verdict("fog", { key: "noConnection" }, lastReading);
    case "replaced": return verdict("fog", { key: "linkReplaced" }, { key: "scanNewCode" });
    case "foreign": return verdict("fog", { key: "foreign" }, { key: "scanAgain" });
  }
}

function judgeLive({ rows, day, nowMs }: Judged, sample: Sample): Verdict {
  const worst = rows.worst(nowMs);
  const first: FirstSentence = (worst && complaint(worst.row, worst.severity, sample)) ?? { key: "allIsWell" };
  return { ...verdict(worst?.severity ?? "calm", first, activity(day)), rows: rows.states() };
}

function complaint(row: string, severity: string, sample: Sample): FirstSentence | undefined {
  const { cpuCelsius: celsius, batteryPercent: percent, lastBackupMs, epochMs } = sample;
  switch (row) {
    case "temperature":
      return celsius === undefined ? undefined : { key: severity === "red" ? "tooHot" : "warm", celsius };
    case "battery":
      return percent === undefined ? undefined : { key: percent <= 20 ? "batteryLow" : "onBattery", percent };
    case "disk": return { key: "diskNearlyFull" };
    default: {
      // The alert comes at 30 days; without the time of the last backup no more is known.
      const days = lastBackupMs === undefined ? 30 : Math.floor((epochMs - lastBackupMs) / 86_400_000);
      return { key: "noBackup", days };
    }
  }
}

function verdict(sky: Sky, first: FirstSentence, second?: SecondSentence): Verdict {
  return second === undefined ? { sky, first, rows: {} } : { sky, first, second, rows: {} };
}
