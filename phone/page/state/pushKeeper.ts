import { base64url } from "../protocol/base64.js";
import { subscribe, unsubscribe, type PushMessage, type PushTarget } from "../protocol/push.js";
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

/** Says something to the relay on one connection. */
export type Say = (text: string) => void;

export interface PushHost {
  settings(): Settings;
  change(changes: Partial<Settings>): void;
  /** Says it to every computer's relay: now, or once it is connected, which is seen to. */
  tellAll(): void;
  hasSeenAlert(): boolean;
  now(): number;
  show(state: PushState, isTimeToAsk: boolean): void;
}

/** Keeps what browser and relay know of this phone's subscription the same. Loaded once a relay pushes. */
export class PushKeeper {
  private key: Uint8Array<ArrayBuffer> | undefined;
  private target: PushTarget | undefined;
  private isRefused = false;

  constructor(private readonly browser: PushBrowser, private readonly host: PushHost) {}

  /** A relay has said something on a connection. */
  async received(message: PushMessage, say: Say): Promise<void> {
    if (message.type === "push") {
      await this.offered(message.key);
      this.tell(say);
    } else {
      this.isRefused = message.type === "notSubscribed";
      if (message.type === "subscribed") this.change({ pushEndpoint: message.endpoint });
    }
    this.look();
  }

  /** The user's wish; by a tap. */
  async turn(isOn: boolean): Promise<void> {
    this.isRefused = false;
    this.change({ wantsPush: isOn });
    if (!isOn) this.target = undefined;
    const target = isOn && this.key !== undefined ? await this.browser.subscribe(this.key) : undefined;
    if (isOn && target === undefined) this.isRefused = this.browser.ability().permission === "granted";
    this.target = target;
    this.host.tellAll();
    // The push service then refuses what a relay that is not reached now would still push.
    if (!isOn) await this.browser.forget();
    this.look();
  }

  decline(): void {
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

  /** A computer leaves this phone: its relay is to push no more, while the others go on. */
  leave(say: Say): void {
    const { pushEndpoint } = this.host.settings();
    if (pushEndpoint !== undefined) say(unsubscribe(pushEndpoint));
  }

  /** Shows what is so at this moment. */
  look(): void {
    const ability = { ...this.browser.ability(), isSubscribed: this.target !== undefined };
    const { wantsPush, pushDeclinedMs } = this.host.settings();
    const allowed = pushState(this.key !== undefined, wantsPush === true, ability);
    const state = this.isRefused && (allowed === "on" || allowed === "off") ? "failed" : allowed;
    this.host.show(state, wantsPush !== false && isTimeToAskForPush({
      state, hasSeenAlert: this.host.hasSeenAlert(), declinedMs: pushDeclinedMs, nowMs: this.host.now(),
    }));
  }

  private async offered(key: Uint8Array<ArrayBuffer>): Promise<void> {
    const isKnown = this.key !== undefined && base64url(this.key) === base64url(key);
    this.key = key;
    if (isKnown && this.target !== undefined) return;
    const mayBe = this.host.settings().wantsPush === true && this.browser.ability().permission === "granted";
    this.target = mayBe ? await this.browser.subscribe(key) : undefined;
  }

  private change(changes: Partial<Settings>): void {
    this.host.change(changes);
  }
}
