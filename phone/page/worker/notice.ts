import { openEnvelope } from "../protocol/envelope.js";
import type { Alert } from "../protocol/alert.js";
import { readPushed, type Pushed } from "../protocol/push.js";
import { readAlert } from "../protocol/readAlert.js";
import { fields, json, list, number, text } from "../protocol/readers.js";
import type { Storage, StoredComputer } from "../storage/storage.js";
import { alertDetail, alertTitle } from "../words/alertWords.js";
import type { Words } from "../words/en.js";
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
  const texts = await attempt(async () => readTexts(await known.words()));
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
  pushed: Pushed, computer: StoredComputer | undefined, texts: Texts | undefined, known: Known, nowMs: number,
): Promise<Notice | undefined> {
  if (pushed.envelope === undefined || computer === undefined || texts === undefined) return undefined;
  const opened = await openEnvelope(pushed.envelope, computer.keys);
  const alert = "kind" in opened && opened.kind === "a" ? readAlert(json(opened.payload)?.value) : undefined;
  if (alert === undefined) return undefined;
  const { macId } = computer.keys;
  const isHad = hasAlert(await attempt(() => known.kept(macId, "alerts")), alert);
  const { language } = texts;
  const at = nowMs - alert.epochMs > oldAfterMs ? texts.dateTime(alert.epochMs) : undefined;
  return {
    title: alertTitle(alert, texts),
    body: texts.list([nameOf(computer, texts), alertDetail(alert, undefined, texts), at]),
    tag: `${macId} ${alert.kind}`,
    lang: language.tag,
    dir: language.rightToLeft ? "rtl" : "ltr",
    about: { macId, epochMs: alert.epochMs, ...(pushed.number === undefined ? {} : { number: pushed.number }) },
    isNews: alert.state === "raised" && !isHad,
    isHad,
  };
}

/** Nothing in it is known to be true, so it names no computer, and all of them are one. */
function closed(pushed: Pushed, computer: StoredComputer | undefined, texts: Texts | undefined): Notice {
  return {
    title: "Orvik",
    body: texts?.w.alertSealed ?? "",
    tag: "closed",
    lang: texts?.language.tag ?? "",
    dir: texts?.language.rightToLeft === true ? "rtl" : "ltr",
    about: computer === undefined || pushed.macId === undefined ? {} : { macId: pushed.macId },
    isNews: false,
    isHad: false,
  };
}

function nameOf({ ownName, linkName }: StoredComputer, texts: Texts): string {
  return (ownName ?? linkName) || texts.w.thisComputer;
}

function readTexts(kept: unknown): Texts | undefined {
  const field = fields(kept);
  const tag = text(field?.("tag"));
  const locale = text(field?.("locale"));
  const words = field?.("words");
  if (tag === undefined || locale === undefined || fields(words) === undefined) return undefined;
  // Written by this page, perhaps by an older one: a word that it did not have yet is what `attempt` is for.
  return createTexts(words as Words, { tag, locale, rightToLeft: field?.("rightToLeft") === true });
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
