// The five rows of the first view: what a sample says, in words. Absent is no row.

import type { Sample } from "../../../protocol/sample.js";
import type { Phase, RowState, Verdict } from "../../../state/view.js";
import type { Texts } from "../../../words/texts.js";
import type { RowProps } from "../parts/Row.js";
import { isStill, takenAt } from "./sentences.js";

export type Reading = "processor" | "temperature" | "memory" | "battery" | "disk";

/** A row, and which it is. */
export interface ReadingRow extends RowProps {
  readonly reading: Reading;
}

export interface Moment {
  readonly phase: Phase;
  readonly verdict: Verdict;
  readonly readAtMs: number | undefined;
  readonly nowMs: number;
}

const order = { red: 0, amber: 1, none: 2 } as const;

/** Rows that have turned first, red before amber; otherwise in their usual order. */
export function readingRows(sample: Sample, moment: Moment, texts: Texts): readonly ReadingRow[] {
  const rows = [processor, temperature, memory, battery, disk].flatMap((make) => make(sample, moment, texts) ?? []);
  return rows
    .map((row, index) => ({ row, rank: order[row.severity ?? "none"] * rows.length + index }))
    .sort((a, b) => a.rank - b.rank)
    .map(({ row }) => row);
}

type Make = (sample: Sample, moment: Moment, texts: Texts) => ReadingRow | undefined;

const processor: Make = ({ cpuPercent, processes }, moment, texts) =>
  percentRow("processor", texts.w.processor, cpuPercent, texts, {
    detail: when(moment, texts, texts.list(processes.slice(0, 3).map(({ name }) => name))),
  });

const temperature: Make = ({ cpuCelsius }, moment, texts) => {
  if (cpuCelsius === undefined) return undefined;
  const { w, fill, celsius } = texts;
  const state = stateOf(moment, "temperature");
  const limit = celsius(95);
  const now =
    state?.severity === "red" && cpuCelsius >= 95
      ? texts.timed(w.overSince, state.sinceMs, limit)
      : fill(w.alertAt, limit);
  return {
    reading: "temperature",
    label: w.temperature,
    detail: when(moment, texts, now),
    parts: texts.celsiusParts(cpuCelsius),
    spoken: celsius(cpuCelsius),
    filled: cpuCelsius,
    tick: 95,
    severity: state?.severity,
  };
};

const memory: Make = ({ ramPercent, ramUsedGib, ramTotalGib }, moment, texts) => {
  const detail =
    ramUsedGib !== undefined && ramTotalGib !== undefined
      ? texts.fill(texts.w.amountOf, texts.number(ramUsedGib, 1), texts.gibibytes(ramTotalGib))
      : undefined;
  return percentRow("memory", texts.w.memory, ramPercent, texts, { detail: when(moment, texts, detail) });
};

const battery: Make = (sample, moment, texts) => {
  const { batteryPercent, batteryState, onMains } = sample;
  const { w, fill, duration, list } = texts;
  const isCharging = batteryState === "charging" || batteryState === "finishing";
  const minutes = sample.batteryMinutes ?? sample.batteryEstimateMinutes;
  const time = minutes === undefined || minutes === 0 ? undefined : duration(minutes * 60);
  let now: string | undefined;
  if (isCharging) now = list([w.charging, time && fill(w.fullIn, time)]);
  else if (onMains === false || batteryState === "discharging") now = time === undefined ? w.discharging : fill(w.left, time);
  else if (batteryState === "charged") now = w.charged;
  else if (onMains === true) now = w.onMains;
  const then = isCharging ? w.wasCharging : onMains === false || batteryState === "discharging" ? w.wasDischarging : undefined;
  return percentRow("battery", w.battery, batteryPercent, texts, {
    detail: when(moment, texts, now, then),
    tick: 14,
    severity: stateOf(moment, "battery")?.severity,
  });
};

const disk: Make = ({ diskPercent, diskFreeGb }, moment, texts) => {
  const { w, fill, bytes, list } = texts;
  const severity = stateOf(moment, "disk")?.severity;
  const free = diskFreeGb === undefined ? undefined : fill(w.free, bytes(diskFreeGb * 1e9));
  return percentRow("disk", w.disk, diskPercent, texts, {
    detail: when(moment, texts, list([free, severity && w.nearlyFull]), free),
    tick: 90,
    severity,
  });
};

function percentRow(
  reading: Reading,
  label: string,
  value: number | undefined,
  texts: Texts,
  rest: Pick<RowProps, "detail" | "tick" | "severity">,
): ReadingRow | undefined {
  if (value === undefined) return undefined;
  return { reading, label, parts: texts.percentParts(value), spoken: texts.percent(value), filled: value, ...rest };
}

// Live, a row says what goes with its value; no longer live, when it was read and what still helps then.
function when(moment: Moment, texts: Texts, now: string | undefined, then?: string): string | undefined {
  if (!isStill(moment.phase) || moment.readAtMs === undefined) return now;
  return texts.list([takenAt(moment.readAtMs, moment.nowMs, texts), then]);
}

// What is no longer live is neither amber nor red.
function stateOf({ phase, verdict }: Moment, row: "temperature" | "battery" | "disk"): RowState | undefined {
  return phase === "live" || phase === "late" ? verdict.rows[row] : undefined;
}
