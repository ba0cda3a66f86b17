import type { Alert, AlertKind } from "../protocol/alert.js";
import type { AlertEntry } from "./view.js";

/** A link that breaks at the wrong moment, or another count, brings an alert twice: no more than a relay keeps. */
const comparedAlerts = 20;
const longestAlertList = 50;

interface Kept {
  readonly alert: Alert;
  /** What was sealed, for storage. */
  readonly payload: string;
  readonly same: string;
  isSeen: boolean;
}

/** The alerts of a computer, newest first. */
export class AlertList {
  private kept: Kept[] = [];

  /** False: the same alert is there already. */
  take(alert: Alert, payload: string, isSeen = false): boolean {
    const same = `${alert.kind} ${alert.epochMs}`;
    if (this.kept.slice(0, comparedAlerts).some((each) => each.same === same)) return false;
    this.kept = [{ alert, payload, same, isSeen }, ...this.kept].slice(0, longestAlertList);
    return true;
  }

  markSeen(): void {
    for (const each of this.kept) each.isSeen = true;
  }

  /** For the screen. `isStillSo` says whether what an alert of this kind raised lasts. */
  entries(isStillSo: (kind: AlertKind) => boolean, phoneTime: (epochMs: number) => number): AlertEntry[] {
    const later = new Set<AlertKind>();
    return this.kept.map(({ alert, same, isSeen }, index) => {
      const isNewest = !later.has(alert.kind);
      later.add(alert.kind);
      const before = this.kept.slice(index + 1).find((each) => each.alert.kind === alert.kind);
      const raised = alert.state === "cleared" && before?.alert.state === "raised" ? before.alert : undefined;
      return {
        id: same,
        alert,
        atMs: phoneTime(alert.epochMs),
        isSeen,
        isStillSo: isNewest && alert.state === "raised" && isStillSo(alert.kind),
        ...(raised !== undefined && alert.epochMs >= raised.epochMs
          ? { lastedMs: alert.epochMs - raised.epochMs } : {}),
      };
    });
  }

  /** For storage, newest first. */
  payloads(): { payload: string; isSeen: boolean }[] {
    return this.kept.map(({ payload, isSeen }) => ({ payload, isSeen }));
  }
}
