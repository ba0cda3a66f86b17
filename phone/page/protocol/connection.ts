import { BackOff } from "./backOff.js";
import { ping, readMessage } from "./messages.js";
import type { PushMessage } from "./push.js";
import { activity, greet, type Socket } from "./socket.js";

export interface ConnectionClock {
  setTimeout(action: () => void, milliseconds: number): number;
  clearTimeout(timer: number): void;
}

/**
 * How far the connection is.
 * - idle: nobody looks
 * - connecting: the first attempt of a visit, or one after an accepted connection
 * - held: open, but the relay has said nothing: no computer has claimed the identifier yet
 * - accepted: the relay has told whether the computer is connected
 * - failing: at least one attempt has failed; another is under way or awaited
 * - replaced: refused for good
 */
export type LinkState = "idle" | "connecting" | "held" | "accepted" | "failing" | "replaced";

export interface ConnectionObserver {
  onState(state: LinkState): void;
  onMac(isConnected: boolean): void;
  /** `number` is that of the alert in it, from a relay that counts them. */
  onEnvelope(text: string, number: number | undefined): void;
  /** The relay can push alerts, or has answered a subscription. */
  onPush(message: PushMessage): void;
}

/** An attempt that has not opened after this time is given up. */
const openLimitMs = 10_000;
/** A relay that knows the computer answers well within this time. */
const heldAfterMs = 3_000;
const pingEveryMs = 30_000;
const pongLimitMs = 20_000;
/** The same after the network has changed under an open connection: most are dead then. */
const wakeLimitMs = 4_000;
const goingAwayCode = 1001;
const replacedCode = 4403;

/**
 * Keeps one WebSocket to the relay alive while somebody looks. Not looking, it has neither
 * connection nor timer: a connection that a sleeping phone leaves open swallows alerts.
 */
export class Connection {
  private readonly backOff = new BackOff();
  private socket: Socket | undefined;
  private isOpen = false;
  private isActive = false;
  private state: LinkState = "idle";
  private readonly timers = new Map<string, number>();
  private observer: ConnectionObserver | undefined;
  private nextNumber: number | undefined;
  /** The number of the last alert that is known, 0 if none is: the relay sends those after it. */
  lastAlert = 0;

  /** `openSocket` begins an attempt; `authentication` is the first message, with the last alert's number. */
  constructor(
    private readonly openSocket: () => Socket,
    private readonly authentication: (lastAlert: number) => string,
    private readonly clock: ConnectionClock,
  ) {}

  /** Before the first `look`. */
  observe(observer: ConnectionObserver): void {
    this.observer = observer;
  }

  /** Connects, and stays connected. `isActive`: somebody looks at this very computer. */
  look(isActive: boolean): void {
    if (this.isActive !== isActive) {
      this.isActive = isActive;
      if (this.isOpen) this.socket?.send(activity(isActive));
    }
    if (this.state === "idle") this.connect("connecting");
  }

  /** Tells the relay something. False: it does not listen, as the phone is not accepted. */
  say(text: string): boolean {
    if (this.state !== "accepted") return false;
    this.socket?.send(text);
    return true;
  }

  /** Ends the connection and every timer until the next `look`. */
  rest(): void {
    if (this.isOpen && this.isActive) this.socket?.send(activity(false));
    this.isActive = false;
    this.drop();
    this.stopTimers();
    this.backOff.accepted();
    if (this.state !== "replaced") this.turn("idle");
  }

  /** The network is back or has changed: try at once, or see whether the connection lives. */
  wake(): void {
    if (this.isOpen) {
      this.askForLife(wakeLimitMs);
    } else if (this.state === "failing" || this.state === "connecting") {
      this.backOff.accepted();
      this.drop();
      this.stopTimers();
      this.connect(this.state);
    }
  }

  private connect(state: LinkState): void {
    this.turn(state);
    let socket: Socket;
    try {
      socket = this.openSocket();
    } catch {
      this.failed();
      return;
    }
    this.socket = socket;
    this.after("open", openLimitMs, () => { this.failed(); });
    socket.onopen = () => { this.opened(socket); };
    socket.onmessage = ({ data }) => { this.received(data); };
    socket.onclose = ({ code }) => {
      if (code === replacedCode) this.refused();
      else this.failed(code === goingAwayCode && this.state === "accepted");
    };
    // One that was opened ahead of time may have got further already.
    if (socket.progress === "closed") {
      this.failed();
      return;
    }
    if (socket.progress === "open") this.opened(socket);
    for (const data of socket.early.splice(0)) this.received(data);
  }

  private opened(socket: Socket): void {
    this.isOpen = true;
    this.stopTimer("open");
    if (!socket.isGreeted) greet(socket, this.authentication(this.lastAlert), this.isActive);
    this.after("held", heldAfterMs, () => { this.turn("held"); });
    this.pingLater();
  }

  private received(data: unknown): void {
    this.stopTimer("life");
    const message = readMessage(data);
    if (message.type === "pong" || message.type === "unreadable") return;
    const isPush = message.type === "push" || message.type === "subscribed" || message.type === "notSubscribed";
    const number = this.nextNumber;
    // An answer may come between a number and its envelope.
    if (!isPush) this.nextNumber = message.type === "number" ? message.number : undefined;
    if (this.state !== "accepted") {
      this.stopTimer("held");
      this.backOff.accepted();
      this.turn("accepted");
    }
    if (message.type === "mac") this.tell((observer) => { observer.onMac(message.isConnected); });
    else if (isPush) this.tell((observer) => { observer.onPush(message); });
    else if (message.type === "envelope") this.tell((observer) => { observer.onEnvelope(message.text, number); });
  }

  private pingLater(): void {
    this.after("ping", pingEveryMs, () => {
      this.askForLife(pongLimitMs);
      this.pingLater();
    });
  }

  private askForLife(limitMs: number): void {
    this.socket?.send(ping);
    this.after("life", limitMs, () => { this.failed(); });
  }

  /** `isCrowd`: the relay has closed all its connections, which must not all come back at once. */
  private failed(isCrowd = false): void {
    const next = this.state === "accepted" || this.state === "held" ? "connecting" : "failing";
    this.drop();
    this.stopTimers();
    this.turn(next);
    this.after("retry", this.backOff.nextSeconds(isCrowd ? Math.random() : 0) * 1000, () => { this.connect(next); });
  }

  private refused(): void {
    this.drop();
    this.stopTimers();
    this.turn("replaced");
  }

  private drop(): void {
    const socket = this.socket;
    this.socket = undefined;
    this.isOpen = false;
    this.nextNumber = undefined;
    if (socket === undefined) return;
    socket.onopen = socket.onmessage = socket.onclose = null;
    socket.close(1000);
  }

  private turn(state: LinkState): void {
    if (this.state === state) return;
    this.state = state;
    this.tell((observer) => { observer.onState(state); });
  }

  private tell(event: (observer: ConnectionObserver) => void): void {
    if (this.observer !== undefined) event(this.observer);
  }

  private after(name: string, milliseconds: number, action: () => void): void {
    this.stopTimer(name);
    this.timers.set(name, this.clock.setTimeout(() => {
      this.timers.delete(name);
      action();
    }, milliseconds));
  }

  private stopTimer(name: string): void {
    const timer = this.timers.get(name);
    if (timer !== undefined) this.clock.clearTimeout(timer);
    this.timers.delete(name);
  }

  private stopTimers(): void {
    for (const name of [...this.timers.keys()]) this.stopTimer(name);
  }
}
