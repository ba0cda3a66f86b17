import { useComputed } from "@preact/signals";
import type { ComponentChildren } from "preact";
import { useEffect, useMemo, useRef, useState } from "preact/hooks";
import { landBins } from "../../../state/day.js";
import type { Day, Verdict } from "../../../state/view.js";
import { useScreen } from "../context.js";
import { Later } from "../Later.js";
import { later } from "../parts.js";
import { firstIcons, Icon } from "../parts/Icon.js";
import { Row } from "../parts/Row.js";
import { Title } from "../parts/Title.js";
import { type LampPlace, Sky } from "../sky/Sky.js";
import { Hours } from "./Hours.js";
import { Notices } from "./Notices.js";
import { readingRows } from "./readings.js";
import { ageText, awayHelp, firstSentence, isStill, lastKnown, secondSentence } from "./sentences.js";
import { useMedia } from "./useMedia.js";

const dayMs = 86_400_000;

/** The computer at a glance: sky, sentence, land, five rows; below it what is loaded later. */
export function Live() {
  const { view } = useScreen();
  const phase = view.current.phase.value;
  const sky = useRef<HTMLElement>(null);
  return (
    <div class={isStill(phase) ? "page is-still" : "page"} data-phase={phase}>
      <header ref={sky}>
        <BigSky />
      </header>
      <SlimSky after={sky} />
      <main>
        <Hours />
        <Notices />
        <LastKnownNote />
        <Columns />
      </main>
      {view.installOffer.value !== undefined ? <Later load={later.install} /> : view.pushOffer.value && <Later load={later.push} />}
    </div>
  );
}

function BigSky() {
  const { view, texts, open } = useScreen();
  const { name, verdict, unseenAlerts, day, sample } = view.current;
  const { w } = texts;
  const unseen = unseenAlerts.value;
  const isWide = useMedia("(min-width: 700px)");
  const land = useLand(isWide ? 6 : 12);
  const hasCelsius = useMemo(() => day.value.celsius.some((value) => value !== null), [day.value]);
  const colour = verdict.value.sky;
  useThemeColour(colour);
  return (
    <Sky {...land} colour={colour} size="big" onLand={showLastDay}>
      <div class="sky-words pad">
        <div class="sky-head">
          <button type="button" class="chooser" onClick={() => open("computers")}>
            <bdi class="name">{name.value || w.thisComputer}</bdi>
            <Icon path={firstIcons.down} />
            <span class="spoken">{w.computers}</span>
          </button>
          <button
            type="button"
            class="bell"
            aria-label={unseen === 0 ? w.alerts : texts.count(w.alertsNew, unseen)}
            onClick={() => open("alerts")}
          >
            <Icon path={firstIcons.bell} />
            {unseen > 0 && (
              <span class="badge" aria-hidden="true">
                {texts.number(unseen)}
              </span>
            )}
          </button>
        </div>
        <p class="live-line">
          <LiveWhen />
        </p>
        <Title class="verdict">
          <Sentences verdict={verdict.value} />
        </Title>
        {colour !== "fog" && (
          <ul class="legend" aria-hidden="true">
            {sample.value?.cpuPercent !== undefined && <li>{w.processor}</li>}
            {(hasCelsius || sample.value?.cpuCelsius !== undefined) && <li>{w.temperature}</li>}
          </ul>
        )}
      </div>
    </Sky>
  );
}

function SlimSky({ after }: { after: { readonly current: HTMLElement | null } }) {
  const { view } = useScreen();
  const [isShown, setShown] = useState(false);
  useEffect(() => {
    const big = after.current;
    if (big === null) return;
    const watch = new IntersectionObserver(([entry]) => setShown(entry !== undefined && !entry.isIntersecting), {
      rootMargin: "-78px 0px 0px 0px",
    });
    watch.observe(big);
    return () => watch.disconnect();
  }, [after]);
  return (
    <div class={isShown ? "slim is-shown" : "slim"} aria-hidden="true">
      {isShown && <SlimLand name={view.current.name.value} />}
    </div>
  );
}

function SlimLand({ name }: { name: string }) {
  const { view } = useScreen();
  return (
    <Sky {...useLand(12)} colour={view.current.verdict.value.sky} size="slim">
      <p class="slim-words pad">
        <LiveWhen name={name} />
      </p>
    </Sky>
  );
}

// The dot, and the time of the newest reading. A part of its own: it alone is drawn anew with every sample.
function LiveWhen({ name }: { name?: string }) {
  const { view, texts } = useScreen();
  const { phase, readAtMs } = view.current;
  const isLive = phase.value === "live" && readAtMs.value !== undefined;
  let words = texts.w.notLive;
  if (isLive) words = texts.fill(texts.w.live, texts.timeWithSeconds(readAtMs.value ?? 0));
  // The slim sky has no sentence that would say how old the values under it are.
  else if (name !== undefined && readAtMs.value !== undefined) words = ageText(view.now.value - readAtMs.value, view.now.value, texts);
  return (
    <>
      <span class={isLive ? "dot" : "dot out"} />
      {name !== undefined && <bdi class="name">{name}</bdi>}
      <span class="when">{words}</span>
    </>
  );
}

