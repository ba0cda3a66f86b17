import assert from "node:assert/strict";
import { test } from "node:test";
import { base64url } from "../protocol/base64.js";
import { deriveKeys } from "../protocol/keys.js";
import { createState, type Opening, type State } from "../state/createState.js";
import { FakeClock, FakePushBrowser, FakeRelay, FakeStorage } from "./fakes.js";
import { sealed } from "./sealed.js";

const day = 86_400_000;
const secret = (seed: number) => new Uint8Array(32).fill(seed);
const idOf = (seed: number) => base64url(new Uint8Array(16).fill(seed));
const linkOf = (id: number, key = id, name = `computer ${id}`) =>
  `https://h/orvik/p#1.${idOf(id)}.${base64url(secret(key))}.${encodeURIComponent(name)}`;

/** A page with its surroundings; `storage` may be that of an earlier visit. */
class Page {
  readonly clock: FakeClock;
  readonly relay = new FakeRelay();
  readonly state: State;
  isOnline = true;
  addressCleared = 0;
  readonly browser = new FakePushBrowser();

  constructor(readonly storage = new FakeStorage(), startMs = 1_800_000_000_000) {
    this.clock = new FakeClock(startMs);
    this.state = createState({
      clock: this.clock, storage, openSocket: this.relay.open, isOnline: () => this.isOnline, persist: () => undefined,
      clearAddress: () => { this.addressCleared++; }, install: () => Promise.resolve(), update: () => undefined, push: () => Promise.resolve(this.browser), version: "v",
    });
  }

  get view() { return this.state.view; }
  get current() { return this.state.view.current; }

  async open(opening: Partial<Opening> = {}, isVisible = true): Promise<this> {
    this.state.setVisible(isVisible);
    await this.state.start({
      relay: Promise.resolve("wss://relay"), early: Promise.resolve(undefined), fault: undefined, isInstalled: false, ...opening,
    });
    await settled();
    return this;
  }

  /** Seals and sends as the computer would. */
  async send(seed: number, kind: "s" | "a", payload: object, key = seed): Promise<void> {
    const macId = idOf(seed);
    const socket = this.relay.sockets.filter((each) => each.address.endsWith(macId)).at(-1);
    socket?.say(await sealed(kind, payload, new Uint8Array(16).fill(seed), secret(key)));
    await settled();
  }

  sample(seed: number, members: object = {}): Promise<void> {
    return this.send(seed, "s", { epoch_ms: this.clock.now(), cpu_pct: 20, ...members });
  }
}

/** Envelopes that are being opened: WebCrypto answers from another thread, whenever it can. */
const opening = new Set<Promise<unknown>>();
const decrypt = crypto.subtle.decrypt.bind(crypto.subtle);
crypto.subtle.decrypt = (...given: Parameters<typeof decrypt>) => {
  const answer = decrypt(...given);
  opening.add(answer);
  const forget = () => { opening.delete(answer); };
  answer.then(forget, forget);
  return answer;
};

/** Everything that is under way has had its effect. */
async function settled(): Promise<void> {
  do {
    await Promise.allSettled(opening);
    for (let turn = 0; turn < 20; turn++) await new Promise((resolve) => { setImmediate(resolve); });
  } while (opening.size > 0);
}

