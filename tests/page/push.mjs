// A push service and a browser's side of a subscription: the browser itself would ask its maker's.

import { createDecipheriv, createECDH, hkdfSync, randomBytes } from "node:crypto";
import { spawn } from "node:child_process";
import { once } from "node:events";
import { createInterface } from "node:readline";
import { fileURLToPath } from "node:url";
import { patienceMs, phonePage } from "./stage.mjs";

const file = (path) => fileURLToPath(new URL(path, import.meta.url));
const certificate = file("../fixtures/localhost.pem");

/** The push service of the other tests: what it gets comes out of `next`. */
export class PushService {
  #pushes = [];
  #woken = () => undefined;

  async start() {
    this.process = spawn("python3", [file("../endtoend/push_service.py"), certificate, file("../fixtures/localhost.key.pem")], {
      stdio: ["ignore", "pipe", "inherit"],
    });
    const lines = createInterface({ input: this.process.stdout });
    this.port = await new Promise((resolve) => lines.once("line", resolve));
    lines.on("line", (line) => {
      this.#pushes.push(JSON.parse(line));
      this.#woken();
    });
  }

  /** By which a relay pushes to this service. */
  get relayOptions() {
    return ["--push-subject", "mailto:a@orvik.example", "--push-service", `localhost:${this.port}`, "--push-trust", certificate];
  }

  async end() {
    if (this.process.exitCode === null && this.process.signalCode === null) {
      this.process.kill();
      await once(this.process, "exit");
    }
  }

  async next() {
    const end = Date.now() + patienceMs;
    while (this.#pushes.length === 0) {
      const left = end - Date.now();
      if (left <= 0) throw new Error("nothing is pushed");
      await new Promise((wake) => {
        this.#woken = wake;
        setTimeout(wake, left).unref();
      });
    }
    return this.#pushes.shift();
  }

  /** What has come and was not asked for. */
  get waiting() {
    return this.#pushes.map(({ path }) => path);
  }
}

/** What a browser keeps of a subscription, by which it opens what is pushed (RFC 8291). */
class Subscription {
  #keys = createECDH("prime256v1");
  #auth = randomBytes(16);
  #public = this.#keys.generateKeys();

  constructor(endpoint, applicationServerKey) {
    Object.assign(this, { endpoint, applicationServerKey });
  }

  get said() {
    return {
      endpoint: this.endpoint, key: this.applicationServerKey,
      p256dh: this.#public.toString("base64url"), auth: this.#auth.toString("base64url"),
    };
  }

  opened(body) {
    const [salt, sender, sealed] = [body.subarray(0, 16), body.subarray(21, 86), body.subarray(86)];
    const derive = (material, from, info, length) => Buffer.from(hkdfSync("sha256", material, from, info, length));
    const shared = this.#keys.computeSecret(sender);
    const material = derive(shared, this.#auth, Buffer.concat([Buffer.from("WebPush: info\0"), this.#public, sender]), 32);
    const cipher = createDecipheriv("aes-128-gcm", derive(material, salt, "Content-Encoding: aes128gcm\0", 16),
      derive(material, salt, "Content-Encoding: nonce\0", 12));
    cipher.setAuthTag(sealed.subarray(-16));
    const text = Buffer.concat([cipher.update(sealed.subarray(0, -16)), cipher.final()]);
    if (text.at(-1) !== 2) throw new Error("not the last record");
    return text.subarray(0, -1).toString();
  }
}

/** Runs in each document before it: the subscription is kept by the test, which is asked by `browserSide`. */
function standIn() {
  const bytes = (text) => Uint8Array.from(atob(text.replaceAll("-", "+").replaceAll("_", "/")), (each) => each.charCodeAt(0)).buffer;
  const subscriptionOf = (said) => said === null ? null : {
    endpoint: said.endpoint,
    expirationTime: null,
    options: { userVisibleOnly: true, applicationServerKey: bytes(said.key) },
    getKey: (name) => bytes(said[name]),
    toJSON: () => ({ endpoint: said.endpoint, expirationTime: null, keys: { p256dh: said.p256dh, auth: said.auth } }),
    unsubscribe: () => window.browserSide("unsubscribe"),
  };
  PushManager.prototype.getSubscription = async () => subscriptionOf(await window.browserSide("find"));
  PushManager.prototype.subscribe = async ({ userVisibleOnly, applicationServerKey }) => {
    if (Notification.permission !== "granted" || !userVisibleOnly) throw new DOMException("not allowed", "NotAllowedError");
    const key = typeof applicationServerKey === "string" ? applicationServerKey
      : btoa(String.fromCharCode(...new Uint8Array(applicationServerKey.buffer ?? applicationServerKey)));
    return subscriptionOf(await window.browserSide("subscribe", key.replaceAll("+", "-").replaceAll("/", "_").replaceAll("=", "")));
  };
  Notification.requestPermission = async () => {
    await window.browserSide("permit");
    return Notification.permission;
  };
}

/** A phone: a browser with its subscription, and its notifications, which outlive its pages. */
export class Phone {
  /** The first word of the endpoints that it gets: how the push service answers. */
  answer = "ok";
  #count = 0;

