import { base64url, bytesFromBase64 } from "./base64.js";
import { text } from "./readers.js";

/** What a scanned link says. */
export interface PairingLink {
  /** base64url of the identifier: the computer's name towards the relay, and here. */
  readonly macId: string;
  readonly secret: Uint8Array<ArrayBuffer>;
  /** Fit to be shown; empty when the link names no computer. */
  readonly name: string;
}

export type LinkFault = "damaged" | "newer";

/** Longer links are refused unread. */
const longestLink = 4096;

/** The page's address for one of its computers. Not in the fragment, which is a link's. */
export function computerAddress(macId: string): string {
  return `/orvik/p?c=${macId}`;
}

/** The identifier that the page's address names, of its query with "?"; perhaps none of the page's. */
export function readQuery(query: string): string | undefined {
  return /^\?c=([\w-]{22})$/.exec(query)?.[1];
}

/** Reads the fragment of a link, without its "#". */
export function readFragment(fragment: string): PairingLink | LinkFault {
  if (fragment.length > longestLink) return "damaged";
  const parts = /^(\d{1,9})\.([^.]*)\.([^.]*)\.(.*)$/s.exec(fragment);
  const version = parts?.[1] ?? /^(\d{1,9})\./.exec(fragment)?.[1];
  if (version !== undefined && Number(version) > 1) return "newer";
  const [, , macId = "", secretText = "", name = ""] = parts ?? [];
  const secret = canonical(secretText, 32);
  if (version !== "1" || secret === undefined || canonical(macId, 16) === undefined) return "damaged";
  return { macId, secret, name: text(decodeName(name), 255) ?? "" };
}

/** Reads a whole link, as scanned or pasted; blanks around it are ignored. */
export function readLink(link: string): PairingLink | LinkFault {
  if (link.length > longestLink) return "damaged";
  const parts = /^https?:\/\/[^/?#\s]+\/orvik\/p#(.*)$/is.exec(link.trim());
  return parts?.[1] === undefined ? "damaged" : readFragment(parts[1]);
}

/** The bytes, when there are `size` of them and the text is their one canonical form. */
function canonical(value: string, size: number): Uint8Array<ArrayBuffer> | undefined {
  const bytes = bytesFromBase64(value);
  return bytes?.length === size && base64url(bytes) === value ? bytes : undefined;
}

/** Percent-decoded; ill-formed UTF-8 is repaired, a "%" that begins nothing stays. */
function decodeName(name: string): string {
  const bytes: number[] = [];
  for (const part of name.split(/(%[0-9a-f]{2})/i)) {
    if (/^%[0-9a-f]{2}$/i.test(part)) bytes.push(parseInt(part.slice(1), 16));
    else bytes.push(...new TextEncoder().encode(part));
  }
  return new TextDecoder().decode(new Uint8Array(bytes));
}
