import { useEffect, useLayoutEffect, useMemo, useRef, useState } from "preact/hooks";
import type { AlertEntry, Day } from "../../../state/view.js";
import { useScreen } from "../../first/context.js";
import { hourMarks } from "../../first/live/Hours.js";
import { daySummary } from "../../first/live/Live.js";
import { isStill } from "../../first/live/sentences.js";
import { useMedia } from "../../first/live/useMedia.js";
import { alertTitle } from "../../../words/alertTitle.js";
import { firstIcons, Icon } from "../../first/parts/Icon.js";
import { alertSeverity } from "../alerts/severity.js";
import { createPlot, heightOf, type Curve } from "./plot.js";
import { markNear, minuteAfterKey, minuteAt, type Range, scrubDistance } from "./scrub.js";

const minuteMs = 60_000;
const lastMinute = 1439;
const spans = [24, 6, 1] as const;

interface Chart {
  readonly name: string;
  readonly kind: "cpu" | "celsius" | "watts";
  readonly values: readonly (number | null)[];
  readonly lowest: number;
  readonly highest: number;
  readonly limit?: number;
  write(value: number): string;
}

interface Mark {
  readonly minute: number;
  readonly entry: AlertEntry;
}

/** 24 hours of processor, temperature and power on one axis of time, with the alerts on it. */
export function LastDay() {
  const { view, texts } = useScreen();
  const { day, alerts, phase } = view.current;
  const [hours, setHours] = useState<(typeof spans)[number]>(24);
  const [selectedMs, setSelectedMs] = useState<number>();
  const charts = useCharts(day.value);
  const { startMs } = day.value;
  const range: Range = useMemo(() => ({ from: lastMinute - hours * 60 + (hours === 24 ? 1 : 0), to: lastMinute }), [hours]);
  const marks = useMemo(() => marksOf(alerts.value, startMs, range), [alerts.value, startMs, range]);
  const { w } = texts;
  if (charts.length === 0) return null;
  const minuteOf = (atMs: number): number => Math.floor((atMs - startMs) / minuteMs);
  const selected = selectedMs === undefined || minuteOf(selectedMs) < range.from ? undefined : minuteOf(selectedMs);
  const select = (minute: number | undefined): void => setSelectedMs(minute === undefined ? undefined : startMs + minute * minuteMs);
  return (
    <section class="section pad last-day">
      <div class="last-day-head">
        <h2>{w.lastDay}</h2>
        <div class="switch" role="group" aria-label={w.lastDay}>
          {spans.map((span) => (
            <button
              type="button"
              key={span}
              aria-pressed={span === hours}
              onClick={() => {
                setHours(span);
                select(undefined);
              }}
            >
              {texts.duration(span * 3600)}
            </button>
          ))}
        </div>
      </div>
      <p class="spoken">{daySummary(day.value, texts)}</p>
      <Curves
        charts={charts}
        marks={marks}
        range={range}
        startMs={startMs}
        selected={selected}
        select={select}
        isStill={isStill(phase.value)}
      />
    </section>
  );
}

interface CurvesProps {
  readonly charts: readonly Chart[];
  readonly marks: readonly Mark[];
  readonly range: Range;
  readonly startMs: number;
  readonly selected: number | undefined;
  readonly isStill: boolean;
  select(minute: number | undefined): void;
}