function Sentences({ verdict }: { verdict: Verdict }) {
  const { view, texts } = useScreen();
  const { second } = verdict;
  // Only sentences with an age follow the clock.
  const moves = second?.key === "lastReading" || second?.key === "silentSince";
  const now = moves ? view.now.value : view.now.peek();
  return (
    <>
      <span>{firstSentence(verdict.first, texts, view.current.name.value)}</span>
      {second !== undefined && (
        <>
          {" "}
          <span class="activity">{secondSentence(second, texts, now)}</span>
        </>
      )}
    </>
  );
}

/** Land and lamp of the computer that the page shows, for a sky of any size. */
export function useLand(span: number) {
  const { view, texts } = useScreen();
  const { day, sample, phase, readAtMs, beats } = view.current;
  const bins = useMemo(() => landBins(day.value, span), [day.value, span]);
  const summary = useMemo(() => daySummary(day.value, texts), [day.value, texts]);
  return {
    bins,
    summary,
    lamp: lampPlace(day.value, readAtMs.value, sample.value?.cpuPercent, isStill(phase.value) || phase.value === "replaced"),
    beats: phase.value === "live" ? beats.value : undefined,
  };
}

function lampPlace(day: Day, readAtMs: number | undefined, load: number | undefined, isOver: boolean): LampPlace | undefined {
  if (readAtMs === undefined) return undefined;
  const at = isOver ? (readAtMs - day.startMs) / dayMs : 1;
  return at < 0 ? undefined : { at: Math.min(at, isOver ? 0.999 : 1), load: load ?? 0 };
}

/** Lowest, highest and newest of each curve, for those who cannot see them. */
export function daySummary(day: Day, texts: ReturnType<typeof useScreen>["texts"]): string {
  const { w, fill } = texts;
  const curves = [
    [w.processor, day.cpu, texts.percent],
    [w.temperature, day.celsius, texts.celsius],
    [w.power, day.watts, texts.watts],
  ] as const;
  return curves
    .flatMap(([name, values, write]) => {
      const known = values.filter((value) => value !== null);
      const last = known.at(-1);
      if (last === undefined) return [];
      const isNow = values.at(-1) !== null;
      let low = last;
      let high = last;
      for (const value of known) {
        low = Math.min(low, value);
        high = Math.max(high, value);
      }
      return fill(isNow ? w.summary : w.summaryPast, name, write(low), write(high), write(last));
    })
    .join(" ");
}

function LastKnownNote() {
  const { view, texts } = useScreen();
  const { phase, readAtMs } = view.current;
  if (!isStill(phase.value) || readAtMs.value === undefined) return null;
  const [before, age, after] = lastKnown(readAtMs.value, view.now.value, texts);
  return (
    <p class="offline-note pad">
      {before}
      <strong>
        <bdi>{age}</bdi>
      </strong>
      {after} {awayHelp(phase.value, texts)}
    </p>
  );
}

function Rows() {
  const { view, texts } = useScreen();
  const { current } = view;
  const phase = current.phase.value;
  const sample = current.sample.value;
  // Live values do not wait for the clock; old ones change their words after a day.
  const nowMs = useComputed(() => (isStill(phase) ? Math.floor(view.now.value / 60_000) * 60_000 : 0)).value;
  if (sample === undefined) return null;
  const moment = { phase, verdict: current.verdict.value, readAtMs: current.readAtMs.value, nowMs };
  return (
    <ul class="rows">
      {readingRows(sample, moment, texts).map(({ reading, ...row }) => (
        <Row key={reading} {...row} />
      ))}
    </ul>
  );
}

// One column is read from top to bottom; on wide screens each column flows by itself.
function Columns() {
  const { view } = useScreen();
  const isWide = useMedia("(min-width: 700px)");
  const isWidest = useMedia("(min-width: 1080px)");
  const rows = <Rows />;
  const isSettled = view.isSettled.value;
  const part = (name: DetailsPart): ComponentChildren => isSettled && <Later load={later.details} part={name} />;
  const day = isSettled && <Later load={later.lastDay} />;
  const columns: readonly (readonly ComponentChildren[])[] = isWidest
    ? [[rows, part("more"), part("computer")], [day, part("storage")], [part("busiest"), part("connected")]]
    : isWide
      ? [[rows, part("busiest")], [day, part("storage"), part("connected"), part("more"), part("computer")]]
      : [[rows, part("busiest"), day, part("storage"), part("connected"), part("more"), part("computer")]];
  return (
    <div class="columns">
      {columns.map((column) => (
        <div class="column">{column}</div>
      ))}
    </div>
  );
}

export type DetailsPart = "busiest" | "storage" | "connected" | "more" | "computer";

// The bar of the browser and of the phone continues the sky.
function useThemeColour(sky: string): void {
  const isDark = useMedia("(prefers-color-scheme: dark)");
  useEffect(() => {
    const element = document.querySelector(".sky-big");
    const meta = document.querySelector('meta[name="theme-color"]');
    if (element === null || meta === null) return;
    // After the transition of the sky, or it would be a colour in between.
    const timer = setTimeout(() => meta.setAttribute("content", getComputedStyle(element).getPropertyValue("--top")), 1300);
    return () => clearTimeout(timer);
  }, [sky, isDark]);
}

// The land is the last day in small: a tap leads to the large one.
function showLastDay(): void {
  const behavior = matchMedia("(prefers-reduced-motion: reduce)").matches ? "auto" : "smooth";
  document.querySelector(".last-day")?.scrollIntoView({ behavior });
}