test("from a pasted link to live, late, and back", async () => {
  const page = await new Page().open();
  assert.equal(page.current.macId.value, undefined);
  assert.deepEqual([await page.view.actions.addByLink("https://h/orvik/p#1.x"), await page.view.actions.addByLink("https://h/orvik/p#2.x"),
    await page.view.actions.addByLink(linkOf(1))], ["linkDamaged", "linkNewer", "added"]);
  assert.equal(page.relay.last.address, `wss://relay/v1/phone/${idOf(1)}`);
  page.relay.last.accept();
  assert.equal(page.current.phase.value, "connecting");
  await page.sample(1, { mac_info: { product_name: "Machine" } });
  assert.deepEqual([page.current.phase.value, page.current.name.value, page.current.beats.value], ["live", "computer 1", 1]);
  assert.equal(page.view.computers.value[0]?.verdict.first.key, "allIsWell");
  page.clock.advance(5_000);
  assert.equal(page.current.phase.value, "live");
  page.clock.advance(2_000);
  assert.deepEqual(page.current.verdict.value.second, { key: "lastReading", ageMs: 7_000 });
  await page.sample(1);
  assert.deepEqual([page.current.phase.value, page.current.macInfo.value?.productName], ["live", "Machine"]);
  // Hidden: neither connection nor timer; back: late until a new sample has come.
  page.state.setVisible(false);
  assert.ok(page.relay.last.isClosed);
  assert.equal(page.clock.pending, 0);
  page.clock.advance(1_000);
  page.state.setVisible(true);
  assert.equal(page.current.phase.value, "late");
  page.relay.last.accept();
  await page.sample(1);
  assert.equal(page.current.phase.value, "live");
  page.relay.last.say({ mac: false });
  assert.deepEqual([page.current.phase.value, page.current.verdict.value.sky], ["offline", "fog"]);
});

test("envelopes of another pairing alone are told, and one of our own ends it", async () => {
  const page = await new Page().open();
  await page.view.actions.addByLink(linkOf(1));
  page.relay.last.accept();
  await page.send(1, "s", { epoch_ms: 1_800_000_000_000 }, 9);
  assert.equal(page.current.phase.value, "connecting");
  await page.send(1, "s", { epoch_ms: 1_800_000_000_000 }, 9);
  assert.equal(page.current.phase.value, "foreign");
  await page.sample(1);
  assert.equal(page.current.phase.value, "live");
  page.relay.last.end(4403);
  assert.equal(page.current.phase.value, "replaced");
});

test("the next visit begins with what was last known, as such; alerts are kept and come once", async () => {
  const first = await new Page().open();
  await first.view.actions.addByLink(linkOf(1));
  first.relay.last.accept();
  const alert = { kind: "disk_full", state: "raised", epoch_ms: first.clock.now(), value: 91, threshold: 90 };
  await first.send(1, "a", alert);
  assert.ok(first.relay.last.sent[0]?.endsWith('"last":0}'));
  first.relay.last.say({ alert: 41 });
  await first.send(1, "a", alert);
  await first.send(1, "a", { ...alert, value: 91.5 });
  const minute = first.clock.now() / 1000 - 600;
  await first.sample(1, { disk_pct: 91, history: { t0: minute, dm: [0, 1], cpu: [5, 6], temp: [null, null], w: [1, 2] } });
  assert.deepEqual([first.current.alerts.value.length, first.current.unseenAlerts.value, first.current.alerts.value[0]?.isStillSo], [1, 1, true]);
  assert.equal(first.current.verdict.value.sky, "amber");
  // A number counts once its envelope is here.
  first.relay.last.say({ alert: 42 });
  first.view.actions.markSeen();
  assert.deepEqual([first.current.unseenAlerts.value, first.current.verdict.value.sky], [0, "calm"]);
  first.state.setVisible(false);
  await settled();

  const second = await new Page(first.storage, first.clock.now() + 7_200_000).open();
  assert.deepEqual([second.current.phase.value, second.current.sample.value?.diskPercent, second.current.beats.value], ["late", 91, 0]);
  assert.deepEqual(second.current.verdict.value.second, { key: "lastReading", ageMs: 7_200_000 });
  assert.ok(second.current.hasHistory.value);
  assert.deepEqual([second.current.alerts.value.length, second.current.unseenAlerts.value, second.current.alerts.value[0]?.isStillSo], [1, 0, false]);
  second.relay.last.onopen?.();
  assert.ok(second.relay.last.sent[0]?.endsWith('"last":41}'));
  second.relay.last.end(1006);
  second.clock.advance(1000);
  second.relay.last.end(1006);
  assert.equal(second.current.phase.value, "unreachable");
  second.isOnline = false;
  second.state.networkChanged();
  assert.equal(second.current.phase.value, "noNetwork");
  second.relay.last.accept();
  await second.sample(1, { disk_pct: 91 });
  assert.deepEqual([second.current.phase.value, second.current.verdict.value.sky], ["live", "calm"]);
});