function Curves({ charts, marks, range, startMs, selected, select, isStill: isOver }: CurvesProps) {
  const { texts } = useScreen();
  const { w, language } = texts;
  const box = useRef<HTMLDivElement>(null);
  const at = selected ?? lastMinute;
  const marked = selected === undefined ? undefined : nearestMark(marks, selected, range);
  const place = (minute: number): string => String((minute - range.from) / (range.to - range.from));
  const known = (chart: Chart): string | undefined => {
    // The present minute may not have a reading yet.
    const value = chart.values[at] ?? (selected === undefined ? chart.values[at - 1] : undefined) ?? undefined;
    return value === undefined ? undefined : chart.write(value);
  };
  const spoken = texts.list([
    texts.time(startMs + at * minuteMs),
    marked && alertTitle(marked.entry.alert, texts),
    ...charts.map((chart) => {
      const value = known(chart);
      return value === undefined ? undefined : chart.kind === "cpu" ? `${chart.name} ${value}` : value;
    }),
  ]);
  const pointers = usePointers(box, marks, range, language.rightToLeft, selected, select);
  return (
    <>
      <p class="readout">
        {selected !== undefined && (
          <>
            {marked !== undefined && (
              <span class={`readout-mark ${alertSeverity(marked.entry.alert)}`}>
                <Icon path={firstIcons[alertSeverity(marked.entry.alert)]} />
              </span>
            )}
            <bdi class="readout-time">{texts.time(startMs + selected * minuteMs)}</bdi>
            {marked !== undefined && (
              <span class={`readout-alert ${alertSeverity(marked.entry.alert)}`}>{alertTitle(marked.entry.alert, texts)}</span>
            )}
          </>
        )}
      </p>
      <div
        class="curves"
        ref={box}
        role="slider"
        tabIndex={0}
        aria-label={`${w.lastDay}. ${w.curvesHelp}`}
        aria-orientation="horizontal"
        aria-valuemin={range.from}
        aria-valuemax={range.to}
        aria-valuenow={at}
        aria-valuetext={spoken}
        {...pointers}
        onKeyDown={(event) => {
          if (event.ctrlKey || event.metaKey || event.altKey) return;
          const key = { key: event.key, shift: event.shiftKey };
          const next = minuteAfterKey(key, selected, marks.map(({ minute }) => minute), range, language.rightToLeft);
          if (next === undefined) return;
          event.preventDefault();
          select(next === "none" ? undefined : next);
        }}
      >
        <div class="marks" aria-hidden="true">
          {marks.map(({ minute, entry }) => (
            <span key={entry.id} class={`mark ${alertSeverity(entry.alert)}`} style={{ "--at": place(minute) }}>
              <MarkShape severity={alertSeverity(entry.alert)} />
            </span>
          ))}
        </div>
        {charts.map((chart) => (
          <div class={`chart ${chart.kind}`} key={chart.kind} aria-hidden="true">
            <p class="chart-name">
              {chart.name}
              <bdi class="chart-value">{known(chart) ?? (selected === undefined ? "" : w.noReading)}</bdi>
            </p>
            <div class="chart-picture">
              <PlotBox chart={chart} range={range} isOver={isOver} />
              {selected !== undefined && typeof chart.values[selected] === "number" && (
                <span
                  class="point"
                  style={{ "--at": place(selected), "--down": `${heightOf(chart.values[selected] ?? 0, chart)}px` }}
                />
              )}
            </div>
          </div>
        ))}
        {selected !== undefined && <span class="line" aria-hidden="true" style={{ "--at": place(selected) }} />}
      </div>
      <Axis startMs={startMs} range={range} />
    </>
  );
}

function MarkShape({ severity }: { severity: "amber" | "red" }) {
  return (
    <svg viewBox="0 0 24 24">
      {severity === "red" ? <path d="M7.5 1.8h9l5.700 5.700v9l-5.700 5.700h-9l-5.700-5.700v-9Z" /> : <path d="M12 2.5 23 21.5H1Z" />}
      <path class="mark-sign" d={severity === "red" ? "M12 6.5v6.5M12 17v.01" : "M12 9.5v5.5M12 18.5v.01"} />
    </svg>
  );
}

// A canvas that uPlot draws on. It is drawn when the minute, the width or the colours change, never with a sample.
function PlotBox({ chart, range, isOver }: { chart: Chart; range: Range; isOver: boolean }) {
  const { texts } = useScreen();
  const root = useRef<HTMLDivElement>(null);
  const plot = useRef<ReturnType<typeof createPlot> | undefined>(undefined);
  const isDark = useMedia("(prefers-color-scheme: dark)");
  const { kind, lowest, highest, limit } = chart;
  useLayoutEffect(() => {
    const element = root.current;
    if (element === null) return;
    const style = getComputedStyle(element);
    const colour = (name: string): string => style.getPropertyValue(name).trim();
    const curve: Curve = {
      colour: colour(isOver ? "--edge" : "--curve"),
      rule: colour("--rule"),
      lowest,
      highest,
      ...(limit !== undefined && { limit: { at: limit, colour: colour("--edge") } }),
    };
    const made = createPlot(element, element.clientWidth, curve, minutes, texts.language.rightToLeft);
    plot.current = made;
    const watch = new ResizeObserver(() => made.resize(element.clientWidth));
    watch.observe(element);
    return () => {
      watch.disconnect();
      made.end();
    };
  }, [kind, lowest, highest, limit, isDark, isOver, texts]);
  useLayoutEffect(() => {
    plot.current?.show(chart.values, range.from, range.to);
  }, [chart.values, range, isDark, isOver, highest]);
  return <div class="plot" ref={root} />;
}

const minutes = Array.from({ length: lastMinute + 1 }, (_, minute) => minute);

function Axis({ startMs, range }: { startMs: number; range: Range }) {
  const { texts } = useScreen();
  const fromMs = startMs + range.from * minuteMs;
  const lengthMs = (range.to - range.from) * minuteMs;
  const hours = Math.round(lengthMs / 3_600_000);
  const marks =
    hours === 1
      ? [15, 30, 45].map((minute) => Math.ceil(fromMs / (15 * minuteMs)) * 15 * minuteMs + (minute - 15) * minuteMs)
      : hourMarks(fromMs, hours === 24 ? 6 : 2);
  return (
    <div class="hours axis" aria-hidden="true">
      {marks
        .map((atMs) => ({ atMs, at: (atMs - fromMs) / lengthMs }))
        .filter(({ at }) => at > 0.06 && at < 0.86)
        .map(({ atMs, at }) => (
          <span key={atMs} style={{ "--at": String(at) }}>
            {texts.time(atMs)}
          </span>
        ))}
      <span class="now">{texts.w.now}</span>
    </div>
  );
}

