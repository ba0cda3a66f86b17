import type { Alert } from "../protocol/alert.js";
import { openEnvelope } from "../protocol/envelope.js";
import { readAlert } from "../protocol/readAlert.js";
import { alertNumber, fields, json, list, text } from "../protocol/readers.js";
import type { Storage, StoredComputer } from "../storage/storage.js";
import { alertDetail, alertTitle } from "../words/alertWords.js";
import { en, type Words } from "../words/en.js";
import type { Language } from "../words/languages.js";
import { createTexts, type Texts } from "../words/texts.js";

/** What is shown of a pushed alert. */
export interface AlertNotification {
  readonly title: string;
  readonly body: string;
  /** The newest with the same one takes the place of the others. */
  readonly tag: string;
  readonly language: Language;
  readonly macId: string | undefined;
  /** By the computer's clock; absent when the alert could not be opened. */
  readonly alert: Alert | undefined;
  readonly number: number;
  /** The page has taken it in already. */
  readonly isKnown: boolean;
}

/**
 * Reads what a push service has brought: a stranger's until its envelope has opened. There is always
 * something to show, as browsers demand it. `words` are what the page has kept of its own.
 */
export async function notificationOf(
  pushed: string, storage: Pick<Storage, "computers" | "kept">, words: unknown,
): Promise<AlertNotification> {
  const data = fields(fields(fields(json(pushed)?.value)?.("notification"))?.("data"));
  const named = text(data?.("mac"));
  const number = alertNumber(data?.("number")) ?? 0;
  const computer = (await storage.computers()).find(({ keys }) => keys.macId === named);
  const alert = computer === undefined ? undefined : await opened(computer, data?.("envelope"));
  const texts = textsOf(words);
  const name = computer?.ownName ?? computer?.linkName;
  const macId = computer?.keys.macId;
  return {
    title: alert === undefined ? texts.w.alertUnread : alertTitle(alert, texts),
    body: texts.list([name, alert === undefined ? undefined : alertDetail(alert, undefined, texts)]),
    tag: `${macId ?? ""} ${alert?.kind ?? ""}`,
    language: texts.language,
    macId,
    alert,
    number,
    isKnown: macId !== undefined && alert !== undefined && isKept(await storage.kept(macId, "alerts"), alert),
  };
}

async function opened({ keys }: StoredComputer, envelope: unknown): Promise<Alert | undefined> {
  if (typeof envelope !== "string") return undefined;
  const result = await openEnvelope(envelope, keys);
  return "failure" in result || result.kind !== "a" ? undefined : readAlert(json(result.payload)?.value);
}

function isKept(kept: string | undefined, alert: Alert): boolean {
  return list(fields(json(kept ?? "")?.value)?.("alerts"), (entry) => fields(entry)).some((entry) => {
    const payload = entry("payload");
    const other = typeof payload === "string" ? readAlert(json(payload)?.value) : undefined;
    return other?.kind === alert.kind && other.epochMs === alert.epochMs;
  });
}

/** English where the page has kept nothing, or less than there is by now. */
function textsOf(kept: unknown): Texts {
  const field = fields(kept);
  const language = fields(field?.("language"));
  const [tag, locale] = [text(language?.("tag")), text(language?.("locale"))];
  const words = fields(field?.("words"));
  const english = { words: en as Words, language: { tag: "en", locale: "en", rightToLeft: false } };
  if (words === undefined || tag === undefined || locale === undefined) return createTexts(english.words, english.language);
  const own = Object.fromEntries(Object.entries(en).map(([key, value]) => [key, alike(words(key), value)])) as Words;
  try {
    new Intl.NumberFormat(locale);
    return createTexts(own, { tag, locale, rightToLeft: language?.("rightToLeft") === true });
  } catch {
    return createTexts(english.words, english.language);
  }
}

/** What was kept, when it is of the form of the English words. */
function alike(kept: unknown, english: string | object): unknown {
  if (typeof english === "string") return typeof kept === "string" ? kept : english;
  const forms = fields(kept);
  const isWhole = forms !== undefined && Object.keys(english).every((key) => key === "one" || typeof forms(key) === "string");
  return isWhole && Object.values(kept as object).every((form) => typeof form === "string") ? kept : english;
}
