import { bytesFromBase64 } from "../protocol/base64.js";
import { longestEndpoint } from "../protocol/push.js";
import { alertNumber, boolean, fields, known, list, number, text } from "../protocol/readers.js";
import { Database } from "./database.js";
import { Seal } from "./seal.js";
import { keptParts, type KeptPart, type Settings, type Storage, type StoredComputer, type Written } from "./storage.js";

/** Longer texts are not kept: a sample is well under 200 KiB. */
const longestKept = 512 * 1024;

/** Keeps in IndexedDB. What comes out of it is read like a stranger's. */
export function browserStorage(database = new Database()): Storage {
  const seal = new Seal(database);
  const place = (macId: string, part: KeptPart) => `${macId} ${part}`;
  return {
    async computers() {
      const read = (await database.all("computers")).map(readComputer).filter((computer) => computer !== undefined);
      return read.sort((a, b) => a.addedAtMs - b.addedAtMs);
    },
    async settings() {
      return readSettings(await database.get("settings", "settings"));
    },
    putComputer({ keys, ...rest }) {
      return database.put("computers", keys.macId, { ...keys, ...rest });
    },
    removeComputer(macId) {
      return database.remove(
        [["computers", macId], ...keptParts.map((part) => ["kept", place(macId, part)] as const)]);
    },
    changeSettings(changes) {
      // Those of another version stay as well, so they are not read first.
      return database.change("settings", "settings", (present) =>
        ({ ...(typeof present === "object" ? present : undefined), ...changes }));
    },
    async kept(macId, part) {
      const sealed = await database.get("kept", place(macId, part));
      return sealed === undefined ? undefined : seal.open(place(macId, part), sealed);
    },
    async keep(macId, part, plain): Promise<Written> {
      if (plain.length > longestKept) return "written";
      const sealed = await seal.close(place(macId, part), plain);
      return sealed === undefined ? "blocked" : database.put("kept", place(macId, part), sealed);
    },
    putWords(words) {
      return database.put("settings", "words", words);
    },
  };
}

/** Nothing when it is none. */
export function readComputer(value: unknown): StoredComputer | undefined {
  const field = fields(value);
  const macId = text(field?.("macId"));
  const encKey = field?.("encKey");
  const token = field?.("token");
  if (field === undefined || macId === undefined || bytesFromBase64(macId)?.length !== 16 ||
      !(encKey instanceof CryptoKey) || !(token instanceof Uint8Array) || token.length !== 32) {
    return undefined;
  }
  return {
    keys: { macId, encKey, token: new Uint8Array(token) },
    linkName: text(field("linkName"), 255) ?? "",
    addedAtMs: number(field("addedAtMs"), 0, 1e15) ?? 0,
    ...known({ ownName: text(field("ownName"), 255), lastAlert: alertNumber(field("lastAlert")) }),
  };
}

function readSettings(value: unknown): Settings {
  const field = fields(value) ?? (() => undefined);
  return {
    removed: list(field("removed"), (entry) => text(entry)),
    visits: number(field("visits"), 0, 1e9) ?? 0,
    ...known({
      chosen: text(field("chosen")),
      installDeclinedMs: number(field("installDeclinedMs"), 0, 1e15),
      wantsPush: boolean(field("wantsPush")),
      pushDeclinedMs: number(field("pushDeclinedMs"), 0, 1e15),
      pushEndpoint: text(field("pushEndpoint"), longestEndpoint),
      pushKey: readKey(field("pushKey")),
      pushToldMs: number(field("pushToldMs"), 0, 1e15),
      isPushStale: boolean(field("isPushStale")),
    }),
  };
}

function readKey(value: unknown): Uint8Array<ArrayBuffer> | undefined {
  return value instanceof Uint8Array && value.length === 65 ? new Uint8Array(value) : undefined;
}
