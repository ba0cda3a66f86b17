// Which of the 16 languages the phone gets. English is part of the first view, each other one a part of its own. Needed
// before everything else, so that the words come together with what shows them.

import type { Words } from "./en.js";

const parts: Readonly<Record<string, () => Promise<Words | undefined>>> = {
  ar: async () => (await import("./ar.js")).ar,
  de: async () => (await import("./de.js")).de,
  en: async () => undefined,
  es: async () => (await import("./es.js")).es,
  fr: async () => (await import("./fr.js")).fr,
  hi: async () => (await import("./hi.js")).hi,
  it: async () => (await import("./it.js")).it,
  ja: async () => (await import("./ja.js")).ja,
  ko: async () => (await import("./ko.js")).ko,
  nl: async () => (await import("./nl.js")).nl,
  pl: async () => (await import("./pl.js")).pl,
  "pt-BR": async () => (await import("./pt-BR.js")).ptBR,
  ru: async () => (await import("./ru.js")).ru,
  tr: async () => (await import("./tr.js")).tr,
  uk: async () => (await import("./uk.js")).uk,
  "zh-Hans": async () => (await import("./zh-Hans.js")).zhHans,
};

/** The 16 languages by their tags. */
export const languages: readonly string[] = Object.keys(parts);

/** A language of the page and the phone"s own locale in it, which decides on digits and separators. */
export interface Language {
  readonly tag: string;
  readonly locale: string;
  readonly rightToLeft: boolean;
}

/** The first of the phone"s locales (`navigator.languages`) that the page speaks, otherwise English. */
export function chooseLanguage(locales: readonly string[]): Language {
  for (const locale of locales) {
    const [primary = ""] = locale.toLowerCase().split("-");
    const tag = primary === "pt" ? "pt-BR" : primary === "zh" ? "zh-Hans" : primary;
    if (Object.hasOwn(parts, tag) && isLocale(locale)) return { tag, locale, rightToLeft: tag === "ar" };
  }
  return { tag: "en", locale: "en", rightToLeft: false };
}

/** Loads the words of a language; nothing for English, and for a part that cannot be loaded. */
export async function loadWords(tag: string): Promise<Words | undefined> {
  try {
    return await parts[tag]?.();
  } catch {
    // Offline and never cached: English words are better than an empty page.
    return undefined;
  }
}

function isLocale(locale: string): boolean {
  try {
    return Intl.getCanonicalLocales(locale).length === 1;
  } catch {
    return false;
  }
}
