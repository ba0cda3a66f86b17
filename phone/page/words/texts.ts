// Words with values put in: numbers, times, durations, amounts, all in the digits and the order of the phone"s locale.

import type { Forms, Words } from "./en.js";
import type { Language } from "./languages.js";
import { plainNumbers } from "./plainNumbers.js";

const firstStrongIsolate = "\u2068";
const popIsolate = "\u2069";
const noBreakSpace = "\u00a0";

/** One run of a number with its unit, in the order of the locale: Turkish writes %12. */
export interface Part {
  readonly unit: boolean;
  readonly text: string;
}

/** What the screens write with. */
export interface Texts extends Formats {
  readonly w: Words;
  readonly language: Language;
  /** Puts values into a text. */
  fill(text: string, ...values: readonly string[]): string;
  /** The text of the plural category of `count`, filled with it and with `more`. */
  count(forms: Forms, count: number, ...more: readonly string[]): string;
  /** The plural category of a number. */
  category(count: number): Intl.LDMLPluralRule;
  /** A text with a time of day as its last value; the hour 01 may have a form of its own. */
  timed(forms: Forms, epochMs: number, ...before: readonly string[]): string;
  /** Facts side by side. */
  list(facts: readonly (string | undefined)[]): string;
}

interface Formats {
  number(value: number, digits?: number): string;
  /** `value` in per cent, not as a fraction. */
  percent(value: number, digits?: number): string;
  percentParts(value: number): readonly Part[];
  celsius(value: number, digits?: number): string;
  celsiusParts(value: number): readonly Part[];
  watts(value: number): string;
  gibibytes(value: number, digits?: number): string;
  megahertz(value: number): string;
  hertz(value: number): string;
  /** An amount of storage in units of 1000. */
  bytes(value: number): string;
  /** At most two units; seconds only below a minute. */
  duration(seconds: number): string;
  /** 14:32, on a clock of 24 hours in every language. */
  time(epochMs: number): string;
  timeWithSeconds(epochMs: number): string;
  date(epochMs: number): string;
  /** Day, month and time. */
  dateTime(epochMs: number): string;
  /** The word for today or yesterday, otherwise the date. */
  day(epochMs: number, nowMs: number): string;
}

/** Writes with these words. Formatters are made when first needed: each costs a slow phone a millisecond. */
export function createTexts(words: Words, language: Language): Texts {
  const fill = (text: string, ...values: readonly string[]): string =>
    text.replace(/\{(\d)\}/g, (_, index: string) => isolate(values[Number(index)] ?? "", language));
  const formats = createFormats(words, language);
  const plural = lazy(() => new Intl.PluralRules(language.locale));
  return {
    ...formats,
    w: words,
    language,
    fill,
    category: (count) => plural().select(count),
    count: (forms, count, ...more) =>
      fill(forms[plural().select(count)] ?? forms.other, formats.number(count), ...more),
    timed: (forms, epochMs, ...before) =>
      fill((new Date(epochMs).getHours() === 1 ? forms.one : undefined) ?? forms.other, ...before, formats.time(epochMs)),
    list: (facts) =>
      facts
        .filter((fact): fact is string => fact !== undefined && fact !== "")
        .map((fact) => isolate(fact, language))
        .join(words.listSeparator),
  };
}

// A value in a right-to-left sentence, and a text in a right-to-left script in any, would pull the marks beside it out
// of their places.
function isolate(value: string, language: Language): string {
  return language.rightToLeft || /[\u0590-\u08ff\ufb1d-\ufefc]/.test(value)
    ? firstStrongIsolate + value + popIsolate
    : value;
}

