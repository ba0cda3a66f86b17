import { bytesFromBase64 } from "./base64.js";
import type { Keys } from "./keys.js";
import { fields, json, oneOf } from "./readers.js";

const kinds = ["s", "a", "c"] as const;
export type EnvelopeKind = (typeof kinds)[number];

export type OpenFailure = "notJson" | "malformed" | "notAuthentic";

export type Opened =
  | { readonly kind: EnvelopeKind; readonly payload: string }
  | { readonly failure: OpenFailure };

/** Opens an envelope. Nothing of it is used before its tag has been verified. Never rejects. */
export async function openEnvelope(message: string, keys: Keys): Promise<Opened> {
  const parsed = json(message);
  if (parsed === undefined) return { failure: "notJson" };
  const field = fields(parsed.value);
  const kind = oneOf(kinds, field?.("t"));
  const nonce = bytes(field?.("n"));
  const sealed = bytes(field?.("c"));
  if (field?.("v") !== 1 || kind === undefined || nonce?.length !== 12 || sealed === undefined ||
      sealed.length < 16) {
    return { failure: "malformed" };
  }
  try {
    const plain = await crypto.subtle.decrypt(
      { name: "AES-GCM", iv: nonce, additionalData: additionalData(kind, keys.macId) },
      keys.encKey, sealed);
    return { kind, payload: new TextDecoder().decode(plain) };
  } catch {
    return { failure: "notAuthentic" };
  }
}

function additionalData(kind: EnvelopeKind, macId: string): Uint8Array<ArrayBuffer> {
  const data = new Uint8Array(17);
  data[0] = kind.charCodeAt(0);
  data.set(bytesFromBase64(macId) ?? [], 1);
  return data;
}

function bytes(value: unknown): Uint8Array<ArrayBuffer> | undefined {
  return typeof value === "string" ? bytesFromBase64(value) : undefined;
}
