import type { History, Sample } from "../protocol/sample.js";
import type { Day, LandBins } from "./view.js";

/** Minutes of a day. */
export const dayMinutes = 1440;

const minuteMs = 60_000;
const curves = ["cpu", "celsius", "watts"] as const;
type Curve = (typeof curves)[number];

/** The last 24 hours minute by minute, by the computer's clock: its history, and what came live. */
export class DayKeeper {
  /** The minute that a slot holds; slots of other minutes are empty. */
  private readonly minutes = new Array<number>(dayMinutes).fill(-1);
  private readonly values: Record<Curve, (number | null)[]> = { cpu: empty(), celsius: empty(), watts: empty() };
  /** The minute under way: sum and count of each curve. */
  private running = { minute: -1, cpu: [0, 0], celsius: [0, 0], watts: [0, 0] } as Running;

  /** Takes complete minutes; they count more than what was seen live of the same minutes. */
  takeHistory(history: History, newestMinute: number): void {
    history.minutes.forEach((minute, index) => {
      // What lies outside the day would overwrite what lies in it.
      if (minute > newestMinute || minute <= newestMinute - dayMinutes) return;
      for (const curve of curves) this.put(minute, curve, history[curve][index] ?? null);
    });
  }

  takeSample(sample: Sample): void {
    const minute = Math.floor(sample.epochMs / minuteMs);
    if (this.running.minute !== minute) {
      this.running = { minute, cpu: [0, 0], celsius: [0, 0], watts: [0, 0] };
    }
    const read: Record<Curve, number | undefined> =
      { cpu: sample.cpuPercent, celsius: sample.cpuCelsius, watts: sample.powerWatts };
    for (const curve of curves) {
      const value = read[curve];
      if (value === undefined) continue;
      const sums = this.running[curve];
      sums[0] += value;
      sums[1] += 1;
      this.put(minute, curve, sums[0] / sums[1]);
    }
  }

  /** The day that ends with the minute of `nowMs`; `aheadMs` is the computer's clock minus the phone's. */
  at(nowMs: number, aheadMs: number): Day {
    const ahead = Math.round(aheadMs / minuteMs);
    const first = Math.floor(nowMs / minuteMs) + ahead - dayMinutes + 1;
    const pick = (curve: Curve) => Array.from({ length: dayMinutes }, (_, index) => this.get(first + index, curve));
    return { startMs: (first - ahead) * minuteMs, cpu: pick("cpu"), celsius: pick("celsius"), watts: pick("watts") };
  }

  /** The protocol's history object of the complete minutes before `minute`; nothing without any. */
  toHistory(minute: number): object | undefined {
    const known: number[] = [];
    for (let at = minute - dayMinutes + 1; at < minute; at++) if (this.minutes[slot(at)] === at) known.push(at);
    const first = known[0];
    if (first === undefined) return undefined;
    const rounded = (curve: Curve) => known.map((at) => {
      const value = this.get(at, curve);
      return value === null ? null : Math.round(value * 100) / 100;
    });
    return {
      t0: first * 60,
      dm: known.map((at, index) => at - (known[index - 1] ?? at)),
      cpu: rounded("cpu"), temp: rounded("celsius"), w: rounded("watts"),
    };
  }

  private get(minute: number, curve: Curve): number | null {
    return this.minutes[slot(minute)] === minute ? this.values[curve][slot(minute)] ?? null : null;
  }

  private put(minute: number, curve: Curve, value: number | null): void {
    const at = slot(minute);
    if (this.minutes[at] !== minute) {
      this.minutes[at] = minute;
      for (const each of curves) this.values[each][at] = null;
    }
    this.values[curve][at] = value;
  }
}

type Running = { minute: number } & Record<Curve, [number, number]>;

function empty(): (number | null)[] {
  return new Array<number | null>(dayMinutes).fill(null);
}

function slot(minute: number): number {
  return ((minute % dayMinutes) + dayMinutes) % dayMinutes;
}

/**
 * The land: bins of `span` minutes, each 0.6 × mean + 0.4 × maximum. Bins begin at multiples of
 * their span, so that the land moves as a whole and its hills keep their form.
 */
export function landBins(day: Day, span: number): LandBins {
  const firstMinute = Math.round(day.startMs / minuteMs);
  const lead = ((firstMinute % span) + span) % span;
  const bin = (curve: readonly (number | null)[]) => {
    const bins: (number | null)[] = [];
    for (let start = -lead; start < curve.length; start += span) {
      bins.push(height(curve.slice(Math.max(0, start), start + span)));
    }
    return bins;
  };
  return { startMs: (firstMinute - lead) * minuteMs, span, cpu: bin(day.cpu), celsius: bin(day.celsius) };
}

function height(minutes: readonly (number | null)[]): number | null {
  const known = minutes.filter((value) => value !== null);
  if (known.length === 0) return null;
  const mean = known.reduce((sum, value) => sum + value, 0) / known.length;
  return 0.6 * mean + 0.4 * Math.max(...known);
}

export type Activity = "busy" | "atWork" | "quiet";

/** Mean of this many minutes; the last incomplete one included. */
const meanMinutes = 10;

/** What the processor has been at, by the mean of the last 10 minutes, and since when. */
export function activity(day: Day): { readonly key: Activity; readonly sinceMs?: number } | undefined {
  const last = day.cpu.length - 1;
  const now = meanAt(day.cpu, last);
  if (now === undefined) return undefined;
  const key = now >= 50 ? "busy" : now < 15 ? "quiet" : "atWork";
  // Looking back, a mean just across the border is still the same: "since" must not jump about.
  const [low, high] = key === "busy" ? [45, Infinity] : key === "quiet" ? [-Infinity, 18] : [12, 55];
  let since = last;
  while (since > 0) {
    const before = meanAt(day.cpu, since - 1);
    if (before === undefined || before < low || before >= high) break;
    since--;
  }
  // Less than ten minutes are not enough to say since when.
  return last - since < meanMinutes ? { key } : { key, sinceMs: day.startMs + since * minuteMs };
}

/** The mean of the 10 minutes that end with `index`; nothing when that minute itself is a gap. */
function meanAt(curve: readonly (number | null)[], index: number): number | undefined {
  if (curve[index] === null && curve[index - 1] === null) return undefined;
  const known = curve.slice(Math.max(0, index - meanMinutes + 1), index + 1).filter((value) => value !== null);
  return known.length === 0 ? undefined : known.reduce((sum, value) => sum + value, 0) / known.length;
}
