import { browserStorage } from "../storage/browserStorage.js";
import { Database } from "../storage/database.js";
import { notificationOf } from "./notification.js";

const pageAddress = "/orvik/p";

/** In no standard library yet. */
type Options = NotificationOptions & { readonly renotify: boolean; readonly timestamp: number };

/** Shows pushed alerts. `icon` is the page's. */
export function showPushedAlerts(worker: ServiceWorkerGlobalScope, icon: string | undefined): void {
  worker.addEventListener("push", (event) => {
    event.waitUntil(show(worker, icon, text(event.data)));
  });
  worker.addEventListener("notificationclick", (event) => {
    event.notification.close();
    const data: unknown = event.notification.data;
    const macId = typeof data === "object" && data !== null && "macId" in data && typeof data.macId === "string"
      ? data.macId : undefined;
    event.waitUntil(open(worker, macId));
  });
}

function text(data: PushMessageData | null): string {
  try {
    return data?.text() ?? "";
  } catch {
    return "";
  }
}

async function show(worker: ServiceWorkerGlobalScope, icon: string | undefined, pushed: string): Promise<void> {
  const words = await new Database().get("settings", "words");
  const { title, body, tag, language, macId, alert, number, isKnown } = await notificationOf(pushed, browserStorage(), words);
  // Somebody has it before their eyes; only then may a browser be left without a notification.
  if (isKnown && (await pages(worker)).some(({ visibilityState }) => visibilityState === "visible")) return;
  const before: unknown = (await worker.registration.getNotifications({ tag }))[0]?.data;
  const isOld = typeof before === "object" && before !== null && "number" in before && Number(before.number) > number;
  // One that was overtaken on its way stays behind the newer, which is there.
  if (isOld) return;
  const isOver = alert?.state === "cleared";
  const options: Options = {
    body, tag, lang: language.locale, dir: language.rightToLeft ? "rtl" : "ltr", data: { macId, number },
    renotify: !isOver, silent: isOver, timestamp: alert?.epochMs ?? Date.now(),
    ...(icon === undefined ? {} : { icon }),
  };
  await worker.registration.showNotification(title, options);
}

/** Shows the computer in an open page, otherwise in a new one. */
async function open(worker: ServiceWorkerGlobalScope, macId: string | undefined): Promise<void> {
  const [page] = await pages(worker);
  if (page !== undefined) {
    if (macId !== undefined) page.postMessage({ type: "show", macId });
    await page.focus();
    return;
  }
  const storage = browserStorage();
  // No page is open that would keep another choice.
  if (macId !== undefined) await storage.putSettings({ ...await storage.settings(), chosen: macId });
  await worker.clients.openWindow(pageAddress);
}

async function pages(worker: ServiceWorkerGlobalScope): Promise<readonly WindowClient[]> {
  const all = await worker.clients.matchAll({ type: "window", includeUncontrolled: true });
  return all.filter(({ url }) => new URL(url).pathname === pageAddress);
}
