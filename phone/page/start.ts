/**
 * Runs first and alone, while the rest of the page is still being loaded: reads the link that the
 * page was opened with, and begins to connect. Whatever is imported here delays the first value.
 */
import { browserClock, openSocket } from "./browser/surroundings.js";
import { Connection } from "./protocol/connection.js";
import { authentication, deriveKeys } from "./protocol/keys.js";
import { readFragment, type PairingLink } from "./protocol/link.js";
import { configuredRelay, ownRelay, phoneAddress } from "./protocol/relayAddress.js";
import type { EarlyConnection, Opening } from "./state/createState.js";

/** Only Safari on iOS has the member, installed or not. */
const isIos = "standalone" in navigator;
const isInstalled = matchMedia("(display-mode: standalone)").matches ||
  ("standalone" in navigator && navigator.standalone === true);

/** Takes the link, secret included, out of the address. */
export function clearAddress(): void {
  if (location.hash !== "") history.replaceState(null, "", location.pathname);
}

/**
 * Safari's installed page has a storage of its own and gets nothing but the address that it was
 * installed from. So the link stays there until then, and the manifest must name no other start.
 */
function keepAddressForInstalling(): void {
  document.querySelector<HTMLLinkElement>("link[rel=manifest]")
    ?.setAttribute("href", "/orvik/manifest-ios.webmanifest");
}

function fault(): Opening["fault"] {
  if (!isSecureContext || !("subtle" in crypto)) return "insecure";
  if (!("indexedDB" in globalThis) || !("replaceAll" in String.prototype) || !("WebSocket" in globalThis)) {
    return "browserTooOld";
  }
  return link === "damaged" || link === "newer" ? link : undefined;
}

async function findRelay(): Promise<string> {
  try {
    const answer = await fetch("/orvik/config.json");
    const named = answer.ok ? configuredRelay(await answer.text()) : undefined;
    return named ?? ownRelay(location.origin);
  } catch {
    return ownRelay(location.origin);
  }
}

/**
 * The first number that is formatted loads the tables of the locale, tens of milliseconds on a slow
 * phone. Here they pass while the network is awaited.
 */
function warmFormatters(): void {
  new Intl.NumberFormat(navigator.language, { style: "percent" }).format(0);
  new Intl.NumberFormat(navigator.language, { style: "unit", unit: "celsius" }).format(0);
}

async function connectEarly(paired: PairingLink): Promise<EarlyConnection> {
  const isSeen = document.visibilityState === "visible" && !isInstalled;
  const keysMade = deriveKeys(paired.macId, paired.secret);
  const address = phoneAddress(await relay, paired.macId);
  // The handshake and the derivation of the keys take their time side by side.
  let ahead = isSeen ? openSocket(address) : undefined;
  const keys = await keysMade;
  const openNext = () => {
    const socket = ahead ?? openSocket(address);
    ahead = undefined;
    return socket;
  };
  const connection = new Connection(openNext, (last) => authentication(keys.token, last), browserClock);
  if (isSeen) connection.look(true);
  warmFormatters();
  return { link: paired, keys, connection };
}

const fragment = location.hash.slice(1);
const link = fragment === "" ? undefined : readFragment(fragment);
const relay = findRelay();
const found = fault();
const early = typeof link === "object" && found === undefined ? connectEarly(link) : Promise.resolve(undefined);

if (isIos && !isInstalled && typeof link === "object") keepAddressForInstalling();
else clearAddress();

export const opening: Opening = { relay, early, fault: found, isInstalled };
