import { batch, computed, signal } from "@preact/signals-core";
import { Connection, type ConnectionClock } from "../protocol/connection.js";
import { authentication, deriveKeys, type Keys } from "../protocol/keys.js";
import { readLink, type LinkFault, type PairingLink } from "../protocol/link.js";
import type { PushMessage } from "../protocol/push.js";
import { text } from "../protocol/readers.js";
import { phoneAddress } from "../protocol/relayAddress.js";
import type { Socket } from "../protocol/socket.js";
import type { Settings, Storage, StoredComputer, Written } from "../storage/storage.js";
import { Computer } from "./computer.js";
import { isTimeToOfferInstall } from "./installRule.js";
import type { PushBrowser, PushKeeper } from "./pushKeeper.js";
import type { PushState } from "./pushRule.js";
import type { AddResult, ComputerCard, InstallOffer, Problem, View } from "./view.js";

export interface Clock extends ConnectionClock {
  now(): number;
}

/** What the page's surroundings do for its state. */
export interface Surroundings {
  readonly clock: Clock;
  readonly storage: Storage;
  openSocket(address: string): Socket;
  isOnline(): boolean;
  /** Asks the browser not to empty the storage by itself. */
  persist(): void;
  /** Takes a removed computer's link out of the address. */
  clearAddress(): void;
  /** The browser's own question about installing. */
  install(): Promise<void>;
  /** Switches to the version that waits. */
  update(): void;
  /** What the browser does for notifications; loaded once a relay pushes. */
  push(): Promise<PushBrowser>;
  readonly version: string;
}

/** The link that the page was opened with. */
export interface EarlyLink {
  readonly link: PairingLink;
  readonly keys: Keys;
  /** A connection that is being made already; none while nobody looks. */
  readonly socket: Socket | undefined;
}

/** What the page has been opened with. */
export interface Opening {
  readonly relay: Promise<string>;
  readonly early: Promise<EarlyLink | undefined>;
  readonly fault: LinkFault | "insecure" | "browserTooOld" | undefined;
  /** iOS opens an installed page with its first address again and again; that is no new scan. */
  readonly isInstalled: boolean;
  /** The identifier that the page's address names, where a notification has opened it. */
  readonly computer?: string | undefined;
}

/** A page that has been still for longer has slept, or its clock was set. */
const jumpMs = 15_000;
/** Some browsers ask the user for it: not before there is something to keep, and something to see. */
const persistAfterMs = 20_000;
/** Live values are there by then, or late. */
const settledAfterMs = 1_000;
/** Nobody watches more; every one of them costs a connection while the list is open. */
const mostComputers = 32;
/** For every computer's relay to be told something. */
const tellAllMs = 10_000;

/** The state of a page: what its screens see, and what its surroundings tell it. */
export interface State {
  readonly view: View;
  start(opening: Opening): Promise<void>;
  setVisible(isVisible: boolean): void;
  /** The network has come, gone or changed. */
  networkChanged(): void;
  /** Shows a computer: its notification has been tapped. */
  show(macId: string): void;
  /** How the browser would install, if it would. */
  setInstallable(offer: InstallOffer | undefined): void;
  setUpdateWaits(waits: boolean): void;
}

