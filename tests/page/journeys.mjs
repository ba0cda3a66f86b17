// What people do with the page, in a browser, against the built relay and agent:
// node --test tests/page/journeys.mjs. ORVIK_BUILD names the folder of the programs.

import assert from "node:assert/strict";
import { readFileSync, writeFileSync } from "node:fs";
import { test } from "node:test";
import { fileURLToPath } from "node:url";
import { makeNextVersion } from "./nextVersion.mjs";
import { Phone, PushService } from "./push.mjs";
import { pageFolder, patienceMs, phonePage, Stage } from "./stage.mjs";

const sample = fileURLToPath(new URL("sample.json", import.meta.url));
const readings = JSON.parse(readFileSync(sample, "utf8"));

/** A test with a stage of its own, and a page that has said no error at its end. */
function journey(name, play, prepare = () => undefined) {
  test(name, { timeout: 3 * patienceMs }, async () => {
    const stage = Object.assign(new Stage(), { pages: [] });
    try {
      await prepare(stage);
      await stage.startRelay();
      await play(stage).catch(async (error) => {
        for (const page of stage.pages) console.error(page.url(), await page.evaluate(() => document.body.innerText), page.faults);
        throw error;
      });
      for (const page of stage.pages) assert.deepEqual(page.faults, [], "the page says no error");
    } finally {
      await stage.end();
    }
  });
}

async function opened(stage, browser, address) {
  const page = await phonePage(browser);
  stage.pages.push(page);
  await page.goto(address);
  return page;
}

/** A computer, and a page that shows it. */
async function live(stage, options) {
  const agent = await stage.startAgent({ sample, options });
  const browser = await stage.startBrowser();
  const page = await opened(stage, browser, agent.link);
  await phase(page, "live");
  return { agent, browser, page };
}

const says = (page, ...texts) => page.waitForFunction(
  (wanted) => wanted.every((text) => document.body.innerText.replaceAll("\u00a0", " ").includes(text)), {}, texts);
const phase = (page, name) => page.waitForSelector(`.page[data-phase="${name}"]`);
const count = (page, selector, wanted) => page.waitForFunction(
  (each, number) => document.querySelectorAll(each).length === number, {}, selector, wanted);
const badge = (page, wanted) => page.waitForFunction(
  (number) => document.querySelector(".badge")?.textContent === number, {}, String(wanted));
/** Not with the pointer: a notice may come, or a sheet still move, and shift what is to be tapped. */
const tap = (page, selector) => page.waitForFunction((each) => {
  const target = document.querySelector(each);
  if (target === null) return false;
  target.scrollIntoView({ block: "center", behavior: "instant" });
  const { x, y, width, height } = target.getBoundingClientRect();
  if (!target.contains(document.elementFromPoint(x + width / 2, y + height / 2))) return false;
  target.click();
  return true;
}, {}, selector);
/** Writes into a field in place of what it has. */
async function fill(page, selector, text) {
  await page.waitForSelector(selector);
  await page.$eval(selector, (field) => field.select());
  await page.type(selector, text);
}
/** Waits for the worker to keep every part that is kept without having been used; the last one is looked for. */
const isKept = (page) => page.waitForFunction(
  async () => (await (await caches.open((await caches.keys())[0])).match("/orvik/manifest.webmanifest")) !== undefined);
/** Leaves out faults that the browser itself says on its console. */
const allow = (page, what) => { page.faults = page.faults.filter((fault) => !what.test(fault)); };
/** Waits for a sample that comes after this moment. */
async function nextReading(page) {
  const lineOf = () => document.querySelector(".live-line")?.textContent;
  const before = await page.evaluate(lineOf);
  await phase(page, "live");
  await page.waitForFunction((line) => {
    const now = document.querySelector(".live-line")?.textContent;
    return now !== line && now.includes(":");
  }, {}, before);
}
/** Puts the page behind another one, as a switch to another tab does, and back. */
async function hide(page) {
  const cover = await page.browser().newPage();
  await cover.bringToFront();
  await page.waitForFunction(() => document.visibilityState === "hidden", { polling: 100 });
  return async () => {
    await page.bringToFront();
    await cover.close();
  };
}

