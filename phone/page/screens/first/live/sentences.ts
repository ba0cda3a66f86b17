// A verdict in words. Whole sentences only; which of them applies is decided in state/.

import type { FirstSentence, Phase, SecondSentence } from "../../../state/view.js";
import type { Texts } from "../../../words/texts.js";

const dayMs = 86_400_000;
/** From here on an age says less than a date. */
const longAgoMs = 2 * dayMs;

export function firstSentence(sentence: FirstSentence, texts: Texts, name: string): string {
  const { w, fill, percent, celsius } = texts;
  switch (sentence.key) {
    case "allIsWell":
      return w.allWell;
    case "tooHot":
      return fill(w.tooHot, celsius(sentence.celsius));
    case "warm":
      return fill(w.warm, celsius(sentence.celsius));
    case "batteryLow":
      return fill(w.batteryLow, percent(sentence.percent));
    case "onBattery":
      return fill(w.onBattery, percent(sentence.percent));
    case "diskNearlyFull":
      return w.diskNearlyFull;
    case "noBackup":
      return texts.count(w.noBackup, sentence.days);
    case "connectingTo":
      return name === "" ? w.connecting : fill(w.connectingTo, name);
    case "waiting":
      return w.waiting;
    case "noContact":
      return w.noContact;
    case "noConnection":
      return w.noConnection;
    case "linkReplaced":
      return w.linkReplaced;
    case "foreign":
      return w.otherLink;
  }
}

export function secondSentence(sentence: SecondSentence, texts: Texts, nowMs: number): string {
  const { w, fill, timed, duration } = texts;
  switch (sentence.key) {
    case "busy":
      return sentence.sinceMs === undefined ? w.busy : timed(w.busySince, sentence.sinceMs);
    case "atWork":
      return sentence.sinceMs === undefined ? w.atWork : timed(w.atWorkSince, sentence.sinceMs);
    case "quiet":
      return sentence.sinceMs === undefined ? w.quiet : timed(w.quietSince, sentence.sinceMs);
    case "lastReading":
      return sentence.ageMs < longAgoMs
        ? fill(w.lastReadingAgo, duration(sentence.ageMs / 1000))
        : fill(w.lastReadingAt, texts.dateTime(nowMs - sentence.ageMs));
    case "silentSince":
      return nowMs - sentence.atMs < dayMs
        ? timed(w.silentSince, sentence.atMs)
        : fill(w.silentSinceDate, texts.dateTime(sentence.atMs));
    case "scanNewCode":
      return w.scanNewCodeThere;
    case "scanAgain":
      return w.scanAgain;
  }
}

/** When a reading was taken that is no longer live: the time, after a day the date as well. */
export function takenAt(atMs: number, nowMs: number, texts: Texts): string {
  return nowMs - atMs < dayMs ? texts.timed(texts.w.atTime, atMs) : texts.fill(texts.w.atDate, texts.dateTime(atMs));
}

/** How old values are: a duration, after two days a date. */
export function ageText(ageMs: number, nowMs: number, texts: Texts): string {
  return ageMs < longAgoMs ? texts.fill(texts.w.ago, texts.duration(ageMs / 1000)) : texts.dateTime(nowMs - ageMs);
}

/** The note over values that are no longer live, its age apart so that it can be set in bold. */
export function lastKnown(atMs: number, nowMs: number, texts: Texts): readonly [before: string, age: string, after: string] {
  const isLong = nowMs - atMs >= longAgoMs;
  const [before = "", after = ""] = (isLong ? texts.w.lastKnownDate : texts.w.lastKnown).split("{0}");
  return [before, isLong ? texts.dateTime(atMs) : texts.duration((nowMs - atMs) / 1000), after];
}

/** Why there is no contact and what to do about it, in a sentence or two. */
export function awayHelp(phase: Phase, texts: Texts): string | undefined {
  switch (phase) {
    case "offline":
      return texts.w.computerAway;
    case "unreachable":
      return texts.w.relayAwayHelp;
    case "noNetwork":
      return texts.w.noNetworkHelp;
    default:
      return undefined;
  }
}

/** Values of these phases are the last known ones, and each says its time. */
export function isStill(phase: Phase): boolean {
  return phase === "offline" || phase === "unreachable" || phase === "noNetwork" || phase === "foreign";
}