  constructor(browser, service, origin) {
    Object.assign(this, { browser, service, origin });
  }

  async start() {
    // Of the same origin, and no page of the worker's.
    this.outside = await this.browser.newPage();
    await this.outside.goto(`${this.origin}/healthz`);
    this.protocol = await this.outside.createCDPSession();
    this.protocol.on("ServiceWorker.workerRegistrationUpdated", ({ registrations }) => {
      this.registrationId = registrations.find(({ isDeleted }) => !isDeleted)?.registrationId ?? this.registrationId;
    });
    await this.protocol.send("ServiceWorker.enable");
  }

  async open(address) {
    const page = await phonePage(this.browser);
    await page.exposeFunction("browserSide", (what, key) => this.#answerPage(what, key));
    await page.evaluateOnNewDocument(standIn);
    await page.goto(address);
    return page;
  }

  async #answerPage(what, key) {
    if (what === "permit") await this.browser.defaultBrowserContext().overridePermissions(this.origin, ["notifications"]);
    if (what === "subscribe" && this.subscription?.applicationServerKey !== key) {
      this.#count += 1;
      this.subscription = new Subscription(`https://localhost:${this.service.port}/${this.answer}/${this.#count}`, key);
    }
    if (what === "unsubscribe") {
      const wasSubscribed = this.subscription !== undefined;
      this.subscription = undefined;
      return wasSubscribed;
    }
    return this.subscription?.said ?? null;
  }

  /** Has the worker woken up by what is pushed next, and says what the relay had written. */
  async receive() {
    const { body, headers } = await this.service.next();
    const data = this.subscription.opened(Buffer.from(body, "base64url"));
    await this.deliver(data);
    return { ...JSON.parse(data), headers };
  }

  deliver(data) {
    return this.protocol.send("ServiceWorker.deliverPushMessage", { origin: this.origin, registrationId: this.registrationId, data });
  }

  notifications() {
    return this.outside.evaluate(async () => {
      const registration = await navigator.serviceWorker.getRegistration("/orvik/p");
      return (await registration.getNotifications()).map(({ title, body, tag, lang, data }) => ({ title, body, tag, lang, data }));
    });
  }

  /** Waits for notifications that this is true of. A browser without a screen takes each away after half a minute. */
  async shows(condition) {
    const end = Date.now() + patienceMs;
    let most = [];
    for (;;) {
      const shown = await this.notifications();
      if (condition(shown)) return shown;
      if (shown.length >= most.length) most = shown;
      if (Date.now() > end) throw new Error(`shown at most: ${JSON.stringify(most)}`);
      await new Promise((wake) => { setTimeout(wake, 20); });
    }
  }

  /** Taps the notification whose title begins so; says what the worker would have the browser do, which only a hand may ask for. */
  async click(title) {
    const target = await this.browser.waitForTarget((each) => each.type() === "service_worker" && each.url().startsWith(this.origin));
    const worker = await target.worker();
    return worker.evaluate(async (wanted) => {
      const asked = [];
      self.clients.openWindow = async (address) => { asked.push(`open ${new URL(address, self.location.href)}`); return null; };
      WindowClient.prototype.focus = async function focus() { asked.push(`focus ${this.url}`); return this; };
      const all = await self.registration.getNotifications();
      const event = new NotificationEvent("notificationclick", { notification: all.find(({ title }) => title.startsWith(wanted)) });
      const waits = [];
      event.waitUntil = (promise) => waits.push(promise);
      self.dispatchEvent(event);
      await Promise.all(waits);
      return asked;
    }, title);
  }
}
