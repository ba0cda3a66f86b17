import { base64url, bytesFromBase64 } from "./base64.js";

/** What opens a computer's envelopes and lets the relay accept the phone. */
export interface Keys {
  readonly macId: string;
  /** AES-256-GCM, for decryption only, not extractable. */
  readonly encKey: CryptoKey;
  /** 32 bytes, shown to the relay. */
  readonly token: Uint8Array<ArrayBuffer>;
}

/** Derives both keys. Afterwards the secret is needed no more. */
export async function deriveKeys(macId: string, secret: Uint8Array<ArrayBuffer>): Promise<Keys> {
  const salt = bytesFromBase64(macId) ?? new Uint8Array();
  const base = await keyMaterial(secret);
  const [encKey, token] = await Promise.all([
    crypto.subtle.deriveKey(
      hkdf(salt, ascii("orvik enc v1")), base, { name: "AES-GCM", length: 256 }, false, ["decrypt"]),
    crypto.subtle.deriveBits(hkdf(salt, ascii("orvik auth v1")), base, 256),
  ]);
  return { macId, encKey, token: new Uint8Array(token) };
}

/** The message that authenticates to the relay. `last` is the number of the last alert that is known, or 0. */
export function authentication(token: Uint8Array, last?: number): string {
  return JSON.stringify({ auth: base64url(token), last });
}

/** The key that HKDF begins with. */
export function keyMaterial(bytes: Uint8Array<ArrayBuffer>): Promise<CryptoKey> {
  return crypto.subtle.importKey("raw", bytes, "HKDF", false, ["deriveKey", "deriveBits"]);
}

/** HKDF with SHA-256. */
export function hkdf(salt: Uint8Array<ArrayBuffer>, info: Uint8Array<ArrayBuffer>): HkdfParams {
  return { name: "HKDF", hash: "SHA-256", salt, info };
}

function ascii(text: string): Uint8Array<ArrayBuffer> {
  return new TextEncoder().encode(text);
}
