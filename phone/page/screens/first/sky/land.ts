// The outlines of land and far range: numbers in, SVG path data out. The picture is `width` minutes wide whatever the
// screen, and one unit high for each per cent: the style stretches it.

import type { LandBins } from "../../../state/view.js";

/** Width of the picture in its own units: the minutes of a day. */
export const width = 1440;
/** Height of the picture in its own units: 100 is full load, the rest is for the hottest peaks of the range behind. */
export const height = 112;

/** Where the shapes are closed: under the ground, or a hairline of sky shows beneath the land. */
const floor = height + 2;

/** How far a slope reaches into a gap, in minutes: a wall would look like a reading that fell to zero. */
const slope = 14;

export interface Outline {
  /** Closed shapes, to be filled. */
  readonly land: string;
  readonly far: string;
  /** The same upper edge as `land`, open. */
  readonly edge: string;
  /** Stretches of the ground without readings. */
  readonly bare: string;
}

interface Point {
  readonly x: number;
  readonly y: number;
}

/**
 * Draws the bins. `last` is the place and the height of the newest reading: the land reaches exactly to it, and what
 * lies between it and the present stays bare. Without it the land ends where the bins do.
 */
export function outline(bins: LandBins, last?: Point): Outline {
  const end = last === undefined ? width : Math.min(width, Math.max(0, last.x));
  const runs = runsOf(bins.cpu, bins.span, end);
  if (last !== undefined) {
    const newest = { x: end, y: Math.min(100, Math.max(0, last.y)) };
    const run = runs.at(-1);
    if (run !== undefined && end - (run.at(-1)?.x ?? 0) < 2 * bins.span) run.push(newest);
    // Known from this one reading only: a lone rock, as under the lamp before the history.
    else runs.push([newest]);
  }
  const tops = runs.map((run) => curve(shoulders(run, end)));
  return {
    land: tops.map(({ data, from, to }) => `${data}L${n(to)} ${floor}H${n(from)}Z`).join(""),
    edge: tops.map(({ data }) => data).join(""),
    far: runsOf(bins.celsius.map(rise), bins.span, end)
      .map((run) => curve(shoulders(run, end)))
      .map(({ data, from, to }) => `${data}L${n(to)} ${floor}H${n(from)}Z`)
      .join(""),
    bare: bareGround(runs, end),
  };
}

/** 25 °C lies on the ground, 87 °C is as high as full load; hotter peaks rise above it and are cut at the top. */
function rise(celsius: number | null): number | null {
  return celsius === null ? null : Math.min(height, Math.max(0, ((celsius - 25) / 62) * 100));
}

function runsOf(values: readonly (number | null)[], span: number, end: number): Point[][] {
  const runs: Point[][] = [];
  let run: Point[] = [];
  values.forEach((value, index) => {
    const x = (index + 0.5) * span;
    if (value !== null && x <= end) run.push({ x, y: value });
    else if (run.length > 0) {
      runs.push(run);
      run = [];
    }
  });
  if (run.length > 0) runs.push(run);
  return runs;
}

// Where a run begins or ends beside a gap it slopes to the ground; at the edges of the picture it runs out level.
function shoulders(run: readonly Point[], end: number): readonly Point[] {
  const first = run[0];
  const final = run.at(-1);
  if (first === undefined || final === undefined) return run;
  const before = first.x < slope ? { x: 0, y: first.y } : { x: first.x - slope, y: 0 };
  const reaches = final.x >= end;
  const after = reaches && end >= width ? [] : [{ x: Math.min(width, final.x + slope), y: 0 }];
  return [before, ...run, ...after];
}

function bareGround(runs: readonly (readonly Point[])[], end: number): string {
  let data = "";
  let from = 0;
  for (const run of [...runs, [{ x: end < width ? width + slope : width, y: 0 }]]) {
    const first = run[0]?.x ?? width;
    // Less than an hour is two dots: no gap that anybody could see.
    const to = first - slope;
    if (runs.length > 0 && to - from > 60) data += `M${n(from + 12)} ${height - 1}H${n(Math.min(to, width) - 6)}`;
    from = (run.at(-1)?.x ?? width) + slope;
  }
  return data;
}

/** A monotone cubic (Fritsch and Carlson): it never swings beyond the readings, so that no peak is invented. */
function curve(points: readonly Point[]): { readonly data: string; readonly from: number; readonly to: number } {
  const first = points[0];
  if (first === undefined) return { data: "", from: 0, to: 0 };
  const steps = points.slice(1).map((point, index) => {
    const before = points[index] ?? point;
    const dx = point.x - before.x;
    return { dx, slope: dx === 0 ? 0 : (point.y - before.y) / dx };
  });
  const tangents = points.map((_, index) => {
    const left = steps[index - 1];
    const right = steps[index];
    if (left === undefined || right === undefined) return 0;
    if (left.slope * right.slope <= 0) return 0;
    const sum = left.dx + right.dx;
    return (3 * sum) / ((sum + right.dx) / left.slope + (sum + left.dx) / right.slope);
  });
  let data = `M${n(first.x)} ${n(height - first.y)}`;
  steps.forEach(({ dx }, index) => {
    const from = points[index];
    const to = points[index + 1];
    if (from === undefined || to === undefined) return;
    const third = dx / 3;
    data +=
      `C${n(from.x + third)} ${n(height - from.y - (tangents[index] ?? 0) * third)}` +
      ` ${n(to.x - third)} ${n(height - to.y + (tangents[index + 1] ?? 0) * third)}` +
      ` ${n(to.x)} ${n(height - to.y)}`;
  });
  return { data, from: first.x, to: points.at(-1)?.x ?? first.x };
}

/** One decimal: a tenth of a minute is a fortieth of a pixel. */
function n(value: number): string {
  return String(Math.round(value * 10) / 10);
}
