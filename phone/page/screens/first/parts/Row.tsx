import type { ComponentChildren } from "preact";
import type { Severity } from "../../../state/view.js";
import type { Part } from "../../../words/texts.js";
import { firstIcons, Icon } from "./Icon.js";

export interface RowProps {
  readonly label: string;
  readonly detail?: string | undefined;
  /** The value in the order of the locale, and as it is spoken. */
  readonly parts: readonly Part[];
  readonly spoken: string;
  /** How far the gauge is filled, in per cent. */
  readonly filled: number;
  /** Where the gauge has its tick, in per cent. */
  readonly tick?: number | undefined;
  readonly severity?: Severity | undefined;
}

/** A reading: name, detail, value, and the rule beneath it as its gauge. */
export function Row({ label, detail, parts, spoken, filled, tick, severity }: RowProps) {
  return (
    <li class="row pad" data-severity={severity}>
      <div class="row-words">
        <p class="row-name">
          {severity !== undefined && <Icon path={firstIcons[severity]} />}
          {label}
        </p>
        {detail !== undefined && detail !== "" && <p class="second">{detail}</p>}
      </div>
      <Value parts={parts} spoken={spoken} />
      <Gauge filled={filled} tick={tick} />
    </li>
  );
}

/** Number and unit, each in its size; read out as one. */
export function Value({ parts, spoken }: { parts: readonly Part[]; spoken: string }) {
  return (
    <p class="value">
      <span class="spoken">{spoken}</span>
      <bdi dir="ltr" aria-hidden="true">
        {parts.map(({ unit, text }) => (
          <span key={String(unit)} class={unit ? "unit" : "figure"}>
            {text}
          </span>
        ))}
      </bdi>
    </p>
  );
}

export function Gauge({ filled, tick }: { filled: number; tick?: number | undefined }): ComponentChildren {
  return (
    <div class="gauge" aria-hidden="true">
      <span class="gauge-track">
        <span class="gauge-fill" style={{ "--filled": String(Math.min(100, Math.max(0, filled)) / 100) }} />
      </span>
      {tick !== undefined && <span class="gauge-tick" style={{ "--tick": String(tick / 100) }} />}
    </div>
  );
}
