import type { Alert, AlertKind } from "../protocol/alert.js";
import type { Sample } from "../protocol/sample.js";
import type { RowState, Severity, TurningRow } from "./view.js";

const holdMs = 60_000;
const backupDueMs = 30 * 24 * 3600 * 1000;
export const turningRows = ["temperature", "battery", "disk", "backup"] as const;

const rowOfKind: Record<AlertKind, TurningRow> = {
  temp_high: "temperature", disk_full: "disk", on_battery: "battery", battery_low: "battery", time_machine: "backup",
};

interface Row {
  severity: Severity;
  sinceMs: number;
  /** Since when it is at least amber; what turned before the visit counts as held. */
  heldSinceMs: number;
  /** An alert says so, so the sky need not wait. */
  isAnnounced: boolean;
  isSeen: boolean;
}

/** Which rows are amber or red: at once; and which of that the sky takes over: what has held. */
export class TurningRows {
  private readonly rows = new Map<TurningRow, Row>();
  /** Alerts that are raised and have neither been cleared nor recovered from: their times. */
  private readonly raised = new Map<AlertKind, number>();
  private isFirst = true;

  /** `atMs` is the alert's time by the phone's clock. */
  takeAlert(alert: Alert, atMs: number): void {
    if (alert.state === "raised") this.raised.set(alert.kind, atMs);
    else this.raised.delete(alert.kind);
  }

  isStillSo(kind: AlertKind): boolean {
    return this.raised.has(kind);
  }

  /** Judges a new sample. `nowMs` and alerts are by the phone's clock, `sample` by the computer's. */
  takeSample(sample: Sample, nowMs: number): void {
    this.recover(sample);
    for (const row of turningRows) this.turn(row, this.judge(row, sample), nowMs);
    this.isFirst = false;
  }

  /** The user has seen what is amber: it no longer colours the sky. */
  markSeen(): void {
    for (const row of this.rows.values()) row.isSeen = row.severity === "amber";
  }

  /** Rows whose amber has been seen, for storage. */
  seen(): TurningRow[] {
    return turningRows.filter((row) => this.rows.get(row)?.isSeen === true);
  }

  restoreSeen(rows: readonly TurningRow[]): void {
    for (const row of rows) {
      const known = this.rows.get(row);
      if (known?.severity === "amber") known.isSeen = true;
    }
  }

  states(): { readonly [Row in TurningRow]?: RowState } {
    const states: { [Row in TurningRow]?: RowState } = {};
    for (const [name, { severity, sinceMs }] of this.rows) states[name] = { severity, sinceMs };
    return states;
  }

  /** The row that the sky shows, the worst that has held and is not seen; the first of equals. */
  worst(nowMs: number): { readonly row: TurningRow; readonly severity: Severity } | undefined {
    let worst: { row: TurningRow; severity: Severity } | undefined;
    for (const name of turningRows) {
      const row = this.rows.get(name);
      if (row === undefined || row.isSeen) continue;
      const isRed = row.severity === "red" && (row.isAnnounced || nowMs - row.sinceMs >= holdMs);
      const isAmber = row.isAnnounced || nowMs - row.heldSinceMs >= holdMs;
      if (isRed && worst?.severity !== "red") worst = { row: name, severity: "red" };
      else if (isAmber && worst === undefined) worst = { row: name, severity: "amber" };
    }
    return worst;
  }

  private turn(name: TurningRow, severity: Severity | undefined, nowMs: number): void {
    if (severity === undefined) {
      this.rows.delete(name);
      return;
    }
    const announcedAt = this.announcedAt(name, severity);
    const row = this.rows.get(name);
    // Disk, battery and backup move slowly: what the first reading finds has been so for long.
    const since = this.isFirst && name !== "temperature" ? nowMs - holdMs : nowMs;
    this.rows.set(name, {
      severity,
      sinceMs: row?.severity === severity ? row.sinceMs : Math.min(announcedAt ?? since, since),
      heldSinceMs: row?.heldSinceMs ?? since,
      isAnnounced: announcedAt !== undefined,
      isSeen: row?.severity === severity && row.isSeen,
    });
  }

  private announcedAt(name: TurningRow, severity: Severity): number | undefined {
    const kinds: AlertKind[] = [];
    for (const kind of this.raised.keys()) if (rowOfKind[kind] === name) kinds.push(kind);
    const kind = kinds.find((each) => severity === "amber" || each === "temp_high" || each === "battery_low");
    return kind === undefined ? undefined : this.raised.get(kind);
  }

  /** Ends the alerts that never end by message. */
  private recover(sample: Sample): void {
    const { cpuCelsius, diskPercent, batteryPercent, lastBackupMs, epochMs } = sample;
    if (cpuCelsius !== undefined && cpuCelsius < 90) this.raised.delete("temp_high");
    if (diskPercent !== undefined && diskPercent < 88) this.raised.delete("disk_full");
    if (sample.onMains === true) this.raised.delete("on_battery");
    if (sample.onMains === true || (batteryPercent !== undefined && batteryPercent >= 20)) {
      this.raised.delete("battery_low");
    }
    if (lastBackupMs !== undefined && epochMs - lastBackupMs < backupDueMs) this.raised.delete("time_machine");
  }

  private judge(row: TurningRow, sample: Sample): Severity | undefined {
    const was = this.rows.get(row)?.severity;
    switch (row) {
      case "temperature": {
        const celsius = sample.cpuCelsius;
        if (celsius === undefined || celsius < 90) return undefined;
        return celsius >= 95 || was === "red" || this.raised.has("temp_high") ? "red" : "amber";
      }
      case "disk": {
        const used = sample.diskPercent;
        if (used === undefined || used < 88) return undefined;
        return used >= 90 || was !== undefined || this.raised.has("disk_full") ? "amber" : undefined;
      }
      case "battery": {
        const charge = sample.batteryPercent;
        if (charge === undefined || sample.onMains !== false) return undefined;
        const isLow = charge <= 14 || (charge < 20 && (was === "red" || this.raised.has("battery_low")));
        return isLow ? "red" : charge <= 20 || this.raised.has("on_battery") ? "amber" : undefined;
      }
      case "backup": {
        const { lastBackupMs } = sample;
        const isDue = lastBackupMs !== undefined && sample.epochMs - lastBackupMs >= backupDueMs;
        return isDue || this.raised.has("time_machine") ? "amber" : undefined;
      }
    }
  }
}
