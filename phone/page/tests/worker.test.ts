/** The worker, in a browser that takes a declarative message for it: no text, and every notification needs an address. */
import assert from "node:assert/strict";
import { test } from "node:test";
import { base64url } from "../protocol/base64.js";
import { deriveKeys } from "../protocol/keys.js";
import { readQuery } from "../protocol/link.js";
import { browserPush } from "../browser/push.js";
import { Database } from "../storage/database.js";
import { Seal } from "../storage/seal.js";
import { en } from "../words/en.js";
import { pushed, sealed } from "./sealed.js";

interface Shown extends NotificationOptions { readonly title: string; readonly navigate?: string }
type PushListener = (event: { data: null; notification?: { data: unknown }; waitUntil(work: Promise<void>): void }) => void;

/** Safari stacks equal tags, and its `showNotification` has been seen never to answer: then `hangs`. */
class Browser {
  shown: Shown[] = [];
  hangs = false;
  pages: { url: string; visibilityState: string }[] = [];
  readonly timers: { readonly run: () => void; readonly ms: number }[] = [];
  push: PushListener = () => undefined;

  constructor() {
    const registration = {
      getNotifications: ({ tag }: { tag: string }) => Promise.resolve(this.shown.filter((each) => each.tag === tag)
        .map((each) => ({ ...each, close: () => { this.shown = this.shown.filter((other) => other !== each); } }))),
      showNotification: (title: string, options: NotificationOptions & { navigate?: string }) => {
        if (!URL.canParse(options.navigate ?? "")) return Promise.reject(new TypeError("no navigate"));
        this.shown.push({ title, ...options });
        return this.hangs ? new Promise(() => undefined) : Promise.resolve();
      },
    };
    const worker = {
      registration, location: { origin: "https://relay.example" }, clients: { matchAll: () => Promise.resolve(this.pages) },
      addEventListener: (type: string, listener: unknown) => { if (type === "push") this.push = listener as PushListener; },
    };
    Object.assign(globalThis, {
      self: worker, Notification: class {}, notificationIcon: "/icon.png", workerVersion: "", pageVersion: "", firstView: [], laterParts: [],
      setTimeout: (run: () => void, ms: number) => this.timers.push({ run, ms }),
    });
  }

  /** As Safari fires it: of what the relay sends, the notification's data are there. */
  deliver(message: string): Promise<void> {
    const { notification } = JSON.parse(message) as { notification?: { data: unknown } };
    let work = Promise.resolve();
    this.push({ data: null, ...(notification === undefined ? {} : { notification }), waitUntil: (given) => { work = given; } });
    return work;
  }
}

async function until(isSo: () => boolean): Promise<void> {
  while (!isSo()) await new Promise((resolve) => { setImmediate(resolve); });
}

test("a declarative message: what its notification holds is shown, opens its computer, and one that hangs delays no other for long", async () => {
  const macId = base64url(new Uint8Array(16).fill(1));
  const { keys, linkName, addedAtMs } = { keys: await deriveKeys(macId, new Uint8Array(32).fill(1)), linkName: "Studio", addedAtMs: 1 };
  Database.prototype.all = () => Promise.resolve([{ ...keys, linkName, addedAtMs }]);
  let kept: string | undefined;
  Database.prototype.get = (_, key) => Promise.resolve(key.endsWith(" alerts") ? kept : undefined);
  Seal.prototype.open = () => Promise.resolve(kept);
  const browser = new Browser();
  await import("../worker/worker.js");
  const at = Date.now();
  const alert = async (number: number, kind: string, value: number, epochMs = at + number) => pushed(macId, number, await sealed(
    "a", { kind, state: "raised", epoch_ms: epochMs, value, threshold: 95 }, new Uint8Array(16).fill(1), new Uint8Array(32).fill(1)));
  const titles = () => browser.shown.map(({ title, silent }) => title.replace("\u00a0", " ") + (silent === true ? ", silent" : ""));

  await browser.deliver(await alert(1, "temp_high", 96));
  assert.deepEqual(titles(), ["Too hot: 96.0 °C"]);
  assert.equal(browser.shown[0]?.navigate, `https://relay.example/orvik/p?c=${macId}`);
  assert.equal(readQuery(new URL(browser.shown[0].navigate).search), macId);
  await browser.deliver(await alert(3, "temp_high", 98));
  await browser.deliver(await alert(2, "temp_high", 97));
  assert.deepEqual(titles(), ["Too hot: 98.0 °C, silent"], "the older one comes late: the newer one stays, alone");
  for (const message of ["{}", '{"notification":{"data":{"mac":5}}}', '{"notification":{"data":null}}']) await browser.deliver(message);
  assert.deepEqual(titles(), ["Too hot: 98.0 °C, silent", "Orvik, silent"]);
  assert.deepEqual([browser.shown[1]?.body, browser.shown[1]?.navigate], [en.alertUnread, "https://relay.example/orvik/p"]);

  browser.timers.length = 0;
  browser.hangs = true;
  const first = browser.deliver(await alert(4, "disk_full", 97));
  await until(() => browser.shown.length === 3);
  browser.hangs = false;
  const second = browser.deliver(await alert(5, "on_battery", 64));
  browser.timers.find(({ ms }) => ms === 5000)?.run();
  await Promise.all([first, second]);
  assert.deepEqual(titles().slice(2), ["Disk nearly full: 97.0%", "Running on battery: 64%"]);

  // Somebody looks: what the page takes in a little later leaves nothing, what it never does is told.
  browser.pages = [{ url: "https://relay.example/orvik/p", visibilityState: "visible" }];
  const payload = { kind: "temp_high", state: "raised", epoch_ms: at + 6, value: 99, threshold: 95 };
  for (const [has, wanted] of [[false, "Too hot: 99.0 °C"], [true, undefined]] as const) {
    kept = undefined;
    let steps = 0;
    let isDone = false;
    const delivered = browser.deliver(await alert(6, "temp_high", 99)).then(() => { isDone = true; });
    await until(() => {
      const waiting = browser.timers.findIndex(({ ms }) => ms === 200);
      if (waiting >= 0) browser.timers.splice(waiting, 1)[0]?.run();
      if (waiting >= 0 && (steps += 1) === 3 && has) kept = JSON.stringify({ alerts: [{ payload: JSON.stringify(payload) }] });
      return isDone;
    });
    await delivered;
    assert.equal(titles().find((title) => title.startsWith("Too hot")), wanted);
  }
});

test("a browser whose worker never comes up gives no subscription, in the end", async () => {
  const { timers } = new Browser();
  const Notification = { permission: "granted" };
  Object.assign(globalThis, { Notification, window: { Notification, PushManager: class {} } });
  Object.defineProperty(globalThis, "navigator", { value: { serviceWorker: { ready: new Promise(() => undefined) } } });
  const given = browserPush().subscribe(new Uint8Array(65));
  for (const { run } of timers) run();
  assert.equal(await given, undefined);
});
