// The first view imports nothing from screens/later: what is needed later is loaded later (parts.ts).

import type { ComponentChildren } from "preact";
import { useEffect, useMemo, useRef } from "preact/hooks";
import type { LandBins, Sky as SkyColour } from "../../../state/view.js";
import { height, outline, width } from "./land.js";

/** Where the lamp stands: `at` 0 to 1 of the day's width (1 is now), `load` in per cent. */
export interface LampPlace {
  readonly at: number;
  readonly load: number;
}

export interface SkyProps {
  readonly colour: SkyColour;
  /** Which of the sizes of sky.css. */
  readonly size: "big" | "slim" | "list" | "card" | "problem";
  readonly bins?: LandBins | undefined;
  readonly lamp?: LampPlace | undefined;
  /** Live: the lamp burns, and flashes when this number grows. */
  readonly beats?: number | undefined;
  readonly summary?: string | undefined;
  /** Marks on the land, placed by the caller. */
  readonly marks?: ComponentChildren;
  /** A tap on the land. */
  readonly onLand?: () => void;
  readonly children?: ComponentChildren;
}

/** A sky with its land. It is drawn anew when the bins change, once a minute; with a sample only lamp and tip move. */
export function Sky({ colour, size, bins, lamp, beats, summary, marks, onLand, children }: SkyProps) {
  const isLit = colour !== "fog" && colour !== "late";
  return (
    <div class={`sky sky-${size}`} data-sky={colour}>
      {children}
      <div class="land" onClick={onLand} {...(summary === undefined || summary === "" ? {} : { role: "img", "aria-label": summary })}>
        {lamp !== undefined && isLit && <span class="glow" style={placeOf(lamp)} />}
        <Land bins={bins} isFog={colour === "fog"} end={lamp !== undefined && lamp.at < 1 ? lamp : undefined} />
        {lamp !== undefined && <Lamp lamp={lamp} isLit={isLit} beats={beats} />}
        {colour === "fog" && bins !== undefined && <span class="now-post" />}
        {marks}
      </div>
    </div>
  );
}

function Land({ bins, isFog, end }: { bins: LandBins | undefined; isFog: boolean; end: LampPlace | undefined }) {
  const drawn = useMemo(
    () => bins && outline(bins, end && { x: end.at * width, y: end.load }),
    [bins, end?.at, end?.load],
  );
  if (drawn === undefined) return null;
  return (
    <svg class="land-picture" viewBox={`0 0 ${width} ${height}`} preserveAspectRatio="none" aria-hidden="true">
      {!isFog && <path class="far" d={drawn.far} />}
      <path class="near" d={drawn.land} />
      {isFog && <path class="shore" d={drawn.edge} />}
      <path class="bare" d={drawn.bare} />
    </svg>
  );
}

function Lamp({ lamp, isLit, beats }: { lamp: LampPlace; isLit: boolean; beats: number | undefined }) {
  const ring = useRef<HTMLSpanElement>(null);
  useEffect(() => {
    // One flash for each sample, never a loop: a lamp that moves by itself would say "live" when nothing is.
    if (beats === undefined || beats === 0 || matchMedia("(prefers-reduced-motion: reduce)").matches) return;
    ring.current?.animate(
      [
        { transform: "scale(0.36)", opacity: 1 },
        { transform: "scale(1)", opacity: 0 },
      ],
      { duration: 900, easing: "ease-out" },
    );
  }, [beats]);
  const place = placeOf(lamp);
  return (
    <>
      {lamp.at >= 1 && (
        <svg class="tip" style={place} viewBox="-14 0 24 100" preserveAspectRatio="none" aria-hidden="true">
          <path d="M-12.500 100C-8.500 84-6.500 40-5 6Q0-4 4.500 6C5.500 40 6 84 8 100Z" />
        </svg>
      )}
      <span class={isLit ? "lamp" : "lamp out"} style={place}>
        {isLit && <span class="ring" ref={ring} />}
      </span>
    </>
  );
}

function placeOf({ at, load }: LampPlace): { readonly [property: string]: string } {
  return { "--at": String(at), "--load": String(Math.min(100, Math.max(0, load)) / 100) };
}
