/** Shows pushed alerts while the page is closed, and opens it when one is tapped. */
import { authentication } from "../protocol/keys.js";
import { computerAddress } from "../protocol/link.js";
import { readMessage } from "../protocol/messages.js";
import { subscribe } from "../protocol/push.js";
import { fields, text } from "../protocol/readers.js";
import { configuredRelay, ownRelay, phoneAddress } from "../protocol/relayAddress.js";
import { browserStorage } from "../storage/browserStorage.js";
import { Database } from "../storage/database.js";
import type { StoredComputer } from "../storage/storage.js";
import { isNewer, type Known, type Notice, noticeOf } from "./notice.js";

const worker = self as unknown as ServiceWorkerGlobalScope;

/** Set by the build. */
declare const notificationIcon: string;

/** Chromium's; without it the newest takes the place of the others silently. */
interface Options extends NotificationOptions {
  readonly renotify?: boolean;
  readonly timestamp?: number;
  /** Safari's, which shows nothing without it where the message was a declarative one; absolute. */
  readonly navigate: string;
}

/** A worker is given some 10 s. Nobody waits, so a busy phone may take most of them: what cannot be read says nothing. */
const readLimitMs = 8_000;
/** Safari has been seen never to say that a notification is shown. */
const showLimitMs = 5_000;
/** How long a page that is looked at has for taking in the same alert from its connection. */
const livePatienceMs = 2_000;
const liveStepMs = 200;

let before: Promise<void> = Promise.resolve();

/** One after the other, in the order in which they came: the later of two is what stays. */
export function pushed(data: string): Promise<void> {
  // Those that wait for others wait for the storage at the same time.
  const database = new Database(readLimitMs);
  const known = { ...browserStorage(database), words: () => database.get("settings", "words") };
  const shown = before.then(async () => {
    const notice = await noticeOf(data, known, Date.now());
    await Promise.race([show(data, notice, known), wait(showLimitMs)]);
  });
  before = shown.catch(() => undefined);
  return shown;
}

/** Whatever it says, something is shown: browsers take the permission away from pages that stay silent. */
async function show(data: string, first: Notice, known: Known): Promise<void> {
  const { registration } = worker;
  let notice = first;
  const mayBeHad = notice.about.epochMs !== undefined;
  for (let waited = 0; mayBeHad && !notice.isHad && waited < livePatienceMs && await isLookedAt(); waited += liveStepMs) {
    await wait(liveStepMs);
    notice = await noticeOf(data, known, Date.now());
  }
  const present = await registration.getNotifications({ tag: notice.tag });
  const shown = present.find((each) => isNewer(each.data, notice.about)) ?? present[0];
  // Where equal tags are stacked, or take each other's place without a sound.
  if (!isRenotifying()) for (const each of present) each.close();
  if (shown !== undefined && isNewer(shown.data, notice.about)) {
    const { title, body, tag, lang, dir } = shown;
    const again: Options = {
      body, tag, lang, dir, data: shown.data as unknown, icon: notificationIcon, silent: true, navigate: addressOf(shown.data),
    };
    await registration.showNotification(title, again);
    return;
  }
  await registration.showNotification(notice.title, options(notice, shown));
  if (notice.isHad && await isLookedAt()) {
    for (const each of await registration.getNotifications({ tag: notice.tag })) each.close();
  }
}

/** Somebody sees the page. */
async function isLookedAt(): Promise<boolean> {
  return (await pages()).some((page) => page.visibilityState === "visible");
}

function isRenotifying(): boolean {
  return "renotify" in Notification.prototype;
}

function wait(durationMs: number): Promise<void> {
  return new Promise((resolve) => { setTimeout(resolve, durationMs); });
}

function macIdOf(about: unknown): string | undefined {
  return text(fields(about)?.("macId"));
}

function addressOf(about: unknown): string {
  const macId = macIdOf(about);
  return new URL(macId === undefined ? "/orvik/p" : computerAddress(macId), self.location.origin).href;
}

function options({ body, tag, lang, dir, about, isNews, isHad }: Notice, shown: Notification | undefined): Options {
  const isSame = about.epochMs !== undefined && fields(shown?.data)?.("epochMs") === about.epochMs;
  return {
    body, tag, lang, dir, icon: notificationIcon, data: about, navigate: addressOf(about),
    silent: isHad || isSame || (about.epochMs === undefined ? shown !== undefined && !isRenotifying() : !isNews),
    renotify: isNews && !isSame,
    ...(about.epochMs === undefined ? {} : { timestamp: about.epochMs }),
  };
}

/** Shows the page, and the notification's computer on it. */
export async function tapped(notification: Notification): Promise<void> {
  notification.close();
  const macId = macIdOf(notification.data);
  // A page that the browser has thrown away reads it when it begins anew. Not waited for: a tap opens for a second only.
  const chosen = macId === undefined ? undefined : browserStorage().changeSettings({ chosen: macId });
  const [page] = await pages();
  if (page === undefined) {
    await worker.clients.openWindow(addressOf(notification.data));
  } else {
    if (macId !== undefined) page.postMessage({ type: "show", macId });
    await page.focus();
  }
  await chosen;
}

async function pages(): Promise<readonly WindowClient[]> {
  const all = await worker.clients.matchAll({ type: "window", includeUncontrolled: true });
  return all.filter(({ url }) => new URL(url).pathname === "/orvik/p");
}

/** The browser has given up the subscription, or has another one already: the relays must not push into the void. */
export async function subscriptionChanged(
  old: PushSubscription | null, fresh: PushSubscription | null, configuration: () => Promise<Response>,
): Promise<void> {
  const storage = browserStorage();
  const settings = await storage.settings();
  if (settings.wantsPush !== true) return;
  // Not every browser says which one is gone.
  const key = old?.options.applicationServerKey ?? settings.pushKey;
  const target = fresh ?? (key === undefined ? null
    : await worker.registration.pushManager.subscribe({ userVisibleOnly: true, applicationServerKey: key }));
  const p256dh = target?.getKey("p256dh");
  const auth = target?.getKey("auth");
  // The page does it when it is opened next.
  if (target === null || !p256dh || !auth) return;
  const message = subscribe(
    { endpoint: target.endpoint, p256dh: new Uint8Array(p256dh), auth: new Uint8Array(auth) },
    old?.endpoint ?? settings.pushEndpoint);
  const relay = configuredRelay(await (await configuration()).text()) ?? ownRelay(self.location.origin);
  await Promise.all((await storage.computers()).map((computer) => tell(relay, computer, message)));
}

/** Longer than any relay takes that is there. */
const tellLimitMs = 10_000;

/** A connection for one sentence. It takes no alert: the page asks for all after its last one. */
function tell(relay: string, { keys, lastAlert }: StoredComputer, message: string): Promise<void> {
  return new Promise((resolve) => {
    const socket = new WebSocket(phoneAddress(relay, keys.macId));
    const timer = setTimeout(() => { socket.close(); }, tellLimitMs);
    let isSaid = false;
    socket.onopen = () => { socket.send(authentication(keys.token, lastAlert ?? 0)); };
    socket.onmessage = ({ data }) => {
      const { type } = readMessage(data);
      if (type === "subscribed" || type === "notSubscribed") socket.close(1000);
      // Whatever it says first says that it has accepted the phone.
      if (!isSaid) socket.send(message);
      isSaid = true;
    };
    socket.onclose = () => {
      clearTimeout(timer);
      resolve();
    };
  });
}
