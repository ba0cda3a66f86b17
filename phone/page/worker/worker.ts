import { pushed, subscriptionChanged, tapped } from "./notifications.js";

/**
 * Keeps the page for opening without a network. A version is one cache, named by the hash over all
 * that it holds; a page is always answered out of one version. It takes over only when told.
 */
const worker = self as unknown as ServiceWorkerGlobalScope;

/** Set by the build: the versions of all and of the page; what the first view needs; what is fetched once it has been used. */
declare const workerVersion: string;
declare const pageVersion: string;
declare const firstView: readonly string[];
declare const laterParts: readonly string[];

const pageAddress = "/orvik/p";
const configAddress = "/orvik/config.json";
const cacheName = `orvik ${workerVersion}`;

worker.addEventListener("install", (event) => {
  event.waitUntil(keepFirstView());
  askNobody(event);
});

worker.addEventListener("message", (event) => {
  const data: unknown = event.data;
  if (typeof data !== "object" || data === null || !("type" in data)) return;
  if (data.type === "switch") event.waitUntil(worker.skipWaiting());
  if (data.type === "running") {
    const used: readonly unknown[] = "used" in data && Array.isArray(data.used) ? data.used : [];
    // A page of another version, begun as this one took over, needs what that one kept.
    const isOwn = "version" in data && data.version === pageVersion;
    event.waitUntil(Promise.all([isOwn ? clearOthers() : undefined, keepLaterParts(used)]));
  }
});

worker.addEventListener("fetch", (event) => {
  const { request } = event;
  const address = new URL(request.url);
  if (request.method !== "GET" || address.origin !== self.location.origin) return;
  if (address.pathname === pageAddress) event.respondWith(page(request));
  else if (address.pathname === configAddress) event.respondWith(configuration(event));
  else if (isOurs(address.pathname)) event.respondWith(part(request));
});

worker.addEventListener("push", (event) => {
  const { data, notification } = event as PushEvent & { readonly notification?: Notification | null };
  // Of a declarative message Safari gives no text, but the notification that it would show by itself.
  event.waitUntil(pushed(data?.text() ?? JSON.stringify({ notification: { data: notification?.data as unknown } })));
});

worker.addEventListener("notificationclick", (event) => {
  event.waitUntil(tapped(event.notification));
});

worker.addEventListener("pushsubscriptionchange", (event) => {
  const { oldSubscription = null, newSubscription = null } = event as Partial<PushSubscriptionChangeEvent>;
  event.waitUntil(subscriptionChanged(oldSubscription, newSubscription, async () =>
    await caches.match(configAddress) ?? fetch(configAddress)));
});

function isOurs(path: string): boolean {
  return firstView.includes(path) || laterParts.includes(path) || path.startsWith("/orvik/a/");
}

/** Where the browser can, it takes the hashed files of the first view out of the cache without asking this worker. */
function askNobody(event: ExtendableEvent & { addRoutes?: (rules: readonly object[]) => Promise<void> }): void {
  const rules = firstView.filter((path) => path.startsWith("/orvik/a/"))
    .map((pathname) => ({ condition: { urlPattern: { pathname } }, source: { cacheName } }));
  event.addRoutes?.(rules).catch(() => undefined);
}

async function keepFirstView(): Promise<void> {
  const cache = await caches.open(cacheName);
  await Promise.all([...firstView, configAddress].map(async (path) => {
    // A hashed name has one content, wherever it comes from.
    const present = path.startsWith("/orvik/a/") ? await caches.match(path) : undefined;
    const answer = present ?? await fetch(path, { cache: path.startsWith("/orvik/a/") ? "default" : "reload" });
    if (!answer.ok) throw new Error(`no ${path}`);
    await cache.put(path, answer);
  }));
}

/** After the first use: every later part, of the languages only what has been used. */
async function keepLaterParts(used: readonly unknown[]): Promise<void> {
  const cache = await caches.open(cacheName);
  const usedPaths = used.map((address) => typeof address === "string" ? new URL(address).pathname : "");
  for (const path of laterParts) {
    if (isLanguage(path) && !usedPaths.includes(path)) continue;
    if (await cache.match(path) !== undefined) continue;
    const answer = await caches.match(path) ?? await fetch(path).catch(() => undefined);
    if (answer?.ok) await cache.put(path, answer);
  }
}

function isLanguage(path: string): boolean {
  return /\/(ar|de|es|fr|hi|it|ja|ko|nl|pl|pt-BR|ru|tr|uk|zh-Hans)-[^/]*\.js$/.test(path);
}

/** Other versions' caches go when a single page is open: then none of them is in use. */
async function clearOthers(): Promise<void> {
  const open = await worker.clients.matchAll({ type: "window", includeUncontrolled: true });
  if (open.length > 1 || worker.registration.waiting !== null || worker.registration.installing !== null) return;
  const names = await caches.keys();
  await Promise.all(
    names.filter((name) => name.startsWith("orvik ") && name !== cacheName).map((name) => caches.delete(name)));
}

/** The page out of the cache, unless a part of its first view has been lost there. */
async function page(request: Request): Promise<Response> {
  const cache = await caches.open(cacheName);
  const [keys, kept] = await Promise.all([cache.keys(), cache.match(pageAddress)]);
  const present = new Set(keys.map(({ url }) => new URL(url).pathname));
  return kept !== undefined && firstView.every((path) => present.has(path)) ? kept : fetch(request);
}

async function part(request: Request): Promise<Response> {
  const path = new URL(request.url).pathname;
  const kept = await caches.match(path);
  if (kept !== undefined) return kept;
  const answer = await fetch(request);
  if (answer.ok && laterParts.includes(path)) await (await caches.open(cacheName)).put(path, answer.clone());
  return answer;
}

/** At once out of the cache, and asked for again meanwhile; a change holds from the next start on. */
async function configuration(event: FetchEvent): Promise<Response> {
  const cache = await caches.open(cacheName);
  const kept = await cache.match(configAddress);
  const fresh = fetch(configAddress, { cache: "no-cache" }).then(async (answer) => {
    if (answer.ok && await answer.clone().text() !== await kept?.clone().text()) {
      await cache.put(configAddress, answer.clone());
      await takeNewHeaders(cache);
    }
    return answer;
  });
  if (kept === undefined) return fresh;
  event.waitUntil(fresh.catch(() => undefined));
  return kept.clone();
}

/** The page's content policy names the relay, so it changes with the configuration. */
async function takeNewHeaders(cache: Cache): Promise<void> {
  const [kept, fresh] = await Promise.all([cache.match(pageAddress), fetch(pageAddress, { cache: "no-cache" })]);
  if (kept !== undefined && fresh.ok && await fresh.clone().text() === await kept.text()) {
    await cache.put(pageAddress, fresh);
  }
}
