import assert from "node:assert/strict";
import { test } from "node:test";
import { base64url } from "../protocol/base64.js";
import { deriveKeys } from "../protocol/keys.js";
import { isNewer, noticeOf } from "../worker/notice.js";
import { en } from "../words/en.js";
import { chooseLanguage, loadWords } from "../words/languages.js";
import { FakeStorage } from "./fakes.js";
import { pushed, sealed } from "./sealed.js";

const now = 1_800_000_000_000;
const bytes = (seed: number, length: number) => new Uint8Array(length).fill(seed);
const idOf = (seed: number) => base64url(bytes(seed, 16));
const hot = { kind: "temp_high", state: "raised", epoch_ms: now - 5000, value: 96.8, threshold: 95 };
const back = { kind: "on_battery", state: "cleared", epoch_ms: now };

/** A phone with the computers 1 "Studio" and 2, which has a name of its own. */
async function phone(locale = "en") {
  const storage = new FakeStorage();
  for (const [seed, names] of [[1, { linkName: "Studio" }], [2, { linkName: "b", ownName: "Attic" }], [3, { linkName: "" }]] as const) {
    await storage.putComputer({ keys: await deriveKeys(idOf(seed), bytes(seed, 32)), addedAtMs: 0, ...names });
  }
  const language = chooseLanguage([locale]);
  const words: unknown = { language, words: (await loadWords(language.tag)) ?? en };
  return { storage, words };
}

const fromMac = async (seed: number, payload: object | string, kind: "s" | "a" = "a", key = seed) =>
  pushed(idOf(seed), 7, await sealed(kind, payload, bytes(seed, 16), bytes(key, 32)));

test("an alert is told in the phone's language, with the computer's name; one notification for each kind and computer", async () => {
  for (const [locale, seed, alert, title, body] of [
    ["en", 1, hot, "Too hot: 96.8 °C", "Studio\nA minute at 95 °C or more"],
    ["de-DE", 2, { ...hot, threshold: undefined }, "Zu heiß: 96,8 °C", "Attic\nEine Minute bei 95 °C oder mehr"],
    ["tr", 1, { kind: "battery_low", state: "raised", epoch_ms: now, value: 12, battery_min: 40 }, "Pil düşük: %12", "Studio\n40 dk kaldı"],
    ["ja", 3, { kind: "disk_full", state: "raised", epoch_ms: now }, "ディスクがほぼいっぱいです", "このコンピューター"],
    ["ar", 1, { kind: "time_machine", state: "raised", epoch_ms: now, value: 30 }, undefined, "Studio"],
    ["en", 1, back, "Back on mains power", "Studio"],
  ] as const) {
    const { storage, words } = await phone(locale);
    const notice = await noticeOf(await fromMac(seed, alert),
      { computers: storage.computers, kept: storage.kept, words: () => Promise.resolve(words) }, now);
    assert.deepEqual(
      [notice.title.replaceAll("\u00a0", " "), notice.body.replaceAll("\u00a0", " "), notice.tag, notice.isNews, notice.lang, notice.dir],
      [title ?? notice.title, body, `${idOf(seed)} ${alert.kind}`, alert.state === "raised", chooseLanguage([locale]).tag, locale === "ar" ? "rtl" : "ltr"]);
    assert.ok(!notice.title.includes("{") && notice.title !== "Orvik", notice.title);
    assert.deepEqual(notice.about, { macId: idOf(seed), epochMs: alert.epoch_ms, number: 7 });
  }
});

test("what cannot be opened or read, for whatever reason, is told as that and names no computer", async () => {
  const { storage, words } = await phone();
  const known = { computers: storage.computers, kept: storage.kept, words: () => Promise.resolve(words) };
  const broken = { ...known, computers: () => Promise.reject(new Error("locked")) };
  for (const [data, from, mac, body] of [
    [await fromMac(1, hot, "a", 2), known, idOf(1), en.alertUnread],
    [await fromMac(1, hot, "s"), known, idOf(1), en.alertUnread],
    [await fromMac(1, "no JSON"), known, idOf(1), en.alertUnread],
    [await fromMac(1, { ...hot, kind: "volcano" }), known, idOf(1), en.alertUnread],
    [pushed(idOf(1), 7), known, idOf(1), en.alertUnread],
    [pushed(idOf(1), 7, "x".repeat(4000)), known, idOf(1), en.alertUnread],
    [await fromMac(9, hot), known, undefined, en.alertUnread],
    ["", known, undefined, en.alertUnread],
    ["\u0000{[", known, undefined, en.alertUnread],
    ['{"notification":{"data":{"mac":{},"number":-1,"envelope":5}}}', known, undefined, en.alertUnread],
    [await fromMac(1, hot), broken, undefined, en.alertUnread],
  ] as const) {
    const { title, body: said, tag, about, isNews } = await noticeOf(data, from, now);
    assert.deepEqual([title, said, tag, about, isNews], ["Orvik", body, "closed", mac === undefined ? {} : { macId: mac }, false], data);
  }
  for (const left of [undefined, 5, { words: {}, language: { tag: "de", locale: "x".repeat(99) } },
    { words: { alertTooHot: 5, alertBackup: { one: "x" }, units: {} }, language: { tag: "en", locale: "en" } }]) {
    const { title } = await noticeOf(await fromMac(1, hot), { ...known, words: () => Promise.resolve(left) }, now);
    assert.equal(title, "Too hot: 96.8\u00a0°C");
  }
});

test("what the page has had is no news, an old one says when it was, and an older one never hides a newer", async () => {
  const { storage, words } = await phone();
  const known = { computers: storage.computers, kept: storage.kept, words: () => Promise.resolve(words) };
  await storage.keep(idOf(1), "alerts", JSON.stringify({ alerts: [{ payload: "x" }, { payload: JSON.stringify(hot), isSeen: false }] }));
  for (const [seed, alert, isHad] of [[1, hot, true], [2, hot, false], [1, { ...hot, epoch_ms: now }, false]] as const) {
    const notice = await noticeOf(await fromMac(seed, alert), known, now);
    assert.deepEqual([notice.isHad, notice.isNews], [isHad, !isHad]);
  }
  assert.match((await noticeOf(await fromMac(2, { ...hot, epoch_ms: now - 3_600_000 }), known, now)).body, /^Attic\n.*\nJanuary 15, \d\d:\d\d$/);

  const shown = { macId: idOf(1), epochMs: now, number: 7 };
  for (const [epochMs, number, isOlder] of [
    [now - 1, 6, true], [now - 1, undefined, true], [now, 7, false], [now + 1, 8, false], [now - 1, 8, false], [now + 1, 6, false],
  ] as const) {
    assert.equal(isNewer(shown, { epochMs, ...(number === undefined ? {} : { number }) }), isOlder, `${epochMs - now} ${number ?? ""}`);
  }
  assert.ok(!isNewer(null, shown) && !isNewer({ epochMs: "x" }, shown) && !isNewer(shown, {}));
});
