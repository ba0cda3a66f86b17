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
  const plain = await unseal(keys.encKey, nonce, additionalData(kind, keys.macId), sealed);
  return plain === undefined ? { failure: "notAuthentic" } : { kind, payload: new TextDecoder().decode(plain) };
}

/** AES-GCM with a tag of 16 bytes at the end of `sealed`. Nothing when the tag is wrong. */
export async function unseal(
  key: CryptoKey, nonce: Uint8Array<ArrayBuffer>, additionalData: Uint8Array<ArrayBuffer>,
  sealed: Uint8Array<ArrayBuffer>,
): Promise<ArrayBuffer | undefined> {
  try {
    return await crypto.subtle.decrypt({ name: "AES-GCM", iv: nonce, additionalData }, key, sealed);
  } catch {
    return undefined;
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
