import { subscribe, unsubscribe, type PushMessage, type PushTarget } from "../protocol/push.js";
import { known } from "../protocol/readers.js";
import type { Settings } from "../storage/storage.js";
import { isTimeToAskForPush, pushState, type PushAbility, type PushState } from "./pushRule.js";

/** What the browser does for notifications of a closed page. */
export interface PushBrowser {
  ability(): Omit<PushAbility, "isSubscribed">;
  /**
   * Its subscription for a relay's key, in place of one for another key. Asks the user where that has
   * not been done, so it has to be called by a tap then. Nothing when it does not give one.
   */
  subscribe(key: Uint8Array<ArrayBuffer>): Promise<PushTarget | undefined>;
  /** Gives the subscription up. */
  forget(): Promise<void>;
}

/** Says something to the relay on one connection. False where the relay does not listen. */
export type Say = (text: string) => boolean;

export interface PushHost {
  settings(): Settings;
  change(changes: Partial<Settings>): void;
  /**
   * Says it to every computer's relay: now, or once it is connected, which is seen to. `done` when
   * each has had its time for it; never where the page ends before.
   */
  tellAll(done: () => void): void;
  /** How many computers this phone has. */
  computers(): number;
  hasSeenAlert(): boolean;
  now(): number;
  /** `refusedBy`: the computers whose relay does not take a subscription that others have taken. */
  show(state: PushState, isTimeToAsk: boolean, refusedBy: ReadonlySet<string>): void;
}

/** How often all relays are told, whether they are looked at or not: they forget what is said to them no more. */
const tellAllMs = 7 * 86_400_000;

/** Keeps what browser and relay know of this phone's subscription the same. Loaded once a relay pushes. */
export class PushKeeper {
  private key: Uint8Array<ArrayBuffer> | undefined;
  private target: PushTarget | undefined;
  /** The browser has given no subscription. */
  private hasFailed = false;
  private readonly refusedBy = new Set<string>();
  /** The endpoint that all relays have been told of, or are being told. */
  private announced: string | undefined;
  private isAsking = false;
  /** It has been asked and answered, and what came of it is not closed yet. */
  private isAnswered = false;
  private forgetting: Promise<void> = Promise.resolve();

  constructor(private readonly browser: PushBrowser, private readonly host: PushHost) {}

  /** A computer's relay has said something. */
  async received(message: PushMessage, macId: string, say: Say): Promise<void> {
    if (message.type === "push") {
      this.key = message.key;
      await this.offered(message.key);
      if (!this.announce()) this.tell(say);
    } else if (message.type === "subscribed") {
      this.refusedBy.delete(macId);
      this.isAnswered = false;
      this.change({ pushEndpoint: message.endpoint, ...known({ pushKey: this.key }) });
    } else {
      this.refusedBy.add(macId);
    }
    this.look();
  }

  /** The user's wish; by a tap. */
  async turn(isOn: boolean): Promise<void> {
    this.isAnswered = this.isAsking;
    this.hasFailed = false;
    this.refusedBy.clear();
    this.change({ wantsPush: isOn });
    if (isOn) {
      await this.turnOn();
    } else {
      this.target = this.announced = undefined;
      this.tellAll();
      // The push service then refuses what a relay that is not reached now would still push.
      this.forgetting = this.browser.forget();
      this.look();
      await this.forgetting;
    }
    this.look();
  }

  decline(): void {
    this.isAnswered = false;
    this.change({ pushDeclinedMs: this.host.now() });
    this.look();
  }

  /** Tells a relay what it has to know. */
  tell(say: Say): void {
    const { wantsPush, pushEndpoint } = this.host.settings();
    if (wantsPush === true && this.target !== undefined) {
      say(subscribe(this.target, pushEndpoint === this.target.endpoint ? undefined : pushEndpoint));
    } else if (wantsPush === false && pushEndpoint !== undefined) {
      say(unsubscribe(pushEndpoint));
    }
  }

  /**
   * A computer leaves this phone: its relay is to push no more, while the others go on. One that
   * cannot be told pushes to an endpoint that the phone then gives up.
   */
  async leave(macId: string, say: Say): Promise<void> {
    this.refusedBy.delete(macId);
    const { pushEndpoint } = this.host.settings();
    if (pushEndpoint === undefined || say(unsubscribe(pushEndpoint))) return;
    this.change({ isPushStale: true });
    if (this.key !== undefined) await this.offered(this.key);
    this.announce();
    this.look();
  }

  /** Shows what is so at this moment. */
  look(): void {
    const browser = this.browser.ability();
    if (browser.permission !== "granted") this.target = this.announced = undefined;
    const { wantsPush, pushDeclinedMs } = this.host.settings();
    const allowed = pushState(
      this.key !== undefined, wantsPush === true, { ...browser, isSubscribed: this.target !== undefined });
    const isRefused = this.refusedBy.size > 0 && this.refusedBy.size >= this.host.computers();
    const state = (this.hasFailed || isRefused) && (allowed === "on" || allowed === "off") ? "failed" : allowed;
    this.isAsking = wantsPush !== false && isTimeToAskForPush({
      state, hasSeenAlert: this.host.hasSeenAlert(), declinedMs: pushDeclinedMs, nowMs: this.host.now(),
    });
    const hasToSay = this.isAnswered && (state === "failed" || state === "blocked");
    this.host.show(state, this.isAsking || hasToSay, state === "on" ? this.refusedBy : new Set());
  }

  private async turnOn(): Promise<void> {
    // One that is being given up is no subscription. Nothing is waited for where the user has to be asked: by the tap.
    if (this.browser.ability().permission === "granted") await this.forgetting;
    const target = this.key === undefined ? undefined : await this.browser.subscribe(this.key);
    if (this.host.settings().wantsPush !== true) return;
    this.target = target;
    this.hasFailed = target === undefined && this.browser.ability().permission === "granted";
    this.announced = target?.endpoint;
    this.tellAll();
  }

  /** Asks the browser each time: it may have another subscription by now, or none. */
  private async offered(key: Uint8Array<ArrayBuffer>): Promise<void> {
    const isWanted = (): boolean =>
      this.host.settings().wantsPush === true && this.browser.ability().permission === "granted";
    await this.forgetting;
    if (isWanted() && this.host.settings().isPushStale === true) {
      await this.browser.forget();
      this.change({ isPushStale: false });
    }
    const target = isWanted() ? await this.browser.subscribe(key) : undefined;
    this.target = isWanted() ? target : undefined;
    this.hasFailed = isWanted() && target === undefined;
  }

  /** Tells all relays what only one would hear otherwise: a new endpoint, or from time to time the old one. */
  private announce(): boolean {
    const { pushEndpoint, pushToldMs } = this.host.settings();
    const { target } = this;
    if (target === undefined || target.endpoint === this.announced) return false;
    const now = this.host.now();
    const isLate = pushToldMs === undefined || pushToldMs > now || now - pushToldMs >= tellAllMs;
    if (target.endpoint === pushEndpoint && !isLate) return false;
    this.announced = target.endpoint;
    this.tellAll();
    return true;
  }

  /** A page that is closed meanwhile does it anew when it is opened. */
  private tellAll(): void {
    this.change({ pushToldMs: 0 });
    this.host.tellAll(() => { this.change({ pushToldMs: this.host.now() }); });
  }

  private change(changes: Partial<Settings>): void {
    this.host.change(changes);
  }
}
