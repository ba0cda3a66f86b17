// The first number that Intl writes costs a slow phone 100 ms: it loads the tables of every locale. These locales write
// Latin digits with the marks named here, so that their numbers need not wait for it; a test compares both.

/** How a locale writes a number: its decimal mark, and a per cent with the number at {0}. */
export interface PlainNumbers {
  readonly mark: string;
  readonly percent: string;
}

const kinds: readonly (PlainNumbers & { readonly locales: string })[] = [
  { mark: ".", percent: "{0}%", locales: "en en-US en-GB en-AU en-CA en-IN en-IE en-NZ de-CH es-MX es-US es-419 hi hi-IN ja ja-JP ko ko-KR zh zh-CN zh-TW zh-HK" },
  { mark: ",", percent: "{0}%", locales: "it it-IT nl nl-NL nl-BE pl pl-PL pt pt-BR pt-PT uk uk-UA" },
  { mark: ",", percent: "{0}\u00a0%", locales: "de de-DE de-AT es es-ES ru ru-RU" },
  { mark: ",", percent: "{0}\u202f%", locales: "fr fr-FR fr-BE" },
  { mark: ",", percent: "%{0}", locales: "tr tr-TR" },
];

/** The locales that need no tables. */
export const plainLocales: readonly string[] = kinds.flatMap(({ locales }) => locales.split(" "));

/** Nothing for a locale that is left to Intl. */
export function plainNumbers(locale: string): PlainNumbers | undefined {
  return kinds.find(({ locales }) => locales.split(" ").includes(locale));
}
