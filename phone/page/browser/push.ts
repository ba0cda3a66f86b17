import type { PushTarget } from "../protocol/push.js";
import type { PushBrowser } from "../state/pushKeeper.js";

const scope = "/orvik/";
/** For the worker of a first visit to fetch the page. Where one of its files does not come, none is ever ready. */
const readyLimitMs = 10_000;

/** The browser's own subscription, which its maker's push service knows. */
export function browserPush(): PushBrowser {
  const canPush = "serviceWorker" in navigator && "PushManager" in window && "Notification" in window;
  return {
    ability: () => ({
      canPush,
      needsInstalling: !canPush && "standalone" in navigator && navigator.standalone !== true,
      permission: canPush ? Notification.permission : "denied",
    }),
    async subscribe(key) {
      try {
        if (!canPush || (Notification.permission !== "granted" && await Notification.requestPermission() !== "granted")) {
          return undefined;
        }
        const registration = await Promise.race([navigator.serviceWorker.ready, nothingAfter(readyLimitMs)]);
        if (registration === undefined) return undefined;
        const { pushManager } = registration;
        const present = await pushManager.getSubscription();
        if (present !== null && isFor(present, key)) return targetOf(present);
        // A browser has one subscription of a worker, for one key.
        await present?.unsubscribe();
        return targetOf(await pushManager.subscribe({ userVisibleOnly: true, applicationServerKey: key }));
      } catch {
        // No push service is reached, or a private window has none.
        return undefined;
      }
    },
    async forget() {
      try {
        const registration = await navigator.serviceWorker.getRegistration(scope);
        await (await registration?.pushManager.getSubscription())?.unsubscribe();
      } catch {
        // The relay has been told, and pushes no more.
      }
    },
  };
}

function nothingAfter(durationMs: number): Promise<undefined> {
  return new Promise((resolve) => { setTimeout(() => { resolve(undefined); }, durationMs); });
}

function isFor({ options }: PushSubscription, key: Uint8Array): boolean {
  const own = options.applicationServerKey;
  return own !== null && new Uint8Array(own).join() === key.join();
}

function targetOf(subscription: PushSubscription): PushTarget | undefined {
  const [p256dh, auth] = [subscription.getKey("p256dh"), subscription.getKey("auth")];
  if (p256dh === null || auth === null) return undefined;
  return { endpoint: subscription.endpoint, p256dh: new Uint8Array(p256dh), auth: new Uint8Array(auth) };
}