interface Gesture {
  readonly id: number;
  readonly x: number;
  readonly y: number;
  isScrub: boolean;
}

function usePointers(
  box: { readonly current: HTMLElement | null },
  marks: readonly Mark[],
  range: Range,
  isRightToLeft: boolean,
  selected: number | undefined,
  select: (minute: number | undefined) => void,
) {
  const gesture = useRef<Gesture | undefined>(undefined);
  const minuteUnder = (event: PointerEvent): { readonly minute: number; readonly width: number } => {
    const { left, width } = box.current?.getBoundingClientRect() ?? { left: 0, width: 1 };
    const place = (event.clientX - left) / width;
    return { minute: minuteAt(isRightToLeft ? 1 - place : place, range), width };
  };
  // A tap beside the curves clears the line.
  const isSelected = selected !== undefined;
  useEffect(() => {
    if (!isSelected) return;
    const clear = (event: Event): void => {
      if (event.target instanceof Node && box.current?.contains(event.target) !== true) select(undefined);
    };
    addEventListener("click", clear);
    return () => removeEventListener("click", clear);
  }, [isSelected, select]);
  return {
    onPointerDown: (event: PointerEvent) => {
      if (event.isPrimary && event.button === 0) gesture.current = { id: event.pointerId, x: event.clientX, y: event.clientY, isScrub: false };
    },
    onPointerMove: (event: PointerEvent) => {
      const now = gesture.current;
      if (now === undefined || now.id !== event.pointerId) return;
      if (!now.isScrub && Math.abs(event.clientX - now.x) >= scrubDistance) {
        now.isScrub = true;
        box.current?.setPointerCapture(event.pointerId);
      }
      if (now.isScrub) select(minuteUnder(event).minute);
    },
    onPointerUp: (event: PointerEvent) => {
      const now = gesture.current;
      gesture.current = undefined;
      if (now === undefined || now.isScrub || now.id !== event.pointerId) return;
      if (Math.abs(event.clientY - now.y) >= scrubDistance) return;
      const { minute, width } = minuteUnder(event);
      const mark = markNear(minute, marks.map((each) => each.minute), range, width);
      const isOnMarks = event.target instanceof Element && event.target.closest(".marks") !== null;
      select(isOnMarks || selected === undefined ? (mark ?? minute) : minute);
    },
    // The browser has taken the gesture to scroll the page.
    onPointerCancel: () => {
      gesture.current = undefined;
    },
  };
}

function useCharts(day: Day): readonly Chart[] {
  const { texts } = useScreen();
  return useMemo(() => {
    const { w, percent, celsius, watts } = texts;
    const all: readonly Chart[] = [
      { name: w.processor, kind: "cpu", values: day.cpu, lowest: 0, highest: 100, write: (value) => percent(value) },
      { name: w.temperature, kind: "celsius", values: day.celsius, lowest: 30, highest: 105, limit: 95, write: (value) => celsius(value) },
      { name: w.power, kind: "watts", values: day.watts, lowest: 0, highest: ceiling(day.watts), write: watts },
    ];
    return all.filter(({ values }) => values.some((value) => value !== null));
  }, [day, texts]);
}

/** The next of 5, 10, 20, 50, … above everything, with some air: a scale that jumps is worse than an empty top. */
function ceiling(values: readonly (number | null)[]): number {
  const highest = values.reduce<number>((most, value) => Math.max(most, value ?? 0), 1) * 1.1;
  const power = 10 ** Math.floor(Math.log10(highest));
  return ([1, 2, 5, 10].find((step) => step * power >= highest) ?? 10) * power;
}

function marksOf(alerts: readonly AlertEntry[], startMs: number, { from, to }: Range): readonly Mark[] {
  return alerts
    .filter(({ alert }) => alert.state === "raised")
    .map((entry) => ({ entry, minute: Math.floor((entry.atMs - startMs) / minuteMs) }))
    .filter(({ minute }) => minute >= from && minute <= to);
}

// The alert that a line stands on, give or take its own width.
function nearestMark(marks: readonly Mark[], minute: number, { from, to }: Range): Mark | undefined {
  const near = Math.max(1, Math.round((to - from) / 200));
  return marks.find((mark) => mark.minute === minute) ?? marks.find((mark) => Math.abs(mark.minute - minute) <= near);
}
