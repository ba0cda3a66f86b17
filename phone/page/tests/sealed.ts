import { base64url } from "../protocol/base64.js";

/** An envelope as the computer with this identifier and this secret would send it. */
export async function sealed(
  kind: "s" | "a", payload: object | string, macId: Uint8Array<ArrayBuffer>, secret: Uint8Array<ArrayBuffer>,
): Promise<string> {
  const material = await crypto.subtle.importKey("raw", secret, "HKDF", false, ["deriveKey"]);
  const encKey = await crypto.subtle.deriveKey(
    { name: "HKDF", hash: "SHA-256", salt: macId, info: new TextEncoder().encode("orvik enc v1") },
    material, { name: "AES-GCM", length: 256 }, false, ["encrypt"]);
  const nonce = crypto.getRandomValues(new Uint8Array(12));
  const additionalData = new Uint8Array([kind.charCodeAt(0), ...macId]);
  const text = typeof payload === "string" ? payload : JSON.stringify(payload);
  const c = await crypto.subtle.encrypt({ name: "AES-GCM", iv: nonce, additionalData }, encKey, new TextEncoder().encode(text));
  return JSON.stringify({ c: base64url(new Uint8Array(c)), n: base64url(nonce), t: kind, v: 1 });
}

/** What a relay pushes of it. */
export function pushed(mac: string, number: number, envelope?: string): string {
  return JSON.stringify({
    mutable: true, notification: { data: { envelope, mac, number }, navigate: `/orvik/p?c=${mac}`, tag: `${mac}.${number}`, title: "Orvik" },
    web_push: 8030,
  });
}