test("several computers: only the shown one is connected, all while the list is open, the same replaces itself", async () => {
  const page = await new Page().open();
  const { actions } = page.view;
  for (const id of [1, 2, 3]) await actions.addByLink(linkOf(id));
  const open = () => page.relay.sockets.filter((socket) => !socket.isClosed).map((socket) => socket.address.slice(-22));
  assert.deepEqual(open(), [idOf(3)]);
  actions.watchAll(true);
  assert.deepEqual(open().sort(), [1, 2, 3].map(idOf).sort());
  for (const socket of page.relay.sockets) if (!socket.isClosed) socket.accept();
  await page.sample(1);
  await page.sample(3);
  const active = (id: number) => page.relay.sockets.filter((socket) => socket.address.endsWith(idOf(id))).at(-1)?.sent.includes('{"active":true}');
  assert.deepEqual([active(1), active(3)], [false, true]);
  page.clock.advance(39_000);
  const phases = () => page.view.computers.value.map((card) => card.phase);
  assert.deepEqual(phases(), ["live", "connecting", "late"]);
  page.clock.advance(1_000);
  assert.deepEqual(phases(), ["late", "connecting", "late"]);
  actions.watchAll(false);
  actions.choose(idOf(1));
  assert.deepEqual(open(), [idOf(1)]);

  actions.rename(idOf(1), " Study\u202e ");
  await actions.addByLink(linkOf(1, 7, "new link"));
  assert.deepEqual(page.view.computers.value.map((card) => card.name), ["Study", "computer 2", "computer 3"]);
  actions.rename(idOf(1), "  ");
  assert.equal(page.current.name.value, "new link");
  actions.remove(idOf(1));
  await settled();
  assert.deepEqual([page.current.name.value, page.storage.paired.size, page.addressCleared], ["computer 2", 2, 1]);
  assert.ok([...page.storage.texts.keys()].every((key) => !key.startsWith(idOf(1))));
  for (const [computer, shown] of [[idOf(3), "computer 3"], [idOf(1), "computer 3"]] as const) {
    assert.equal((await new Page(page.storage).open({ computer })).current.name.value, shown);
  }
});

test("an installed page's first address adds its computer once, and never brings a removed one back", async () => {
  const storage = new FakeStorage();
  const openInstalled = async (page: Page) => {
    const keys = await deriveKeys(idOf(1), secret(1));
    return page.open({ isInstalled: true, early: Promise.resolve({ link: { macId: idOf(1), secret: secret(1), name: "one" }, keys, socket: undefined }) });
  };
  const first = await openInstalled(new Page(storage));
  assert.equal(first.current.name.value, "one");
  first.view.actions.rename(idOf(1), "own");
  await settled();
  const second = await openInstalled(new Page(storage));
  assert.equal(second.current.name.value, "own");
  second.view.actions.remove(idOf(1));
  await settled();
  const third = await openInstalled(new Page(storage));
  assert.equal(third.current.macId.value, undefined);
  await third.view.actions.addByLink(linkOf(1));
  assert.deepEqual(storage.written?.removed, []);
});

