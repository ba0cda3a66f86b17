import type { Words } from "../../words/en.js";

/** English made longer by two fifths: words that no language has yet must fit as well. */
export function lengthened(words: Words): Words {
  return stretch(words) as Words;
}

function stretch(value: unknown): unknown {
  if (typeof value === "string") {
    return value.length < 4 ? value : value.replace(/[a-z]{3,}/g, (word) => word + word.slice(0, Math.ceil(word.length * 0.4)));
  }
  if (typeof value !== "object" || value === null) return value;
  return Object.fromEntries(Object.entries(value).map(([key, inner]) => [key, key === "units" ? inner : stretch(inner)]));
}
