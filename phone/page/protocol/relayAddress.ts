import { fields, json } from "./readers.js";

/** The relay's base URL that a configuration names; nothing when it names none that can be used. */
export function configuredRelay(configuration: string): string | undefined {
  const relay = fields(json(configuration)?.value)?.("relay");
  if (typeof relay !== "string" || !/^wss?:\/\/[^/?#\s]+(\/[^?#\s]*)?$/i.test(relay)) return undefined;
  return relay.replace(/\/+$/, "");
}

/** The relay beside the page: `origin` is the page's own, as "https://HOST[:PORT]". */
export function ownRelay(origin: string): string {
  return origin.replace(/^http/, "ws");
}

export function phoneAddress(relay: string, macId: string): string {
  return `${relay}/v1/phone/${macId}`;
}
