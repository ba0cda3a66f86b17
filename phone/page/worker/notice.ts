import { openEnvelope } from "../protocol/envelope.js";
import type { Alert } from "../protocol/alert.js";
import { readPushed, type Pushed } from "../protocol/push.js";
import { readAlert } from "../protocol/readAlert.js";
import { fields, json, list, number, text } from "../protocol/readers.js";
import type { Storage, StoredComputer } from "../storage/storage.js";
import { alertDetail } from "../words/alertDetail.js";
import { alertTitle } from "../words/alertTitle.js";
import { en, type Words } from "../words/en.js";
import type { Language } from "../words/languages.js";
import { createTexts, type Texts } from "../words/texts.js";

/** What the page has left for its worker. */
export interface Known extends Pick<Storage, "computers" | "kept"> {
  /** As the page has kept them: its language and its words. */
  words(): Promise<unknown>;
}

/** What a notification is about; kept with it. */
export interface About {
  /** The computer that a tap opens. */
  readonly macId?: string;
  readonly number?: number;
  /** Of the alert, by the computer's clock. */
  readonly epochMs?: number;
}

/** A notification, ready to be shown. */
export interface Notice {
  readonly title: string;
  readonly body: string;
  /** One notification for each; a later one takes the place of an earlier one. */
  readonly tag: string;
  readonly lang: string;
  readonly dir: "ltr" | "rtl";
  readonly about: About;
  /** The phone is to make itself heard. */
  readonly isNews: boolean;
  /** The page has this very alert already. */
  readonly isHad: boolean;
}

/** Later the hour has to be told: the phone was off, or somebody pushes an old alert again. */
const oldAfterMs = 10 * 60_000;

/** What to show of a pushed message. Never rejects: what cannot be read has its own words, or at least a name. */
export async function noticeOf(data: string, known: Known, nowMs: number): Promise<Notice> {
  const pushed = readPushed(data);
  const texts = await readTexts(known);
  const computer = await attempt(async () => (await known.computers()).find(({ keys }) => keys.macId === pushed.macId));
  return (await attempt(() => alertNotice(pushed, computer, texts, known, nowMs))) ?? closed(pushed, computer, texts);
}

/** Whether what is shown under the same tag is newer. A computer's clock may be set back, a relay may count anew: not both. */
export function isNewer(shown: unknown, { epochMs, number: counted }: About): boolean {
  const field = fields(shown);
  const shownMs = number(field?.("epochMs"), 0, Infinity);
  const shownNumber = number(field?.("number"), 0, Infinity);
  if (shownMs === undefined || epochMs === undefined || shownMs < epochMs) return false;
  return shownNumber === undefined || counted === undefined ? shownMs > epochMs : shownNumber > counted;
}

async function alertNotice(
  pushed: Pushed, computer: StoredComputer | undefined, texts: Texts, known: Known, nowMs: number,
): Promise<Notice | undefined> {
  if (pushed.envelope === undefined || computer === undefined) return undefined;
  const opened = await openEnvelope(pushed.envelope, computer.keys);
  const alert = "kind" in opened && opened.kind === "a" ? readAlert(json(opened.payload)?.value) : undefined;
  if (alert === undefined) return undefined;
  const { macId } = computer.keys;
  const isHad = hasAlert(await attempt(() => known.kept(macId, "alerts")), alert);
  const at = nowMs - alert.epochMs > oldAfterMs ? texts.dateTime(alert.epochMs) : undefined;
  return {
    title: alertTitle(alert, texts),
    body: [nameOf(computer, texts), alertDetail(alert, undefined, texts), at].filter((line) => line !== undefined).join("\n"),
    tag: `${macId} ${alert.kind}`,
    ...spoken(texts),
    about: { macId, epochMs: alert.epochMs, ...(pushed.number === undefined ? {} : { number: pushed.number }) },
    isNews: alert.state === "raised" && !isHad,
    isHad,
  };
}

/** Nothing in it is known to be true, so it names no computer, and all of them are one. */
function closed(pushed: Pushed, computer: StoredComputer | undefined, texts: Texts): Notice {
  return {
    title: "Orvik",
    body: texts.w.alertUnread,
    tag: "closed",
    ...spoken(texts),
    about: computer === undefined || pushed.macId === undefined ? {} : { macId: pushed.macId },
    isNews: false,
    isHad: false,
  };
}

function spoken({ language }: Texts): Pick<Notice, "lang" | "dir"> {
  return { lang: language.tag, dir: language.rightToLeft ? "rtl" : "ltr" };
}

function nameOf({ ownName, linkName }: StoredComputer, texts: Texts): string {
  return (ownName ?? linkName) || texts.w.thisComputer;
}

/** English where the page has left nothing that can be used. */
async function readTexts(known: Known): Promise<Texts> {
  const field = fields(await attempt(() => known.words()));
  const language = fields(field?.("language"));
  const [tag, locale] = [text(language?.("tag")), text(language?.("locale"))];
  const words = field?.("words");
  const own: Language | undefined = tag === undefined || locale === undefined || !isLocale(locale) ? undefined
    : { tag, locale, rightToLeft: language?.("rightToLeft") === true };
  if (own === undefined || fields(words) === undefined) return createTexts(en, { tag: "en", locale: "en", rightToLeft: false });
  return createTexts(likeEnglish(words) as Words, own);
}

function isLocale(locale: string): boolean {
  try {
    return Intl.NumberFormat.supportedLocalesOf(locale).length <= 1;
  } catch {
    return false;
  }
}

/** The words that the page has left, perhaps an older one: what it did not have yet, or not like this, is English. */
function likeEnglish(words: unknown): object {
  const kept = fields(words);
  return Object.fromEntries(Object.entries(en).map(([key, english]) => {
    const own = kept?.(key);
    if (typeof english === "string") return [key, typeof own === "string" ? own : english];
    const forms = fields(own);
    const isLike = forms !== undefined && Object.keys(english).every((form) => form === "one" || typeof forms(form) === "string");
    return [key, isLike ? own : english];
  }));
}

function hasAlert(kept: string | undefined, { kind, epochMs }: Alert): boolean {
  const entries = list(kept === undefined ? undefined : fields(json(kept)?.value)?.("alerts"), (entry) => {
    const payload = fields(entry)?.("payload");
    return typeof payload === "string" ? readAlert(json(payload)?.value) : undefined;
  });
  return entries.some((each) => each.kind === kind && each.epochMs === epochMs);
}

async function attempt<Result>(make: () => Promise<Result>): Promise<Result | undefined> {
  try {
    return await make();
  } catch {
    return undefined;
  }
}