for (const name of ["chromium", "firefox"]) {
  journey(`${name}: from the scanned link to live values, and again from storage`, async (stage) => {
    const agent = await stage.startAgent({ name: "Zoë’s Studio", sample });
    const browser = await stage.startBrowser(name);
    const page = await opened(stage, browser, agent.link);
    await phase(page, "live");
    await says(page, "Zoë’s Studio", "All is well.", "13%", "48 °C", "84%", "compiler", "9.8 of 16");
    assert.equal(await page.evaluate(() => location.href), agent.link.split("#")[0], "the link is out of the address");
    const secret = agent.link.split(".")[2];
    assert.ok(!(await page.evaluate(() => JSON.stringify(localStorage) + document.documentElement.outerHTML)).includes(secret));
    writeFileSync(stage.path("sample-Zoë’s Studio.json"), JSON.stringify({ ...readings, cpu_pct: 77 }));
    await says(page, "77%");

    const second = await opened(stage, await stage.startBrowser(name), agent.link);
    await phase(second, "live");
    await agent.after("2 phones connected");
    await page.reload();
    await says(page, "Zoë’s Studio");
    await phase(page, "live");
  });
}

journey("away and back: hidden, the relay killed, the computer gone", async (stage) => {
  const { agent, page } = await live(stage);

  const comeBack = await hide(page);
  await comeBack();
  await nextReading(page);

  await stage.relay.end("SIGKILL");
  await phase(page, "unreachable");
  await says(page, "The relay cannot be reached.");
  await stage.startRelay();
  await nextReading(page);

  await agent.end("SIGKILL");
  await phase(page, "offline");
  await says(page, "No contact.", "Last known values");
  await stage.startAgent({ sample });
  await nextReading(page);
  // The browser says each refused connection on its console, that for the worker's script included,
  // and nothing may be said besides.
  allow(page, /WebSocket connection|fetching the script/);
});

