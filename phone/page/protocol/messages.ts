import { longestPushMessage, readPushMessage, type PushMessage } from "./push.js";
import { alertNumber, boolean, fields, json } from "./readers.js";

/** Longer messages are skipped unread. */
export const longestMessage = 1024 * 1024;

export type RelayMessage =
  | { readonly type: "pong" }
  /** Whether the computer is connected to the relay. */
  | { readonly type: "mac"; readonly isConnected: boolean }
  /** The number of the alert whose envelope comes next. */
  | { readonly type: "number"; readonly number: number }
  | PushMessage
  | { readonly type: "envelope"; readonly text: string }
  | { readonly type: "unreadable" };

/** Tells apart what comes from the relay. */
export function readMessage(data: unknown): RelayMessage {
  if (typeof data !== "string" || data.length > longestMessage) return { type: "unreadable" };
  if (data === "pong") return { type: "pong" };
  // Presence is short; envelopes are parsed once, when they are opened.
  const parsed = data.length <= 256 ? json(data) : undefined;
  const field = fields(parsed?.value);
  const isConnected = boolean(field?.("mac"));
  if (isConnected !== undefined) return { type: "mac", isConnected };
  const number = alertNumber(field?.("alert"));
  if (number !== undefined) return { type: "number", number };
  const push = isPushMessage(data) ? readPushMessage(data) : undefined;
  return push ?? { type: "envelope", text: data };
}

function isPushMessage(data: string): boolean {
  return data.length <= longestPushMessage && /^\s*\{\s*"(push|subscribed|notSubscribed)"/.test(data);
}

export const ping = "ping";