export function createState(around: Surroundings): State {
  const { clock, storage } = around;
  const now = signal(clock.now());
  const isReady = signal(false);
  const hasWaited = signal(false);
  const computers = signal<readonly Computer[]>([]);
  const chosen = signal<Computer | undefined>(undefined);
  const problems = signal<readonly Problem[]>([]);
  const clockOff = signal<number | undefined>(undefined);
  const dismissed = signal<readonly string[]>([]);
  const installable = signal<InstallOffer | undefined>(undefined);
  const updateWaits = signal(false);
  const isTimeToInstall = signal(false);
  const push = signal<PushState>("unoffered");
  const pushOffer = signal(false);
  const pushRefused = signal<readonly Computer[]>([]);
  let settings: Settings = { removed: [], visits: 0 };
  let unwritten: Partial<Settings> = {};
  let isRead = false;
  let tellRead: () => void = () => undefined;
  const whenRead = new Promise<void>((resolve) => { tellRead = resolve; });
  let relay = "";
  let isVisible = false;
  let watchesAll = false;
  let telling: { readonly done: () => void; timer?: number | undefined } | undefined;
  let hasOpenedAlerts = false;
  let pushing: Promise<PushKeeper | undefined> | undefined;
  let pushKeeper: PushKeeper | undefined;
  let liveMs = 0;
  let wantsPersistence = false;
  let tickTimer: number | undefined;
  const openedAtMs = clock.now();
  let ahead: { readonly keys: Keys; readonly socket: Socket } | undefined;

  const wrote = (written: Written) => {
    if (written !== "written") report({ kind: written === "full" ? "storageFull" : "storageBlocked" });
  };
  const surroundings = { now: clock.now, isOnline: around.isOnline, storage, wrote, onPush };

  async function onPush(message: PushMessage, macId: string, say: (text: string) => boolean): Promise<void> {
    // A scanned link connects before it is known what the user wants.
    await whenRead;
    await (await (pushing ??= loadPush()))?.received(message, macId, say);
  }

  async function loadPush(): Promise<PushKeeper | undefined> {
    try {
      const [{ PushKeeper }, browser] = await Promise.all([import("./pushKeeper.js"), around.push()]);
      pushKeeper = new PushKeeper(browser, {
        settings: () => settings,
        change,
        tellAll,
        computers: () => computers.peek().length,
        hasSeenAlert: () => hasOpenedAlerts || (chosen.peek()?.alerts.peek().some(({ isSeen }) => isSeen) ?? false),
        now: clock.now,
        show(state, isTime, refusedBy) {
          push.value = state;
          pushOffer.value = isTime;
          const refused = computers.peek().filter(({ macId }) => refusedBy.has(macId));
          // Every second: what is the same is not drawn again.
          const before = pushRefused.peek();
          if (refused.length !== before.length || refused.some((each, at) => each !== before[at])) pushRefused.value = refused;
        },
      });
    } catch {
      // Offline before it was kept: asked for again at the next connection.
      pushing = undefined;
    }
    return pushKeeper;
  }

  function tellAll(done: () => void): void {
    for (const computer of computers.peek()) pushKeeper?.tell((said) => computer.say(said));
    if (telling?.timer !== undefined) clock.clearTimeout(telling.timer);
    telling = { done };
    look();
    timeTelling();
  }

  /** Those that are not connected are told once they are, so it takes time during which the page is looked at. */
  function timeTelling(): void {
    if (telling === undefined) return;
    if (telling.timer !== undefined) clock.clearTimeout(telling.timer);
    telling.timer = !isVisible ? undefined : clock.setTimeout(() => {
      telling?.done();
      telling = undefined;
      look();
    }, tellAllMs);
  }

  function report(problem: Problem): void {
    if (problems.peek().every((each) => each.kind !== problem.kind)) problems.value = [...problems.peek(), problem];
  }

  function connect(computer: Computer): Connection {
    const { keys } = computer.stored.peek();
    const openSocket = () => takeAhead(keys) ?? around.openSocket(phoneAddress(relay, keys.macId));
    return new Connection(openSocket, (last) => authentication(keys.token, last), clock);
  }

  /** The connection that was begun with the page, once. */
  function takeAhead(keys: Keys): Socket | undefined {
    const socket = ahead?.keys === keys ? ahead.socket : undefined;
    if (socket !== undefined) ahead = undefined;
    return socket;
  }

  /** Connects what is looked at, and lets the rest be. */
  function look(): void {
    for (const computer of computers.peek()) {
      computer.isCurrent = computer === chosen.peek();
      if (isVisible && relay !== "" && (computer.isCurrent || watchesAll || telling !== undefined)) {
        computer.look(computer.isCurrent, connect);
      } else {
        computer.rest();
      }
      computer.update();
    }
  }

  function tick(): void {
    const before = now.peek();
    const present = clock.now();
    batch(() => {
      now.value = present;
      hasWaited.value ||= present - openedAtMs >= settledAfterMs;
      if (Math.abs(present - before) > jumpMs) for (const computer of computers.peek()) computer.doubt();
      for (const computer of computers.peek()) if (computer.isCurrent || watchesAll) computer.update();
      const off = chosen.peek()?.clockOffMs();
      clockOff.value = off === undefined ? undefined : Math.round(off / 60_000) * 60_000;
      if (chosen.peek()?.phase.peek() === "live") liveMs += 1000;
      if (wantsPersistence && liveMs >= persistAfterMs) {
        wantsPersistence = false;
        around.persist();
      }
      isTimeToInstall.value = isTimeToOfferInstall({
        liveMs, visits: settings.visits, declinedMs: settings.installDeclinedMs, nowMs: present,
      });
      pushKeeper?.look();
    });
    // At the turn of the second, so that ages step together and none is skipped.
    tickTimer = clock.setTimeout(tick, 1000 - (present % 1000));
  }

  function setVisible(visible: boolean): void {
    if (visible === isVisible) return;
    isVisible = visible;
    if (visible && isRead) void readAgain();
    if (tickTimer !== undefined) clock.clearTimeout(tickTimer);
    tickTimer = undefined;
    look();
    timeTelling();
    if (visible) {
      now.value = clock.now();
      tick();
    }
  }

  function change(changes: Partial<Settings>): void {
    settings = { ...settings, ...changes };
    unwritten = { ...unwritten, ...changes };
    // What has not been read yet must not be written over.
    if (isRead) void write(unwritten);
  }

  async function write(changes: Partial<Settings>): Promise<void> {
    const written = await storage.changeSettings(changes);
    if (written === "written" && unwritten === changes) unwritten = {};
    wrote(written);
  }

  /** The worker, or another page of this phone, may have changed them while nobody looked at this one. */
  async function readAgain(): Promise<void> {
    const read = await storage.settings();
    // This page has counted its own visit: nothing could be read.
    if (read.visits === 0) return;
    settings = { ...settings, ...read, ...unwritten };
    pushKeeper?.look();
  }

  function choose(macId: string): void {
    const computer = computers.peek().find((each) => each.macId === macId);
    if (computer === undefined) return;
    chosen.value = computer;
    if (settings.chosen !== macId) change({ chosen: macId });
    void computer.restore();
    look();
  }

  /** Adds a pairing; the same computer's takes the place of the old one. */
  function add(link: PairingLink, keys: Keys): void {
    const old = computers.peek().find((each) => each.macId === keys.macId);
    old?.end();
    const stored: StoredComputer = {
      keys, linkName: link.name, addedAtMs: old?.stored.peek().addedAtMs ?? clock.now(),
      ...(old?.stored.peek().ownName === undefined ? {} : { ownName: old.stored.peek().ownName }),
    };
    const computer = new Computer(stored, surroundings);
    computers.value = old === undefined
      ? [...computers.peek().slice(1 - mostComputers), computer]
      : computers.peek().map((each) => each === old ? computer : each);
    void storage.putComputer(stored).then((written) => {
      wrote(written);
      wantsPersistence ||= written === "written";
    });
    change({ chosen: keys.macId, removed: settings.removed.filter((macId) => macId !== keys.macId) });
    choose(keys.macId);
  }

  async function addByLink(pasted: string): Promise<AddResult> {
    const link = readLink(pasted);
    if (link === "damaged") return "linkDamaged";
    if (link === "newer") return "linkNewer";
    add(link, await deriveKeys(link.macId, link.secret));
    return "added";
  }

  function remove(macId: string): void {
    const computer = computers.peek().find((each) => each.macId === macId);
    if (computer === undefined) return;
    const leaving = pushKeeper?.leave(macId, (said) => computer.say(said));
    if (leaving === undefined && settings.pushEndpoint !== undefined) change({ isPushStale: true });
    computer.end();
    computers.value = computers.peek().filter((each) => each !== computer);
    void storage.removeComputer(macId).then(wrote);
    change({ removed: [...settings.removed, macId].slice(-64) });
    around.clearAddress();
    if (chosen.peek() !== computer) return;
    chosen.value = undefined;
    const next = computers.peek()[0];
    if (next !== undefined) choose(next.macId);
  }

  function rename(macId: string, name: string): void {
    const computer = computers.peek().find((each) => each.macId === macId);
    if (computer === undefined) return;
    const { ownName: _, ...rest } = computer.stored.peek();
    const ownName = text(name, 255);
    computer.stored.value = ownName === undefined ? rest : { ...rest, ownName };
    void storage.putComputer(computer.stored.peek()).then(wrote);
  }

  async function start(opening: Opening): Promise<void> {
    if (opening.fault === "insecure" || opening.fault === "browserTooOld") {
      report({ kind: opening.fault });
      isReady.value = true;
      return;
    }
    if (opening.fault !== undefined) report({ kind: opening.fault === "newer" ? "linkNewer" : "linkDamaged" });
    // A scanned link is shown before storage has answered.
    const scanned = opening.isInstalled ? undefined : await showEarly(opening);
    const [stored, read] = await Promise.all([storage.computers(), storage.settings()]);
    settings = { ...read, ...settings, removed: read.removed, visits: read.visits + 1 };
    isRead = true;
    tellRead();
    wantsPersistence ||= opening.isInstalled && stored.length > 0;
    const present = new Set(computers.peek().map((each) => each.macId));
    const known = stored.filter(({ keys }) => !present.has(keys.macId));
    const again = stored.find(({ keys }) => keys.macId === scanned);
    if (again !== undefined) for (const each of computers.peek()) keepPlace(each, again);
    computers.value = [...computers.peek(), ...known.map((each) => new Computer(each, surroundings))].sort(
      (a, b) => a.stored.peek().addedAtMs - b.stored.peek().addedAtMs);
    change({ removed: settings.removed.filter((macId) => macId !== scanned), visits: settings.visits });
    if (opening.isInstalled) await showInstalled(opening);
    const ids = computers.peek().map(({ macId }) => macId);
    choose([chosen.peek()?.macId, opening.computer, settings.chosen].find((macId) => ids.includes(macId ?? "")) ?? ids[0] ?? "");
    // The last known values are there at once; the connection is made meanwhile.
    void opening.relay.then((address) => {
      relay = address;
      look();
    });
    await chosen.peek()?.restore();
    isReady.value = true;
  }

  /** A computer that is scanned again keeps its name and its place in the list. */
  function keepPlace(computer: Computer, { addedAtMs, ownName }: StoredComputer): void {
    computer.stored.value = { ...computer.stored.peek(), addedAtMs, ...(ownName === undefined ? {} : { ownName }) };
    void storage.putComputer(computer.stored.peek()).then(wrote);
  }

  async function showEarly(opening: Opening): Promise<string | undefined> {
    const early = await opening.early;
    if (early === undefined) return undefined;
    const { link, keys, socket } = early;
    relay = await opening.relay;
    if (socket !== undefined) ahead = { keys, socket };
    add(link, keys);
    // Somebody looked when it was begun, and looks no more.
    ahead?.socket.close();
    ahead = undefined;
    isReady.value = true;
    return keys.macId;
  }

  /** The address that an installed page begins with adds its computer once. */
  async function showInstalled(opening: Opening): Promise<void> {
    const early = await opening.early;
    if (early === undefined) return;
    const { keys, link } = early;
    const isKnown = settings.removed.includes(keys.macId) ||
      computers.peek().some((each) => each.macId === keys.macId);
    relay = await opening.relay;
    if (!isKnown) add(link, keys);
  }

  const of = <Value>(read: (computer: Computer) => Value, otherwise: Value) =>
    computed(() => chosen.value === undefined ? otherwise : read(chosen.value));
  const emptyDay = { startMs: 0, cpu: [], celsius: [], watts: [] };

  const view: View = {
    now,
    isReady,
    isSettled: computed(() => hasWaited.value || !["connecting", "late"].includes(view.current.phase.value)),
    computers: computed((): readonly ComputerCard[] => {
      // Ages grow by the second.
      void now.value;
      return computers.value.map((computer) => computer.card());
    }),
    current: {
      macId: of((computer): string | undefined => computer.macId, undefined),
      name: of((computer) => computer.name.value, ""),
      phase: of((computer) => computer.phase.value, "connecting"),
      sample: of((computer) => computer.sample.value, undefined),
      macInfo: of((computer) => computer.macInfo.value, undefined),
      readAtMs: of((computer) => computer.readAtMs.value, undefined),
      beats: of((computer) => computer.beats.value, 0),
      verdict: of((computer) => computer.verdict.value, { sky: "dawn", first: { key: "connectingTo" }, rows: {} }),
      day: of((computer) => computer.day.value, emptyDay),
      hasHistory: of((computer) => computer.hasHistory.value, false),
      alerts: of((computer) => computer.alerts.value, []),
      unseenAlerts: of((computer) => computer.alerts.value.filter((entry) => !entry.isSeen).length, 0),
    },
    problem: computed(() => {
      const off: Problem[] = clockOff.value === undefined ? [] : [{ kind: "clockOff", byMs: clockOff.value }];
      return [...problems.value, ...off].find(({ kind }) => !dismissed.value.includes(kind));
    }),
    installOffer: computed(() => isTimeToInstall.value ? installable.value : undefined),
    push,
    pushOffer,
    pushRefused,
    updateWaits,
    version: around.version,
    actions: {
      choose,
      rename,
      remove,
      addByLink,
      watchAll(on) {
        watchesAll = on;
        if (on) for (const computer of computers.peek()) void computer.restore();
        look();
      },
      alertsOpened() { hasOpenedAlerts = true; },
      markSeen() { chosen.peek()?.markSeen(); },
      dismissProblem() {
        const kind = view.problem.peek()?.kind;
        if (kind !== undefined) dismissed.value = [...dismissed.peek(), kind];
      },
      async install() {
        await around.install();
        isTimeToInstall.value = false;
      },
      declineInstall() {
        change({ installDeclinedMs: clock.now() });
        isTimeToInstall.value = false;
      },
      setPush(on) { void pushKeeper?.turn(on); },
      declinePush() { pushKeeper?.decline(); },
      update() { around.update(); },
    },
  };

  return {
    view,
    start,
    show: choose,
    setVisible,
    networkChanged() {
      for (const computer of computers.peek()) {
        computer.wake();
        computer.update();
      }
    },
    setInstallable(offer) { installable.value = offer; },
    setUpdateWaits(waits) { updateWaits.value = waits; },
  };
}