journey("a replaced pairing stops, and scanning again goes on", async (stage) => {
  const { agent, browser, page } = await live(stage);
  await agent.end();
  // The same identifier with another secret, as after a pairing that was put back: refused for good.
  const changed = agent.link.replace(/(#1\.[^.]+\.)(.)/, (_, head, first) => head + (first === "A" ? "B" : "A"));
  const owner = await stage.startAgent({ sample });
  const stranger = await opened(stage, browser, "about:blank");
  await stranger.goto(changed);
  await says(stranger, "Link replaced.", "Scan the new code");
  await tap(stranger, ".button:not(.plain)");
  await fill(stranger, "#link", owner.link);
  await tap(stranger, "form .button");
  await phase(stranger, "live");
});

journey("alerts that were raised while nobody looked", async (stage) => {
  const { agent, page } = await live(stage, ["--emit-alert", "disk_full"]);
  await badge(page, 1);
  const comeBack = await hide(page);
  agent.process.kill("SIGUSR1");
  await comeBack();
  await badge(page, 2);
  await tap(page, ".bell");
  await count(page, ".alert", 2);
  await tap(page, ".seen");
  await count(page, ".seen", 0);
  await page.reload();
  await count(page, ".alert", 2);
});

journey("installable, and opened without a network", async (stage) => {
  const { agent, page } = await live(stage);
  await page.evaluate(() => navigator.serviceWorker.ready.then(() => undefined));
  await isKept(page);
  const protocol = await page.createCDPSession();
  await page.reload();
  await phase(page, "live");
  const { installabilityErrors } = await protocol.send("Page.getInstallabilityErrors");
  assert.deepEqual(installabilityErrors.map(({ errorId }) => errorId), []);
  const { errors } = await protocol.send("Page.getAppManifest");
  assert.deepEqual(errors, []);

  await agent.end("SIGKILL");
  await stage.relay.end("SIGKILL");
  await page.reload();
  await says(page, "Studio", "Last known values", "13%");
  assert.equal(await page.$(".page[data-phase=live]"), null, "what is kept is not shown as live");
  await tap(page, ".chooser");
  await says(page, "Computers");
  allow(page, /WebSocket connection|Failed to load resource/);
});

journey("several computers: pasted, chosen, renamed, removed", async (stage) => {
  const studio = await stage.startAgent({ sample });
  const server = await stage.startAgent({ name: "Server", sample, options: [] });
  const browser = await stage.startBrowser();
  const page = await opened(stage, browser, studio.link.split("#")[0]);
  await fill(page, "#link", "https://orvik.example/orvik/p#2.x.y.z");
  await tap(page, "form .button");
  await says(page, "newer");
  for (const [name, { link }] of Object.entries({ Studio: studio, Server: server })) {
    if (await page.$("#link") === null) {
      await tap(page, ".chooser");
      await tap(page, ".computers > main > .link");
    }
    await fill(page, "#link", link);
    await tap(page, "form .button");
    await count(page, "#link", 0);
    await phase(page, "live");
    await says(page, name);
  }
  await tap(page, ".chooser");
  await count(page, ".card", 2);
  await tap(page, ".card:first-child .card-open");
  await phase(page, "live");
  await says(page, "Studio");
  // Opening a link again replaces its computer and adds none.
  await page.goto("about:blank");
  await page.goto(server.link);
  // A second visit is asked whether to install.
  await tap(page, ".sheet .plain");
  await count(page, ".sheet", 0);
  await tap(page, ".chooser");
  await count(page, ".card", 2);
  await tap(page, ".card:last-child .card-manage");
  await fill(page, "#computer-name", "Cellar");
  await tap(page, ".sheet .button");
  await says(page, "Cellar");
  await tap(page, ".card:last-child .card-manage");
  await tap(page, ".sheet .link.danger");
  await tap(page, ".sheet .button.danger");
  await count(page, ".card", 1);
  // Removed for good: its card does not come back.
  await page.goto("about:blank");
  await page.goto(studio.link.split("#")[0]);
  await phase(page, "live");
  await tap(page, ".chooser");
  await says(page, "Computers");
  await count(page, ".card", 1);
});

/** A page under the old version's worker, of which a new version has come to be since. */
async function outdated(stage) {
  const { agent, browser, page } = await live(stage);
  await page.waitForSelector(".computer");
  await page.evaluate(() => navigator.serviceWorker.ready.then(() => undefined));
  await page.goto(agent.link.split("#")[0]);
  await phase(page, "live");
  await isKept(page);
  const next = stage.path("next");
  const version = makeNextVersion(pageFolder, next);
  await stage.relay.end();
  await stage.startRelay(next);
  return { agent, browser, page, version };
}
/** Waits for the page to have loaded a version, also while it is hidden. */
const runs = (page, version) => page.waitForFunction(
  (wanted) => document.querySelector("meta[name=version]")?.content === wanted, { polling: 100 }, version);
const versionOf = (page) => page.$eval("meta[name=version]", (meta) => meta.content);
const askForUpdate = (page) => page.evaluate(async () => {
  const registration = await navigator.serviceWorker.getRegistration();
  await registration.update();
  await new Promise((waits) => {
    const look = () => { if (registration.waiting !== null) waits(); else setTimeout(look, 50); };
    look();
  });
});
/** Runs one version and no other, also in a part that it had not used, and has not loaded anew more often. */
async function isWhole(page, version, mostLoads) {
  await phase(page, "live");
  // Not with the pointer: the notice of a new version may come and move what is below it.
  await (await page.waitForSelector(".bell")).evaluate((bell) => bell.click());
  await says(page, "No alerts so far.");
  await page.goBack();
  await phase(page, "live");
  assert.equal(await versionOf(page), version);
  const { document: own, loaded } = await page.evaluate(async () => ({
    document: await (await fetch("/orvik/hashes.txt", { cache: "no-store" })).text(),
    loaded: performance.getEntriesByType("resource").map(({ name }) => new URL(name).pathname).filter((path) => /^\/orvik\/a\/.*\.(js|css)$/.test(path)),
  }));
  assert.ok(loaded.length >= 3);
  const known = loaded.map((path) => own.includes(path.slice("/orvik/".length)));
  assert.equal(new Set(known).size, 1, `parts of one version: ${loaded}`);
  assert.ok(page.loads <= mostLoads, `loaded ${page.loads} times`);
}
function countLoads(page) {
  page.loads = 0;
  page.on("load", () => { page.loads += 1; });
}

journey("a new version: an open page goes on, with its old parts gone, and switches once it is hidden", async (stage) => {
  const { page, version } = await outdated(stage);
  const old = await versionOf(page);
  countLoads(page);
  await askForUpdate(page);
  await isWhole(page, old, 0);
  const comeBack = await hide(page);
  await runs(page, version);
  await comeBack();
  await isWhole(page, version, 1);
  await (await hide(page))();
  await isWhole(page, version, 1);
  await page.waitForFunction(async () => (await caches.keys()).length === 1);
  allow(page, /WebSocket connection|Failed to load resource/);
});

journey("a new version: a closed page opens whole, and is new at the second opening", async (stage) => {
  const { agent, browser, page, version } = await outdated(stage);
  const old = await versionOf(page);
  await page.goto("about:blank");
  page.faults = [];
  const second = await opened(stage, browser, agent.link.split("#")[0]);
  countLoads(second);
  await isWhole(second, old, 0);
  await askForUpdate(second);
  stage.pages = [page];
  await second.close();
  await page.bringToFront();
  // The browser lets the new worker take over once it has noticed that no page is open.
  await page.goto(`${new URL(agent.link).origin}/healthz`);
  await page.waitForFunction(async () => (await navigator.serviceWorker.getRegistration("/orvik/p")).waiting === null, { polling: 100 });
  countLoads(page);
  await page.goto(agent.link.split("#")[0]);
  await isWhole(page, version, 1);
  allow(page, /WebSocket connection|Failed to load resource/);
});

journey("a new version: of two tabs the hidden one switches, the one that is looked at goes on until it is hidden", async (stage) => {
  const { agent, browser, page, version } = await outdated(stage);
  const old = await versionOf(page);
  countLoads(page);
  const second = await opened(stage, browser, agent.link.split("#")[0]);
  await phase(second, "live");
  countLoads(second);
  await second.evaluate(async () => { await (await navigator.serviceWorker.getRegistration()).update(); });
  await runs(page, version);
  await isWhole(second, old, 0);
  // Looked at first, then hidden behind the other.
  await page.bringToFront();
  await runs(second, version);
  await isWhole(page, version, 1);
  await second.bringToFront();
  await isWhole(second, version, 1);
  for (const each of [page, second]) allow(each, /WebSocket connection|Failed to load resource/);
});

/** A journey with a relay that pushes. */
function pushJourney(name, play) {
  journey(`notifications: ${name}`, play, async (stage) => {
    stage.service = stage.add(new PushService());
    await stage.service.start();
    stage.relayOptions = stage.service.relayOptions;
  });
}
/** A phone whose page at `address` is open. */
async function phoneWith(stage, { link }, options) {
  const browser = await stage.startBrowser("chromium", options);
  const phone = new Phone(browser, stage.service, new URL(link).origin);
  await phone.start();
  const page = await phoneOpens(stage, phone, link);
  return { phone, page };
}
async function phoneOpens(stage, phone, address) {
  const page = await phone.open(address);
  stage.pages = [page];
  await phase(page, "live");
  return page;
}
/** Turns the switch at the end of the alerts, and waits for the relay to know. */
async function switchTo(stage, page, isOn, subscriptions) {
  await tap(page, ".bell");
  await tap(page, `.push-switch[aria-checked="${!isOn}"]`);
  await page.waitForSelector(`.push-switch[aria-checked="${isOn}"]`);
  await stage.counts("subscriptions", subscriptions);
  await page.goBack();
}
const close = async (stage, page) => {
  stage.pages = [];
  await page.close();
};

pushJourney("asked for after the first alert seen; raised on a closed page, cleared in its place, tapped", async (stage) => {
  const studio = await stage.startAgent({ sample, options: ["--emit-alert", "disk_full"] });
  const server = await stage.startAgent({ name: "Server", sample });
  const { phone, page } = await phoneWith(stage, studio);
  await page.goto("about:blank");
  await page.goto(server.link);
  await phase(page, "live");
  await page.goto("about:blank");
  await page.goto(studio.link);
  await badge(page, 1);
  assert.equal(await page.$(".sheet .allow"), null, "nobody is asked before an alert has been seen");
  await tap(page, ".bell");
  await tap(page, ".seen");
  await page.goBack();
  await tap(page, ".sheet .allow");
  // Both computers' relays are told, not only that of the one that is shown.
  await stage.counts("subscriptions", 2);
  assert.equal(phone.subscription.endpoint, `https://localhost:${stage.service.port}/ok/1`);
  await page.evaluate(() => navigator.serviceWorker.ready.then(() => undefined));
  // The one that was looked at last is not the one that the alert is from.
  await page.goto("about:blank");
  await page.goto(server.link);
  await phase(page, "live");
  await close(stage, page);

  const raisedAt = performance.now();
  studio.process.kill("SIGUSR1");
  const pushed = await phone.receive();
  const [raised] = await phone.shows((shown) => shown.length === 1);
  console.log(`# from the alert to the notification: ${Math.round(performance.now() - raisedAt)} ms`);
  assert.match(raised.title, /^Disk nearly full: [\d.]+%$/);
  assert.match(raised.body, /^Studio\n\d+\sGB free$/);
  assert.equal(pushed.headers.Urgency, "high");
  assert.doesNotMatch(JSON.stringify({ ...pushed.notification, data: undefined }), /[Dd]isk|Studio/, "nothing that the push service's browser shows tells of it");
  // The same kind again takes its place.
  studio.process.kill("SIGUSR1");
  await phone.receive();
  await phone.shows((shown) => shown.length === 1 && shown[0].data.number > raised.data.number);
  // Another kind of another computer stands beside it, until it is over; that another phone looks on is no matter.
  const another = await phonePage(await stage.startBrowser());
  await another.goto(server.link);
  await phase(another, "live");
  const file = stage.path("sample-Server.json");
  writeFileSync(file, JSON.stringify({ ...readings, on_ac: false, battery_state: "discharging" }));
  assert.equal((await phone.receive()).headers.Urgency, "high");
  const onBattery = "Running on battery: 84%";
  const [{ tag, body }] = (await phone.shows((shown) => shown.some(({ title }) => title === onBattery))).filter(({ title }) => title === onBattery);
  assert.match(body, /^Server/);
  writeFileSync(file, JSON.stringify(readings));
  assert.equal((await phone.receive()).headers.Urgency, "normal");
  studio.process.kill("SIGUSR1");
  await phone.receive();
  const two = await phone.shows((shown) => shown.length === 2);
  assert.equal(two.find(({ title }) => title === "Back on mains power")?.tag, tag);

  await another.close();
  const address = `${phone.origin}/orvik/p?c=${two.find(({ title }) => title.startsWith("Disk")).data.macId}`;
  assert.deepEqual(await phone.click("Disk nearly full"), [`open ${address}`]);
  await phone.shows((shown) => shown.length === 1);
  const again = await phoneOpens(stage, phone, address);
  await says(again, "Studio");
  assert.equal(again.url(), `${phone.origin}/orvik/p`);
  await badge(again, 3);
  // Into an open page, too.
  assert.deepEqual(await phone.click("Back on mains power"), [`focus ${address}`]);
  await says(again, "Server");
});

pushJourney("not for what is looked at; not when switched off; in the phone's language; what does not open is shown", async (stage) => {
  const agent = await stage.startAgent({ name: "Zoë’s Studio", sample, options: ["--emit-alert", "temp_high"] });
  const { phone, page } = await phoneWith(stage, agent, { extraOptions: ["--accept-lang=de-AT"] });
  await badge(page, 1);
  await switchTo(stage, page, true, 1);
  await phase(page, "live");
  agent.process.kill("SIGUSR1");
  await badge(page, 2);
  await close(stage, page);
  agent.process.kill("SIGUSR1");
  const pushed = await phone.receive();
  assert.deepEqual(stage.service.waiting, [], "what was looked at is not pushed");
  const [shown] = await phone.shows((all) => all.length === 1);
  assert.match(shown.title, /^Zu heiß: [\d,]+\s°C$/);
  assert.match(shown.body, /^Zoë’s Studio\n/);
  assert.equal(shown.lang, "de");
  // Overtaken on its way: the newer one stays.
  const older = { ...pushed, notification: { ...pushed.notification, data: { ...pushed.notification.data, number: 1 } } };
  await phone.deliver(JSON.stringify(older));
  for (const data of ["", "{", JSON.stringify({ ...pushed, notification: { data: { ...pushed.notification.data, envelope: "{}" } } })]) {
    await phone.deliver(data);
  }
  const all = await phone.shows((each) => each.length === 2);
  assert.equal(all.find(({ tag }) => tag === shown.tag).data.number, shown.data.number);
  assert.equal(all.find(({ tag }) => tag !== shown.tag).title, "Orvik", "nothing is said of what does not open");

  const again = await phoneOpens(stage, phone, `${phone.origin}/orvik/p`);
  // Seen in the page by now: not told a second time.
  await badge(again, 3);
  await phone.deliver(JSON.stringify({ ...pushed, notification: { ...pushed.notification, data: { ...pushed.notification.data, number: Number.MAX_SAFE_INTEGER } } }));
  // What is shown in its turn says that the worker is done with the one before, too.
  await phone.deliver("");
  await phone.shows(([first, ...others]) => others.length === 0 && first?.title === "Orvik" && first.data.macId === undefined);
  await switchTo(stage, again, false, 0);
  assert.equal(phone.subscription, undefined);
  await close(stage, again);
  agent.process.kill("SIGUSR1");
  const last = await phoneOpens(stage, phone, `${phone.origin}/orvik/p`);
  await badge(last, 4);
  assert.deepEqual(stage.service.waiting, [], "nothing is pushed");
});

pushJourney("a subscription that has expired is replaced, and the relay's end does not matter", async (stage) => {
  const agent = await stage.startAgent({ sample, options: ["--emit-alert", "disk_full"] });
  const { phone, page } = await phoneWith(stage, agent);
  phone.answer = "gone";
  await badge(page, 1);
  await switchTo(stage, page, true, 1);
  await close(stage, page);
  agent.process.kill("SIGUSR1");
  await stage.service.next();
  await stage.counts('push_failures_total{cause="gone"}', 1);
  await stage.counts("subscriptions", 0);
  // The browser has another one by now.
  phone.subscription = undefined;
  phone.answer = "ok";
  await close(stage, await phoneOpens(stage, phone, `${phone.origin}/orvik/p`).then(async (again) => {
    await stage.counts("subscriptions", 1);
    return again;
  }));
  await stage.relay.end("SIGKILL");
  await stage.startRelay();
  await agent.after("online, ");
  agent.process.kill("SIGUSR1");
  await phone.receive();
  await phone.shows((shown) => shown.length === 1 && shown[0].body.startsWith("Studio"));
});
