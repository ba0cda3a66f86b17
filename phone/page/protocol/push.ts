import { base64url, bytesFromBase64 } from "./base64.js";
import { alertNumber, fields, json, known, oneOf, text } from "./readers.js";

/** The longest address of a subscription that a relay takes, and the longest message that names one. */
export const longestEndpoint = 1024;
export const longestPushMessage = longestEndpoint + 256;

const refusals = ["invalid", "service", "full", "unavailable"] as const;
/** Why a relay does not push to a subscription. */
export type Refusal = (typeof refusals)[number];

/** What a relay says of pushing alerts. */
export type PushMessage =
  /** It pushes; `key` is the public key for which a browser has to subscribe, 65 bytes. */
  | { readonly type: "push"; readonly key: Uint8Array<ArrayBuffer> }
  | { readonly type: "subscribed"; readonly endpoint: string }
  | { readonly type: "notSubscribed"; readonly why: Refusal };

/** Nothing when it is something else, or damaged. */
export function readPushMessage(data: string): PushMessage | undefined {
  if (data.length > longestPushMessage) return undefined;
  const field = fields(json(data)?.value);
  const named = field?.("push");
  const key = typeof named === "string" ? bytesFromBase64(named) : undefined;
  // An uncompressed point begins with 4.
  if (key?.length === 65 && key[0] === 4) return { type: "push", key };
  const endpoint = field?.("subscribed");
  if (typeof endpoint === "string" && endpoint.length <= longestEndpoint) return { type: "subscribed", endpoint };
  const why = oneOf(refusals, field?.("notSubscribed"));
  return why === undefined ? undefined : { type: "notSubscribed", why };
}

/** Where a browser takes pushed messages, and the keys that they are encrypted with. */
export interface PushTarget {
  readonly endpoint: string;
  /** Of P-256, uncompressed, 65 bytes. */
  readonly p256dh: Uint8Array;
  /** 16 bytes. */
  readonly auth: Uint8Array;
}

/** Asks the relay to push to it. `replaces` is the endpoint that the browser had before. */
export function subscribe({ endpoint, p256dh, auth }: PushTarget, replaces?: string): string {
  return JSON.stringify({ subscribe: { endpoint, p256dh: base64url(p256dh), auth: base64url(auth), replaces } });
}

/** Asks the relay not to push to it any more. */
export function unsubscribe(endpoint: string): string {
  return JSON.stringify({ unsubscribe: endpoint });
}

/** What is pushed. Whoever pushes may have made it up: only what the envelope opens to is true. */
export interface Pushed {
  readonly macId?: string;
  readonly number?: number;
  readonly envelope?: string;
}

/** Members that cannot be read are absent. */
export function readPushed(data: string): Pushed {
  const notification = fields(fields(json(data)?.value)?.("notification"));
  const field = fields(notification?.("data")) ?? (() => undefined);
  const envelope = field("envelope");
  return known({
    macId: text(field("mac"), 22),
    number: alertNumber(field("number")),
    envelope: typeof envelope === "string" ? envelope : undefined,
  });
}