test("a connection that was begun with the page is used once, and closed when nobody looks any more", async () => {
  for (const isVisible of [true, false]) {
    const page = new Page(new FakeStorage());
    const socket = page.relay.open("ahead");
    const keys = await deriveKeys(idOf(1), secret(1));
    await page.open({ early: Promise.resolve({ link: { macId: idOf(1), secret: secret(1), name: "one" }, keys, socket }) }, isVisible);
    assert.equal(socket.isClosed, !isVisible);
    if (!isVisible) continue;
    socket.end(1006);
    page.clock.advance(1000);
    assert.deepEqual(page.relay.sockets.map(({ address }) => address), ["ahead", `wss://relay/v1/phone/${idOf(1)}`]);
  }
});

test("what stands in the way is told in order, and the page works on", async () => {
  const page = new Page();
  page.storage.answer = "full";
  await page.open({ fault: "newer" });
  await page.view.actions.addByLink(linkOf(1));
  await settled();
  page.relay.last.accept();
  await page.send(1, "s", { epoch_ms: page.clock.now() + 3 * 3_600_000, cpu_pct: 1 });
  page.clock.advance(1000);
  const told = [];
  for (let problem = page.view.problem.value; problem !== undefined; problem = page.view.problem.value) {
    told.push(problem.kind);
    page.view.actions.dismissProblem();
  }
  assert.deepEqual(told, ["linkNewer", "storageFull", "clockOff"]);
  assert.equal(page.current.phase.value, "live");
  assert.equal(page.current.readAtMs.value, page.clock.now() - 1000);
  const blocked = await new Page().open({ fault: "insecure" });
  assert.deepEqual([blocked.view.problem.value?.kind, blocked.view.isReady.value], ["insecure", true]);
});

test("the home screen is offered after a while, and not again for 30 days", async () => {
  const page = await new Page().open();
  page.state.setInstallable("prompt");
  await page.view.actions.addByLink(linkOf(1));
  page.relay.last.accept();
  for (let second = 0; second < 20; second += 2) {
    assert.equal(page.view.installOffer.value, undefined);
    await page.sample(1);
    page.clock.advance(2000);
  }
  assert.equal(page.view.installOffer.value, "prompt");
  page.view.actions.declineInstall();
  page.clock.advance(5000);
  assert.equal(page.view.installOffer.value, undefined);
  page.clock.jump(31 * day);
  page.clock.advance(2000);
  assert.equal(page.view.installOffer.value, "prompt");
});

