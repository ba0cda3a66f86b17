/**
 * Runs first and alone, while the rest of the page is still being loaded: reads the link that the
 * page was opened with, and begins to connect. Whatever is imported here, or done before the
 * connection is begun, delays the first value.
 */
import { openSocket } from "./browser/openSocket.js";
import { authentication, deriveKeys } from "./protocol/keys.js";
import { readFragment, readQuery, type PairingLink } from "./protocol/link.js";
import { configuredRelay, ownRelay, phoneAddress } from "./protocol/relayAddress.js";
import { greet } from "./protocol/socket.js";
import type { EarlyLink, Opening } from "./state/createState.js";
import { chooseLanguage, loadWords } from "./words/languages.js";

async function findRelay(): Promise<string> {
  try {
    const answer = await fetch("/orvik/config.json");
    const named = answer.ok ? configuredRelay(await answer.text()) : undefined;
    return named ?? ownRelay(location.origin);
  } catch {
    return ownRelay(location.origin);
  }
}

const relay = findRelay();
const fragment = location.hash.slice(1);
const link = fragment === "" ? undefined : readFragment(fragment);
/** Only Safari on iOS has the member. */
const isIos = "standalone" in navigator;
const isInstalled = "standalone" in navigator && navigator.standalone === true;

/** Takes the link, secret included, and the computer that a notification has named out of the address. */
export function clearAddress(): void {
  if (location.hash + location.search !== "") history.replaceState(null, "", location.pathname);
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

async function connectEarly(paired: PairingLink): Promise<EarlyLink> {
  const keysMade = deriveKeys(paired.macId, paired.secret);
  const address = phoneAddress(await relay, paired.macId);
  const isSeen = document.visibilityState === "visible" && !isInstalled;
  // The handshake and the derivation of the keys take their time side by side.
  const socket = isSeen ? openSocket(address) : undefined;
  const keys = await keysMade;
  if (socket !== undefined) {
    const say = () => { greet(socket, authentication(keys.token, 0), true); };
    if (socket.progress === "open") say();
    else socket.onopen = say;
  }
  return { link: paired, keys, socket };
}

const found = fault();
const early = typeof link === "object" && found === undefined ? connectEarly(link) : Promise.resolve(undefined);

export const opening: Opening = { relay, early, fault: found, isInstalled, computer: readQuery(location.search) };
export const language = chooseLanguage(navigator.languages);
/** Nothing for English, which main has. */
export const words = loadWords(language.tag);

void early.finally(() => {
  if (isIos && !isInstalled && typeof link === "object") keepAddressForInstalling();
  else clearAddress();
});
