import assert from "node:assert/strict";
import { test } from "node:test";
import { en, type Words } from "../words/en.js";
import { chooseLanguage, languages, loadWords } from "../words/languages.js";
import { plainLocales } from "../words/plainNumbers.js";
import { createTexts } from "../words/texts.js";

const placeholders = (text: string): string => [...new Set(text.match(/\{\d\}/g))].sort().join();
const formsOf = (value: unknown): readonly string[] =>
  typeof value === "string" ? [value] : Object.values(value as object).filter((form) => typeof form === "string");

test("every language fills the same placeholders, has its plural forms, and leaves nothing in English by oversight", async () => {
  for (const tag of languages) {
    const words: Words = (await loadWords(tag)) ?? en;
    const categories = new Intl.PluralRules(tag).resolvedOptions().pluralCategories;
    let same = 0;
    for (const key of Object.keys(en) as (keyof Words)[]) {
      if (key === "units") continue;
      const [expected = ""] = formsOf(en[key]).slice(-1);
      for (const form of formsOf(words[key])) {
        assert.notEqual(form.trim(), "", `${tag} ${key}`);
        assert.doesNotMatch(form, / {2}|["']/, `${tag} ${key}`);
        // "One" and "two" may be words of their own.
        const isWord = typeof words[key] === "object" && form !== (words[key] as { other: string }).other;
        if (!isWord) assert.equal(placeholders(form), placeholders(expected), `${tag} ${key}`);
        if (tag !== "en" && form === expected && form.length > 16) same += 1;
      }
    }
    for (const key of ["noBackup", "alertBackup"] as const) {
      // A million and more read like "other".
      const needed = categories.filter((category) => category !== "many" || ["ar", "pl", "ru", "uk"].includes(tag));
      assert.deepEqual(needed.filter((category) => words[key][category] === undefined), [], `${tag} ${key}`);
    }
    assert.equal(same, 0, tag);
  }
});

test("the phone's locales choose the language", () => {
  const cases: readonly (readonly [readonly string[], string, string])[] = [
    [["de-AT", "en"], "de", "de-AT"], [["sv", "fr-CA"], "fr", "fr-CA"], [["pt-PT"], "pt-BR", "pt-PT"],
    [["zh-Hant-TW"], "zh-Hans", "zh-Hant-TW"], [["constructor", "x", ""], "en", "en"], [[], "en", "en"],
  ];
  for (const [locales, tag, locale] of cases) {
    const chosen = chooseLanguage(locales);
    assert.deepEqual([chosen.tag, chosen.locale], [tag, locale]);
  }
});

test("values are written as the language writes them", async () => {
  const at = new Date(2026, 10, 12, 1, 5, 9).getTime();
  const cases: readonly (readonly [string, string, string, string, string, string])[] = [
    // percent, temperature, 2 h 14 min, at 01:05, storage
    ["en", "78%", "97\u00a0°C", "2\u00a0h\u00a014\u00a0min", "Silent since 01:05.", "286\u00a0GB"],
    ["tr", "%78", "97\u00a0°C", "2\u00a0sa\u00a014\u00a0dk", "01:05 saatinden beri veri gelmiyor.", "286\u00a0GB"],
    ["es", "78\u00a0%", "97\u00a0°C", "2\u00a0h\u00a014\u00a0min", "Sin datos desde la 01:05.", "286\u00a0GB"],
    ["ja", "78%", "97\u00a0°C", "2時間14分", "01:05以降、受信していません。", "286\u00a0GB"],
    ["fr", "78\u00a0%", "97\u00a0°C", "2\u00a0h\u00a014\u00a0min", "Sans nouvelles depuis 01:05.", "286\u00a0Go"],
    ["pl", "78%", "97\u00a0°C", "2\u00a0h\u00a014\u00a0min", "Cisza od 01:05.", "286\u00a0GB"],
    ["ar-AE", "78%", "97\u00a0°C", "2\u00a0س\u00a014\u00a0د", "لا بيانات منذ \u206801:05\u2069.", "286\u00a0GB"],
    ["ar-EG", "٧٨٪", "٩٧\u00a0°C", "٢\u00a0س\u00a0١٤\u00a0د", "لا بيانات منذ \u2068٠١:٠٥\u2069.", "٢٨٦\u00a0GB"],
  ];
  for (const [locale, percent, celsius, duration, silent, bytes] of cases) {
    const language = chooseLanguage([locale]);
    const words = (await loadWords(language.tag)) ?? en;
    const texts = createTexts(words, language);
    const plain = (text: string): string => text.replace(/[\u200e\u200f\u061c]/g, "").replaceAll("\u202f", "\u00a0");
    assert.deepEqual(
      [texts.percent(78), texts.celsius(97), texts.duration(8040), texts.timed(words.silentSince, at), texts.bytes(286e9)].map(plain),
      [percent, celsius, duration, silent, bytes],
    );
  }
});

test("numbers that need no tables are those of Intl", () => {
  // Versions of Intl differ in which of two spaces they put before the French sign.
  const same = (text: string): string => text.replaceAll("\u202f", "\u00a0");
  for (const locale of plainLocales) {
    const texts = createTexts(en, { tag: "en", locale, rightToLeft: false });
    for (const digits of [0, 1, 2]) {
      const fraction = { minimumFractionDigits: digits, maximumFractionDigits: digits };
      const number = new Intl.NumberFormat(locale, { ...fraction, useGrouping: false });
      const percent = new Intl.NumberFormat(locale, { ...fraction, style: "percent" });
      for (const value of [-3.5, 0, 0.04, 0.5, 2.5, 7, 12.37, 99.95, 100, 1234.5]) {
        assert.equal(texts.number(value, digits), number.format(value), `${locale} ${value}`);
        if (value <= 100) assert.equal(same(texts.percent(value, digits)), same(percent.format(value / 100)), `${locale} ${value} %`);
      }
    }
    const parts = new Intl.NumberFormat(locale, { style: "percent" }).formatToParts(0.78);
    assert.deepEqual(
      texts.percentParts(78),
      parts.filter(({ type }) => type !== "literal").map(({ type, value }) => ({ unit: type === "percentSign", text: value })),
    );
    assert.match(texts.time(new Date(2026, 1, 3, 4, 5).getTime()), /^04:05$/);
  }
});

test("a value keeps to itself: minus zero, days, names in another direction", async () => {
  const texts = createTexts(en, chooseLanguage(["en"]));
  assert.equal(texts.number(-0.04, 1), "0.0");
  assert.equal(texts.duration(-5), "0\u00a0s");
  assert.equal(texts.duration(534_000), "6\u00a0d\u00a04\u00a0h");
  assert.equal(texts.duration(172_799), "47\u00a0h\u00a059\u00a0min");
  assert.equal(texts.fill("Remove {0}?", "\u05d0{1}"), "Remove \u2068\u05d0{1}\u2069?");
  assert.equal(texts.list(["a", undefined, "", "b"]), "a, b");
  assert.deepEqual(texts.percentParts(78), [{ unit: false, text: "78" }, { unit: true, text: "%" }]);
});