function createFormats(words: Words, language: Language): Formats {
  const { locale } = language;
  const { units } = words;
  const numbers = cached((options: string) => {
    const [style = "decimal", unit = "", digits = "0", width = "1"] = options.split(" ");
    return new Intl.NumberFormat(locale, {
      style: style === "percent" ? "percent" : style === "unit" ? "unit" : "decimal",
      ...(unit !== "" && { unit, unitDisplay: "short" }),
      minimumFractionDigits: Number(digits),
      maximumFractionDigits: Number(digits),
      minimumIntegerDigits: Number(width),
      // The few numbers of four digits are cycles and pixels.
      useGrouping: false,
    });
  });
  const days = lazy(() => new Intl.DateTimeFormat(locale, { day: "numeric", month: "long" }));
  const relativeDays = lazy(() => new Intl.RelativeTimeFormat(locale, { numeric: "auto" }));

  const plain = plainNumbers(locale);
  const number = (value: number, digits = 0): string => {
    const written = withoutMinusZero(value, digits);
    return plain !== undefined && written >= 0 && written < 1e6
      ? written.toFixed(digits).replace(".", plain.mark)
      : numbers(`decimal  ${digits}`).format(written);
  };
  const percent = (value: number, digits = 0): string =>
    plain === undefined || value < 0
      ? numbers(`percent  ${digits}`).format(withoutMinusZero(value, digits) / 100)
      : plain.percent.replace("{0}", number(value, digits));
  const twoDigits = (value: number): string =>
    plain === undefined ? numbers("decimal  0 2").format(value) : String(value).padStart(2, "0");
  // Number and unit are one run, which is isolated as a whole where it is put in.
  const measure = (unit: string, text: string): string => unit.replace("{0}", text).replace(" ", noBreakSpace);
  const clock = (epochMs: number): string => {
    const at = new Date(epochMs);
    return `${twoDigits(at.getHours())}:${twoDigits(at.getMinutes())}`;
  };
  const duration = (seconds: number): string => {
    const whole = Math.max(0, Math.floor(seconds));
    if (whole < 60) return measure(units.second, number(whole));
    const minutes = Math.floor(whole / 60);
    const hours = Math.floor(minutes / 60);
    if (hours === 0) return measure(units.minute, number(minutes));
    const [big, small, count, rest] =
      hours < 48
        ? [units.hour, units.minute, hours, minutes % 60]
        : [units.day, units.hour, Math.floor(hours / 24), hours % 24];
    const bigger = measure(big, number(count));
    return rest === 0 ? bigger : units.pair.replace("{0}", bigger).replace("{1}", measure(small, number(rest))).replace(" ", noBreakSpace);
  };
  const date = (epochMs: number): string => days().format(epochMs);

  return {
    number,
    percent,
    percentParts: (value) => {
      const parts: Part[] = [];
      if (plain !== undefined) {
        for (const text of plain.percent.split(/(\{0\})/).map((part) => part.trim()).filter((part) => part !== "")) {
          parts.push(text === "{0}" ? { unit: false, text: number(Math.round(value)) } : { unit: true, text });
        }
        return parts;
      }
      for (const { type, value: text } of numbers("percent  0").formatToParts(Math.round(value) / 100)) {
        if (type === "literal") continue; // the gap between the two sizes belongs to the style
        const unit = type === "percentSign";
        const last = parts.at(-1);
        if (last !== undefined && last.unit === unit) parts[parts.length - 1] = { unit, text: last.text + text };
        else parts.push({ unit, text });
      }
      return parts;
    },
    celsius: (value, digits = 0) => measure(units.celsius, number(value, digits)),
    celsiusParts: (value) => [
      { unit: false, text: number(value) },
      { unit: true, text: units.celsius.replace("{0}", "").trim() },
    ],
    watts: (value) => measure(units.watt, number(value, 1)),
    gibibytes: (value, digits = 1) => measure(units.gibibyte, number(value, Number.isInteger(value) ? 0 : digits)),
    megahertz: (value) => measure(units.gigahertz, number(value / 1000, 2)),
    hertz: (value) => measure(units.hertz, number(value, Number.isInteger(value) ? 0 : 1)),
    bytes: (value) => {
      const [size, unit, digits] =
        value >= 1e12 ? [value / 1e12, "terabyte", 2] : value >= 1e9 ? [value / 1e9, "gigabyte", 0] : [value / 1e6, "megabyte", 0];
      // The Arabic short forms are whole words in another script; the readings beside them keep their Latin units.
      return language.tag === "ar"
        ? `${number(size, digits)}${noBreakSpace}${unit.charAt(0).toUpperCase()}B`
        : numbers(`unit ${unit} ${digits}`).format(size).replace(" ", noBreakSpace);
    },
    duration,
    time: clock,
    timeWithSeconds: (epochMs) => `${clock(epochMs)}:${twoDigits(new Date(epochMs).getSeconds())}`,
    date,
    dateTime: (epochMs) => date(epochMs) + words.listSeparator + clock(epochMs),
    day: (epochMs, nowMs) => {
      const ago = Math.round((startOfDay(nowMs) - startOfDay(epochMs)) / 86_400_000);
      if (ago !== 0 && ago !== 1) return date(epochMs);
      const word = relativeDays().format(-ago, "day");
      return word.charAt(0).toLocaleUpperCase(locale) + word.slice(1);
    },
  };
}

function startOfDay(epochMs: number): number {
  return new Date(epochMs).setHours(0, 0, 0, 0);
}

// −0.04 with one digit would be written "-0".
function withoutMinusZero(value: number, digits: number): number {
  return Math.abs(value) < 0.5 * 10 ** -digits ? 0 : value;
}

function lazy<T>(make: () => T): () => T {
  let made: T | undefined;
  return () => (made ??= make());
}

function cached<T>(make: (key: string) => T): (key: string) => T {
  const made = new Map<string, T>();
  return (key) => {
    let value = made.get(key);
    if (value === undefined) made.set(key, (value = make(key)));
    return value;
  };
}
