/**
 * Small readers of what strangers send. Each takes any value and answers a bounded one, or nothing;
 * none throws. A bad member costs itself only.
 */

/** Control characters, line separators, and all that turns, joins or hides the text around it. */
const unprintable =
  /[\u0000-\u001f\u007f-\u009f\u00ad\u061c\u180e\u200b\u200e\u200f\u2028-\u202e\u2060-\u206f\ufeff\ufff9-\ufffb]|[\u{e0000}-\u{e007f}]/gu;
const loneSurrogate = /\p{Surrogate}/gu;

/** The longest text that is shown, in UTF-16 units, as the computers bound theirs. */
export const longestText = 128;
/** The longest list that is shown. */
export const longestList = 64;

export type Fields = (name: string) => unknown;

/** Own members of an object; nothing when it is none, or an array. */
export function fields(value: unknown): Fields | undefined {
  if (typeof value !== "object" || value === null || Array.isArray(value)) return undefined;
  // Own members only: what stands in a prototype is ours, not the sender's.
  return (name) => Object.getOwnPropertyDescriptor(value, name)?.value;
}

/** A number from `min` to `max`. */
export function number(value: unknown, min: number, max: number): number | undefined {
  return typeof value === "number" && value >= min && value <= max ? value : undefined;
}

/** The same, where 0 stands for "not known". */
export function nonZero(value: unknown, min: number, max: number): number | undefined {
  return number(value, min, max) || undefined;
}

export function integer(value: unknown, min: number, max: number): number | undefined {
  return Number.isInteger(value) ? number(value, min, max) : undefined;
}

/** What a relay numbers an alert with. */
export function alertNumber(value: unknown): number | undefined {
  return integer(value, 0, Number.MAX_SAFE_INTEGER);
}

/** 0 to 100; a rounding above is 100. */
export function percent(value: unknown): number | undefined {
  const read = number(value, 0, 101);
  return read === undefined ? undefined : Math.min(100, read);
}

export function boolean(value: unknown): boolean | undefined {
  return typeof value === "boolean" ? value : undefined;
}

/** Text fit to be shown on one line, cut to `longest`. Nothing when nothing visible is left. */
export function text(value: unknown, longest = longestText): string | undefined {
  if (typeof value !== "string") return undefined;
  // Cut first: a text of a mebibyte is not worth cleaning.
  const cleaned = value
    .slice(0, 4 * longest)
    .replace(loneSurrogate, "\ufffd")
    .replace(unprintable, " ")
    .replace(/\s+/gu, " ")
    .trim();
  const cut = cleaned.length > longest ? cleaned.slice(0, longest).replace(/\p{Surrogate}$/u, "").trimEnd() : cleaned;
  return cut || undefined;
}

/** One of the words that are known. */
export function oneOf<Word extends string>(words: readonly Word[], value: unknown): Word | undefined {
  return words.find((word) => word === value);
}

/** The entries that can be read, among the first `longest`. */
export function list<Entry>(
  value: unknown, read: (entry: unknown) => Entry | undefined, longest = longestList,
): Entry[] {
  if (!Array.isArray(value)) return [];
  const entries: Entry[] = [];
  for (const raw of value.slice(0, longest)) {
    const entry = read(raw);
    if (entry !== undefined) entries.push(entry);
  }
  return entries;
}

/** Milliseconds from 2001 to the year 9999: beyond, dates cannot be shown in every calendar. */
export function timeMs(value: unknown): number | undefined {
  return number(value, 1e12, 253_402_300_799_000);
}

/** The same, told in seconds. */
export function timeS(value: unknown): number | undefined {
  return typeof value === "number" ? timeMs(value * 1000) : undefined;
}

/** The JSON value of a text; nothing when it is none. */
export function json(value: string): { readonly value: unknown } | undefined {
  try {
    return { value: JSON.parse(value) as unknown };
  } catch {
    return undefined;
  }
}

/** The members that are known. For objects whose optional members are absent, never undefined. */
export type Known<Wide> = { [Key in keyof Wide]?: Exclude<Wide[Key], undefined> };

export function known<Wide extends object>(wide: Wide): Known<Wide> {
  const narrow: Known<Wide> = {};
  for (const key of Object.keys(wide) as (keyof Wide)[]) {
    const value = wide[key];
    if (value !== undefined) narrow[key] = value as Exclude<Wide[keyof Wide], undefined>;
  }
  return narrow;
}