test("notifications: asked for once an alert was seen, told to every relay, withdrawn with a computer and with the switch", async () => {
  const page = await new Page().open();
  const { actions } = page.view;
  const key = base64url(Uint8Array.of(4, ...new Array<number>(64).fill(0)));
  const connected = async (seed: number) => {
    page.relay.last.accept();
    page.relay.last.say({ push: key });
    await page.sample(seed);
    return page.relay.last;
  };
  const shown = () => [page.view.push.value, page.view.pushOffer.value];
  const said = (socket: { sent: string[] }) => socket.sent.splice(0).filter((text) => text.includes("subscribe"))
    .map((text) => Object.entries(JSON.parse(text) as object)
      .map(([what, of]) => `${what} ${typeof of === "string" ? of : Object.values(of as object).filter((each) => String(each).startsWith("https")).join(" for ")}`).join());
  await actions.addByLink(linkOf(1));
  page.relay.last.accept();
  await page.sample(1);
  assert.deepEqual(shown(), ["unoffered", false], "of a relay that does not push");
  await actions.addByLink(linkOf(2));
  const first = await connected(2);
  assert.deepEqual(shown(), ["off", false]);
  await page.send(2, "a", { kind: "disk_full", state: "raised", epoch_ms: page.clock.now() });
  page.clock.advance(1000);
  assert.deepEqual(shown(), ["off", false]);
  actions.markSeen();
  page.clock.advance(1000);
  assert.deepEqual(shown(), ["off", true]);
  actions.declinePush();
  await settled();
  assert.deepEqual(shown(), ["off", false]);
  page.clock.jump(31 * day);
  page.clock.advance(1000);
  assert.deepEqual(shown(), ["off", true]);
  // The other computer is connected for this alone.
  actions.setPush(true);
  await settled();
  assert.deepEqual(shown(), ["on", false]);
  assert.deepEqual(said(first), ["subscribe https://push.example/1"]);
  const second = await connected(1);
  assert.notEqual(second, first);
  assert.deepEqual(said(second), ["subscribe https://push.example/1"]);
  for (const socket of [first, second]) socket.say({ subscribed: "https://push.example/1" });
  await settled();
  page.clock.advance(10_000);
  assert.ok(second.isClosed && !first.isClosed);
  const { pushEndpoint, pushKey, pushToldMs } = page.storage.written ?? {};
  assert.deepEqual([pushEndpoint, pushKey?.length, pushToldMs], ["https://push.example/1", 65, page.clock.now()]);
  page.browser.permission = "denied";
  page.clock.advance(1000);
  assert.deepEqual(shown(), ["blocked", false], "nobody has just asked for it");
  // The browser has another one by now.
  page.browser.target = undefined;
  const again = await new Page(page.storage).open();
  again.browser.permission = "granted";
  again.browser.made = 1;
  const accepted = async () => {
    const socket = again.relay.last;
    socket.accept();
    socket.say({ push: key });
    await settled();
    return socket;
  };
  const third = await accepted();
  assert.deepEqual(said(third), ["subscribe https://push.example/2 for https://push.example/1"]);
  // The other computer's relay has to know of it too.
  const besides = await accepted();
  assert.notEqual(besides, third);
  assert.deepEqual(said(besides), ["subscribe https://push.example/2 for https://push.example/1"]);
  besides.say({ notSubscribed: "full" });
  await settled();
  assert.deepEqual([again.view.push.value, again.view.pushRefused.value.map(({ name }) => name.value)], ["on", ["computer 1"]]);
  again.clock.advance(10_000);
  for (const [answer, state] of [[{ notSubscribed: "full" }, "failed"], [{ subscribed: "https://push.example/2" }, "on"]] as const) {
    third.say(answer);
    await settled();
    assert.equal(again.view.push.value, state);
  }
  again.view.actions.remove(again.current.macId.value ?? "");
  assert.deepEqual(said(third), ["unsubscribe https://push.example/2"]);
  const fourth = await accepted();
  assert.deepEqual(said(fourth), ["subscribe https://push.example/2"]);
  // Another page of the same phone, which is in the background meanwhile.
  const other = await new Page(page.storage).open();
  other.browser.permission = "granted";
  other.state.setVisible(false);
  again.view.actions.setPush(false);
  await settled();
  assert.deepEqual(said(fourth), ["unsubscribe https://push.example/2"]);
  other.state.setVisible(true);
  await settled();
  other.relay.last.accept();
  other.relay.last.say({ push: key });
  other.view.actions.declineInstall();
  await settled();
  assert.deepEqual([other.view.push.value, page.storage.written?.wantsPush, said(other.relay.last)],
    ["off", false, ["unsubscribe https://push.example/2"]]);
  assert.deepEqual([again.view.push.value, again.browser.target], ["off", undefined]);
  // A relay that is not there when its computer leaves pushes to an endpoint that is given up.
  again.view.actions.setPush(true);
  await settled();
  assert.deepEqual(said(fourth), ["subscribe https://push.example/3 for https://push.example/2"]);
  fourth.say({ subscribed: "https://push.example/3" });
  await again.view.actions.addByLink(linkOf(3));
  again.view.actions.remove(again.current.macId.value ?? "");
  await settled();
  assert.equal(again.browser.target?.endpoint, "https://push.example/4");
  // A look that is too short for telling all of them does not count as one.
  for (const isVisible of [false, true]) {
    again.state.setVisible(isVisible);
    again.clock.advance(10_000);
    assert.equal(page.storage.written?.pushToldMs, isVisible ? again.clock.now() : 0);
  }
});
