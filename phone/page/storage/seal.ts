import type { Database } from "./database.js";

/** Seals what is kept with a key of the page's own, which cannot be read out of the browser. */
export class Seal {
  private key: Promise<CryptoKey | undefined> | undefined;

  constructor(private readonly database: Database) {}

  /** `place` is bound to it: what was kept there opens nowhere else. */
  async close(place: string, text: string): Promise<Uint8Array<ArrayBuffer> | undefined> {
    const key = await this.pageKey();
    if (key === undefined) return undefined;
    const nonce = crypto.getRandomValues(new Uint8Array(12));
    const sealed = await crypto.subtle.encrypt(parameters(place, nonce), key, new TextEncoder().encode(text));
    const both = new Uint8Array(nonce.length + sealed.byteLength);
    both.set(nonce);
    both.set(new Uint8Array(sealed), nonce.length);
    return both;
  }

  /** Nothing when it does not open. */
  async open(place: string, both: unknown): Promise<string | undefined> {
    const key = await this.pageKey();
    if (key === undefined || !(both instanceof Uint8Array) || both.length < 28) return undefined;
    const bytes = new Uint8Array(both);
    try {
      const plain = await crypto.subtle.decrypt(
        parameters(place, bytes.subarray(0, 12)), key, bytes.subarray(12));
      return new TextDecoder().decode(plain);
    } catch {
      return undefined;
    }
  }

  private pageKey(): Promise<CryptoKey | undefined> {
    return (this.key ??= this.findKey());
  }

  private async findKey(): Promise<CryptoKey | undefined> {
    const present = await this.database.get("settings", "pageKey");
    if (present instanceof CryptoKey) return present;
    const fresh = await crypto.subtle.generateKey({ name: "AES-GCM", length: 256 }, false, ["encrypt", "decrypt"]);
    // Two tabs may both make one: the first that is stored counts.
    const stored = await this.database.getOrAdd("settings", "pageKey", fresh);
    return stored instanceof CryptoKey ? stored : undefined;
  }
}

function parameters(place: string, iv: Uint8Array<ArrayBuffer>): AesGcmParams {
  return { name: "AES-GCM", iv, additionalData: new TextEncoder().encode(place) };
}
