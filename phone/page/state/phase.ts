import type { LinkState } from "../protocol/connection.js";
import type { Phase } from "./view.js";

export interface Contact {
  readonly link: LinkState;
  /** What the relay has said last on this connection. */
  readonly isMacConnected: boolean | undefined;
  readonly isOnline: boolean;
  /** Nothing but envelopes of another pairing has come. */
  readonly isForeign: boolean;
  readonly isLive: boolean;
  readonly hasSample: boolean;
}

export function phaseOf(contact: Contact): Phase {
  const { link } = contact;
  if (link === "replaced") return "replaced";
  if (contact.isForeign) return "foreign";
  // A relay that has heard of no computer yet holds the phone: it has restarted, or none is on.
  if (link === "held" || (link === "accepted" && contact.isMacConnected === false)) return "offline";
  if (contact.isLive) return "live";
  if (link === "failing") return contact.isOnline ? "unreachable" : "noNetwork";
  return contact.hasSample ? "late" : "connecting";
}
