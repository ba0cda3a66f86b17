// One curve with uPlot: how it is drawn, nothing about fingers and keys.

import uPlot from "uplot";

export interface Curve {
  readonly colour: string;
  readonly rule: string;
  readonly lowest: number;
  /** Fixed, or the next nice step above the highest reading. */
  readonly highest: number;
  /** A dotted line across. */
  readonly limit?: { readonly at: number; readonly colour: string };
}

export interface Plot {
  /** `minutes` since the beginning of the day, and one value for each. */
  show(values: readonly (number | null)[], fromMinute: number, toMinute: number): void;
  resize(width: number): void;
  end(): void;
}

export const plotHeight = 64;
const topPadding = 3;

/** Where a value stands, in pixels from the top of the plot. */
export function heightOf(value: number, curve: Pick<Curve, "lowest" | "highest">): number {
  const share = (value - curve.lowest) / (curve.highest - curve.lowest);
  return plotHeight - Math.min(1, Math.max(0, share)) * (plotHeight - topPadding);
}

export function createPlot(root: HTMLElement, width: number, curve: Curve, minutes: number[], isRightToLeft: boolean): Plot {
  let range: [number, number] = [0, minutes.length - 1];
  const plot = new uPlot(
    {
      width,
      height: plotHeight,
      padding: [topPadding, 0, 0, 0],
      legend: { show: false },
      cursor: { show: false },
      select: { show: false, left: 0, top: 0, width: 0, height: 0 },
      axes: [{ show: false }, { show: false }],
      scales: {
        x: { time: false, range: () => range, dir: isRightToLeft ? -1 : 1 },
        y: { range: [curve.lowest, curve.highest] },
      },
      series: [
        {},
        {
          stroke: curve.colour,
          width: 2,
          fill: translucent(curve.colour),
          // Below the lowest mark of the scale there is no ground to fill to.
          fillTo: curve.lowest,
          spanGaps: false,
          points: { show: false },
        },
      ],
      hooks: {
        drawClear: [(self) => hatchGaps(self, curve.rule)],
        draw: [(self) => drawLines(self, curve)],
      },
    },
    [minutes, []],
    root,
  );
  return {
    show: (values, fromMinute, toMinute) => {
      range = [fromMinute, toMinute];
      plot.setData([minutes, values as (number | null)[]]);
    },
    resize: (next) => plot.setSize({ width: next, height: plotHeight }),
    end: () => plot.destroy(),
  };
}

// The colours are of six digits; a canvas of an older browser knows no other way to thin them.
function translucent(colour: string): string {
  return `${colour}21`;
}

// A minute or two without a reading is a missed beat; from five on it is a gap that one can see.
const shortestGap = 5;

function hatchGaps(plot: uPlot, colour: string): void {
  const values = plot.data[1];
  if (values === undefined) return;
  let from = -1;
  for (let minute = 0; minute <= values.length; minute += 1) {
    const isGap = minute < values.length && (values[minute] ?? null) === null;
    if (isGap && from < 0) from = minute;
    if (!isGap && from >= 0) {
      if (minute - from >= shortestGap) hatch(plot, from - 1, minute, colour);
      from = -1;
    }
  }
}

function hatch(plot: uPlot, fromMinute: number, toMinute: number, colour: string): void {
  const { ctx } = plot;
  const { left, top, width, height } = plot.bbox;
  const a = plot.valToPos(fromMinute, "x", true);
  const b = plot.valToPos(toMinute, "x", true);
  const start = Math.max(left, Math.min(a, b));
  const end = Math.min(left + width, Math.max(a, b));
  if (end <= start) return;
  const step = 9 * devicePixelRatio;
  ctx.save();
  ctx.beginPath();
  ctx.rect(start, top, end - start, height);
  ctx.clip();
  ctx.beginPath();
  for (let x = start - height; x < end; x += step) {
    ctx.moveTo(x, top + height);
    ctx.lineTo(x + height, top);
  }
  ctx.strokeStyle = colour;
  ctx.lineWidth = devicePixelRatio;
  ctx.stroke();
  ctx.restore();
}

function drawLines(plot: uPlot, { rule, limit }: Curve): void {
  const { ctx } = plot;
  const { left, top, width, height } = plot.bbox;
  ctx.save();
  ctx.lineWidth = devicePixelRatio;
  ctx.strokeStyle = rule;
  ctx.beginPath();
  ctx.moveTo(left, top + height - devicePixelRatio / 2);
  ctx.lineTo(left + width, top + height - devicePixelRatio / 2);
  ctx.stroke();
  if (limit !== undefined) {
    const y = plot.valToPos(limit.at, "y", true);
    ctx.setLineDash([3 * devicePixelRatio, 3 * devicePixelRatio]);
    ctx.strokeStyle = limit.colour;
    ctx.beginPath();
    ctx.moveTo(left, y);
    ctx.lineTo(left + width, y);
    ctx.stroke();
  }
  ctx.restore();
}
