/** The published vectors against the page's own code. Runs in Node and in browsers. */
import { base64url, bytesFromBase64 } from "../protocol/base64.js";
import { openEnvelope, unseal } from "../protocol/envelope.js";
import { authentication, deriveKeys, hkdf, keyMaterial } from "../protocol/keys.js";
import { readLink } from "../protocol/link.js";

export interface Vectors {
  /** The lines of docs/protocol.md: name and value. */
  readonly protocol: Readonly<Record<string, string>>;
  /** Public suites, where they are there. */
  readonly aesGcm?: Suite<AesGcmTest>;
  readonly hkdf?: Suite<HkdfTest>;
}

interface Suite<Test> {
  readonly testGroups: readonly { readonly keySize: number; readonly ivSize?: number; readonly tests: readonly Test[] }[];
}
interface AesGcmTest {
  readonly tcId: number; readonly key: string; readonly iv: string; readonly aad: string; readonly msg: string;
  readonly ct: string; readonly tag: string; readonly result: string;
}
interface HkdfTest {
  readonly tcId: number; readonly ikm: string; readonly salt: string; readonly info: string; readonly size: number;
  readonly okm: string; readonly result: string;
}

const bytes = (hex: string) => Uint8Array.from(hex.match(/../g) ?? [], (pair) => parseInt(pair, 16));
const hex = (buffer: ArrayBuffer | Uint8Array) =>
  Array.from(new Uint8Array(buffer), (byte) => byte.toString(16).padStart(2, "0")).join("");

/** What went wrong, and how many cases there were. */
export async function cryptoFailures(vectors: Vectors): Promise<{ failures: string[]; cases: number }> {
  const failures: string[] = [];
  let cases = 0;
  const expect = (what: string, got: unknown, wanted: unknown) => {
    cases++;
    if (got !== wanted) failures.push(`${what}: ${String(got)}, not ${String(wanted)}`);
  };
  await ownVectors(vectors.protocol, expect);
  for (const { keySize, ivSize, tests } of vectors.aesGcm?.testGroups ?? []) {
    // The envelope's own sizes; browsers differ in the others.
    if (keySize !== 256 || ivSize !== 96) continue;
    for (const test of tests) {
      const key = await crypto.subtle.importKey("raw", bytes(test.key), "AES-GCM", false, ["decrypt"]);
      const plain = await unseal(key, bytes(test.iv), bytes(test.aad), bytes(test.ct + test.tag));
      expect(`AES-GCM ${test.tcId}`, plain && hex(plain), test.result === "valid" ? test.msg : undefined);
    }
  }
  for (const { tests } of vectors.hkdf?.testGroups ?? []) {
    for (const test of tests) {
      const derived = await keyMaterial(bytes(test.ikm))
        .then((key) => crypto.subtle.deriveBits(hkdf(bytes(test.salt), bytes(test.info)), key, test.size * 8))
        .then(hex, () => undefined);
      expect(`HKDF ${test.tcId}`, derived, test.result === "valid" ? test.okm : undefined);
    }
  }
  return { failures, cases };
}

type Expect = (what: string, got: unknown, wanted: unknown) => void;

async function ownVectors(own: Readonly<Record<string, string>>, expect: Expect): Promise<void> {
  const value = (name: string) => own[name] ?? "";
  const link = readLink(value("link"));
  if (typeof link === "string") return expect("link", link, "read");
  expect("name", link.name, value("name"));
  expect("macId", link.macId, base64url(bytes(value("macId"))));
  expect("secret", hex(link.secret), value("secret"));
  const keys = await deriveKeys(link.macId, link.secret);
  expect("authKey", hex(keys.token), value("authKey"));
  expect("auth", authentication(keys.token), value("auth"));
  expect("extractable", keys.encKey.extractable, false);
  const result = async (message: string, by = keys) => {
    const opened = await openEnvelope(message, by);
    return "failure" in opened ? opened.failure : opened.payload;
  };
  const envelope = value("envelope");
  const plain = value("plaintext");
  expect("envelope", await result(envelope), plain);
  const parts: Record<string, unknown> = JSON.parse(envelope);
  const changed = (change: Record<string, unknown>) => JSON.stringify({ ...parts, ...change });
  const otherId = `B${link.macId.slice(1)}`;
  const table: [string, string, string][] = [
    ["other kind", changed({ t: "a" }), "notAuthentic"],
    ["blanks and another order", JSON.stringify(Object.fromEntries(Object.entries(parts).reverse()), null, 2), plain],
    ["padded", changed({ c: `${String(parts["c"]).replaceAll("_", "/")}==`.replace(/={1,2}$/, "=".repeat((4 - String(parts["c"]).length % 4) % 4)) }), plain],
    ["no JSON", envelope.slice(1), "notJson"],
    ["no object", `[${envelope}]`, "malformed"],
    ["newer", changed({ v: 2 }), "malformed"],
    ["version as text", changed({ v: "1" }), "malformed"],
    ["kind unknown", changed({ t: "x" }), "malformed"],
    ["short nonce", changed({ n: "oKGio6Slpqeoqao" }), "malformed"],
    ["no base64", changed({ c: "g6hu6ekmnkyn58t zq95" }), "malformed"],
    ["shorter than a tag", changed({ c: "AAAA" }), "malformed"],
    ["list for text", changed({ c: [] }), "malformed"],
  ];
  for (const [what, message, wanted] of table) expect(what, await result(message), wanted);
  expect("another computer", await result(envelope, await deriveKeys(otherId, link.secret)), "notAuthentic");
  expect("another secret", await result(envelope, await deriveKeys(link.macId, new Uint8Array(32))), "notAuthentic");
  for (const member of ["n", "c"]) {
    const original = bytesFromBase64(String(parts[member])) ?? new Uint8Array();
    for (let bit = 0; bit < original.length * 8; bit++) {
      const flipped = original.slice();
      flipped[bit >> 3] = (flipped[bit >> 3] ?? 0) ^ (1 << (bit & 7));
      expect(`bit ${bit} of ${member}`, await result(changed({ [member]: base64url(flipped) })), "notAuthentic");
    }
  }
  for (let length = 16; length < (value("sealed").length / 2); length++) {
    const cut = base64url(bytes(value("sealed")).subarray(0, length));
    expect(`cut to ${length}`, await result(changed({ c: cut })), "notAuthentic");
  }
}
