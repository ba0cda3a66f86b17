/** Runs in a page of a real browser: the published vectors, and the storage on its own database. */
import { base64url } from "../protocol/base64.js";
import { deriveKeys } from "../protocol/keys.js";
import { browserStorage } from "../storage/browserStorage.js";
import type { StoredComputer } from "../storage/storage.js";
import { de } from "../words/de.js";
import { en } from "../words/en.js";
import { cryptoFailures, type Vectors } from "./cryptoCases.js";
import { pushed, sealed } from "./sealed.js";

export interface Result { readonly cases: number; readonly failures: string[] }

export async function crypto(vectors: Vectors): Promise<Result> {
  return cryptoFailures(vectors);
}

export async function storage(): Promise<Result> {
  const failures: string[] = [];
  let cases = 0;
  const expect = (what: string, got: unknown, wanted: unknown) => {
    cases++;
    if (JSON.stringify(got) !== JSON.stringify(wanted)) failures.push(`${what}: ${JSON.stringify(got)}, not ${JSON.stringify(wanted)}`);
  };
  const macId = "AAECAwQFBgcICQoLDA0ODw";
  const computer: StoredComputer = { keys: await deriveKeys(macId, new Uint8Array(32)), linkName: "one", addedAtMs: 5 };
  const first = browserStorage();
  expect("nothing at first", [await first.computers(), await first.settings(), await first.kept(macId, "sample")],
    [[], { removed: [], visits: 0 }, undefined]);
  expect("writes", await Promise.all([
    first.putComputer(computer), first.keep(macId, "sample", "secret reading"),
    first.changeSettings({ removed: ["x"], wantsPush: true, chosen: macId }),
    // Another page of the same phone, at the same time.
    browserStorage().changeSettings({ visits: 3, wantsPush: false }),
  ]), ["written", "written", "written", "written"]);
  const second = browserStorage();
  const [read] = await second.computers();
  expect("pairing", [read?.keys.macId, read?.keys.encKey.extractable, read?.keys.token.length, read?.linkName], [macId, false, 32, "one"]);
  expect("settings", await second.settings(), { removed: ["x"], visits: 3, chosen: macId, wantsPush: false });
  expect("kept", await second.kept(macId, "sample"), "secret reading");
  const raw = await rawKept();
  expect("sealed", raw.length === 1 && !new TextDecoder().decode(raw[0]).includes("secret"), true);
  // Moved to another place it opens no more.
  await put("kept", `${macId} history`, raw[0]);
  expect("bound to its place", await second.kept(macId, "history"), undefined);
  await put("computers", "damaged", { macId: 5, encKey: {}, token: "x" });
  await put("settings", "settings", { removed: "all", visits: -4, chosen: ["x"] });
  expect("damaged is left out", [(await second.computers()).length, await second.settings()], [1, { removed: [], visits: 0 }]);
  expect("removed", [await second.removeComputer(macId), await second.kept(macId, "sample"), (await second.computers()).length],
    ["written", undefined, 0]);
  Object.defineProperty(globalThis, "indexedDB", { value: { open() { throw new DOMException("no", "SecurityError"); } } });
  const blocked = browserStorage();
  expect("blocked", [await blocked.computers(), await blocked.putComputer(computer), await blocked.keep(macId, "sample", "x")],
    [[], "blocked", "blocked"]);
  return { cases, failures };
}

const bytes = (seed: number, length: number) => new Uint8Array(length).fill(seed);
const idOf = (seed: number) => base64url(bytes(seed, 16));

/** What the worker says of what it cannot read. */
export const unread = en.alertUnread;

/** A phone with the computers 1 and 2, whose page has been used in this language. */
export async function seed(tag: "en" | "de"): Promise<void> {
  const kept = browserStorage();
  for (const [seed, linkName] of [[1, "Studio"], [2, "Attic"]] as const) {
    await kept.putComputer({ keys: await deriveKeys(idOf(seed), bytes(seed, 32)), linkName, addedAtMs: seed });
  }
  await kept.changeSettings({ removed: [], visits: 1, wantsPush: true, pushEndpoint: "https://push.example/old", pushKey: bytes(4, 65) });
  await kept.putWords({ words: tag === "en" ? en : de, language: { tag, locale: tag, rightToLeft: false } });
}

/** The page has taken this alert in. */
export async function keepAlert(seed: number, payload: object): Promise<void> {
  await browserStorage().keep(idOf(seed), "alerts", JSON.stringify({ alerts: [{ payload: JSON.stringify(payload), isSeen: true }] }));
}

/** What is pushed of an alert of computer `seed`; without an alert only that there is one. */
export async function pushedAlert(
  seed: number, count: number, payload?: object, keySeed = seed, kind: "s" | "a" = "a",
): Promise<string> {
  return pushed(idOf(seed), count, payload && await sealed(kind, payload, bytes(seed, 16), bytes(keySeed, 32)));
}

function database(): Promise<IDBDatabase> {
  return new Promise((resolve, reject) => {
    const request = opener.open("orvik");
    request.onsuccess = () => { resolve(request.result); };
    request.onerror = () => { reject(request.error ?? new Error("no database")); };
  });
}

const opener = indexedDB;

async function rawKept(): Promise<Uint8Array[]> {
  const store = (await database()).transaction("kept").objectStore("kept");
  return new Promise((resolve) => {
    const request = store.getAll();
    request.onsuccess = () => { resolve(request.result as Uint8Array[]); };
  });
}

async function put(name: string, key: string, value: unknown): Promise<void> {
  const transaction = (await database()).transaction(name, "readwrite");
  transaction.objectStore(name).put(value, key);
  await new Promise((resolve) => { transaction.oncomplete = resolve; });
}
