// The built page's own worker in Chromium, woken up by pushes as a push service's would: what it shows afterwards.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { createServer } from "node:http";
import { extname, join } from "node:path";

const types = { ".js": "text/javascript", ".css": "text/css", ".json": "application/json", ".webmanifest": "application/manifest+json" };
/** After which something that has to happen is held not to happen. */
const patienceMs = 60_000;

/** Answers as a relay with the page does; nothing else of a relay is there. */
export function servePage(folder) {
  return createServer(({ url }, response) => {
    const path = new URL(url, "http://localhost").pathname.replace(/^\/orvik\//, "");
    try {
      const content = readFileSync(join(folder, path === "p" ? "index.html" : path));
      response.writeHead(200, { "content-type": types[extname(path)] ?? (path === "hashes.txt" ? "text/plain" : "text/html") });
      response.end(content);
    } catch {
      response.writeHead(404).end();
    }
  });
}

/** `script` gives a page `tests`. Rejects at the first step after which something else is shown. */
export async function deliveries(browser, origin, script) {
  // In the worker's scope, but not the page.
  const outside = await browser.newPage();
  await outside.goto(`${origin}/orvik/hashes.txt`);
  await browser.defaultBrowserContext().overridePermissions(origin, ["notifications"]);
  await outside.evaluate(`${script}; globalThis.tests = tests;`);
  const protocol = await outside.createCDPSession();
  const registered = new Promise((resolve) => {
    protocol.on("ServiceWorker.workerVersionUpdated", ({ versions }) => {
      const active = versions.find(({ status }) => status === "activated");
      if (active !== undefined) resolve(active.registrationId);
    });
  });
  await protocol.send("ServiceWorker.enable");
  await outside.evaluate(() => navigator.serviceWorker.register("/orvik/sw.js", { scope: "/orvik/" }).then(() => undefined));
  const registrationId = await registered;

  const seal = (...given) => outside.evaluate((all) => globalThis.tests.pushedAlert(...all), given);
  const deliver = (data) => protocol.send("ServiceWorker.deliverPushMessage", { origin, registrationId, data });
  const shown = () => outside.evaluate(async () => {
    const registration = await navigator.serviceWorker.getRegistration("/orvik/p");
    const all = await registration.getNotifications();
    return all.map(({ title, body, silent, lang }) => [title, body, ...(silent ? ["silent"] : []), ...(lang === "en" ? [] : [lang])].join(" | ")).sort();
  });
  let steps = 0;
  async function step(what, data, wanted) {
    steps += 1;
    for (const each of data) await deliver(each);
    const end = Date.now() + patienceMs;
    for (;;) {
      const present = await shown();
      if (JSON.stringify(present) === JSON.stringify(wanted)) return;
      if (Date.now() > end) assert.deepEqual(present, wanted, what);
      await new Promise((wake) => { setTimeout(wake, 20); });
    }
  }

  const at = Date.now();
  const hot = (value, epochMs = at) => ({ kind: "temp_high", state: "raised", epoch_ms: epochMs, value, threshold: 95 });
  const battery = (state, epochMs = at) => ({ kind: "on_battery", state, epoch_ms: epochMs, ...(state === "raised" ? { value: 64 } : {}) });
  const unread = await outside.evaluate(() => globalThis.tests.unread);

  // The phone knows nothing yet: no computers, no words.
  await step("an unknown computer", [await seal(1, 1, hot(96))], [`Orvik | ${unread}`]);
  await step("garbage", ["", "\u0000", '{"notification":{"data":[]}}', "x".repeat(4000)], [`Orvik | ${unread}`]);
  await outside.evaluate(() => globalThis.tests.seed("en"));
  const hotOne = "Too hot: 97.0\u00a0°C | Studio\nA minute at 95\u00a0°C or more";
  const hotTwo = "Too hot: 98.5\u00a0°C | Attic\nA minute at 95\u00a0°C or more";
  await step("one of each computer", [await seal(1, 2, hot(97)), await seal(2, 1, hot(98.5))], [`Orvik | ${unread}`, hotOne, hotTwo]);
  await step("the wrong key, another kind of message, no envelope",
    [await seal(1, 3, hot(99), 2), await seal(1, 4, hot(99), 1, "s"), await seal(1, 5)], [`Orvik | ${unread}`, hotOne, hotTwo]);
  await step("raised", [await seal(1, 6, battery("raised"))], [`Orvik | ${unread}`, "Running on battery: 64% | Studio", hotOne, hotTwo]);
  const back = "Back on mains power | Studio | silent";
  await step("cleared", [await seal(1, 7, battery("cleared", at + 1))], [back, `Orvik | ${unread}`, hotOne, hotTwo]);
  await step("overtaken by a newer one", [await seal(1, 6, battery("raised"))], [back, `Orvik | ${unread}`, hotOne, hotTwo]);
  await step("the same once more", [await seal(2, 1, hot(98.5))], [back, `Orvik | ${unread}`, hotOne, `${hotTwo} | silent`]);

  await outside.evaluate(() => globalThis.tests.seed("de"));
  const german = "Zu heiß: 99,0\u00a0°C | Attic\nEine Minute bei 95\u00a0°C oder mehr | de";
  await step("another language", [await seal(2, 3, hot(99, at + 2))], [back, `Orvik | ${unread}`, hotOne, german]);

  if (process.env.ORVIK_PICTURES !== undefined) await picture(outside, join(process.env.ORVIK_PICTURES, "notifications.png"));

  // What somebody sees on the page at this moment leaves no notification; on a page that nobody sees, a silent one.
  await outside.evaluate((payload) => globalThis.tests.keepAlert(1, payload), hot(97.5, at + 3));
  await step("had, but unseen", [await seal(1, 8, hot(97.5, at + 3))],
    [back, `Orvik | ${unread}`, "Zu heiß: 97,5\u00a0°C | Studio\nEine Minute bei 95\u00a0°C oder mehr | silent | de", german].sort());
  const page = await browser.newPage();
  await page.goto(`${origin}/orvik/p`);
  await step("seen live", [await seal(1, 8, hot(97.5, at + 3))], [back, `Orvik | ${unread}`, german]);
  await page.close();

  steps += 1;
  const target = await browser.waitForTarget((each) => each.type() === "service_worker" && each.url().startsWith(origin));
  const said = await (await target.worker()).evaluate(changeSubscription);
  assert.deepEqual(said.map(({ to, says }) => [new URL(to).pathname.split("/").slice(0, 3).join("/"), says.map((each) => Object.keys(JSON.parse(each))[0])]),
    [["/v1/phone", ["auth", "subscribe"]], ["/v1/phone", ["auth", "subscribe"]]]);
  const { subscribe } = JSON.parse(said[0].says[1]);
  assert.deepEqual([subscribe.endpoint, subscribe.replaces], ["https://push.example/new", "https://push.example/old"]);
  return steps;
}

/** What the browser would show, drawn by a page: without a desktop Chromium keeps notifications and draws none. */
async function picture(page, path) {
  await page.setViewport({ width: 390, height: 480, deviceScaleFactor: 2 });
  await page.evaluate(async () => {
    const registration = await navigator.serviceWorker.getRegistration("/orvik/p");
    const cards = (await registration.getNotifications()).map(({ title, body, icon, lang, dir, timestamp, silent }) => {
      const card = document.createElement("article");
      card.style.cssText = "display:grid;grid-template-columns:40px 1fr;gap:4px 12px;margin:12px;padding:12px;border-radius:16px;background:#fff;font:15px/20px sans-serif;white-space:pre-line";
      Object.assign(card, { lang, dir });
      const image = Object.assign(new Image(40, 40), { src: icon });
      image.style.gridRow = "1 / 4";
      const line = (text, style) => Object.assign(document.createElement("div"), { textContent: text, style });
      card.append(image, line(title, "font-weight:600"), line(body, ""), line(`${new Date(timestamp).toISOString().slice(11, 16)}${silent ? ", silent" : ""}`, "color:#4a6275"));
      return image.decode().then(() => card);
    });
    document.body.style.cssText = "margin:0;background:#d3dce3";
    document.body.replaceChildren(...await Promise.all(cards));
  });
  await page.screenshot({ path });
}

/** Runs in the worker, with a relay that accepts and keeps whatever it is told, in a browser that says no more than that something is gone. */
async function changeSubscription() {
  const said = [];
  const own = self.WebSocket;
  self.WebSocket = class {
    says = [];
    constructor(to) {
      said.push({ to, says: this.says });
      setTimeout(() => this.onopen());
    }
    send(text) {
      this.says.push(text);
      const answer = "auth" in JSON.parse(text) ? { mac: true } : { subscribed: "https://push.example/new" };
      setTimeout(() => this.onmessage({ data: JSON.stringify(answer) }));
    }
    close() { setTimeout(() => this.onclose()); }
  };
  const subscription = (endpoint) => ({ endpoint, options: {}, getKey: (name) => new Uint8Array(name === "auth" ? 16 : 65).buffer });
  self.registration.pushManager.subscribe = async ({ applicationServerKey: key }) => subscription(`https://push.example/${key.length === 65 && key[0] === 4 ? "new" : "?"}`);
  const event = new ExtendableEvent("pushsubscriptionchange");
  const waits = [];
  Object.defineProperties(event, {
    oldSubscription: { value: null },
    newSubscription: { value: null },
    waitUntil: { value: (promise) => waits.push(promise) },
  });
  self.dispatchEvent(event);
  await Promise.all(waits);
  self.WebSocket = own;
  return said;
}
