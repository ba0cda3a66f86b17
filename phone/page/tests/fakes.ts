import type { Socket } from "../protocol/socket.js";
import type { PushTarget } from "../protocol/push.js";
import type { Clock } from "../state/createState.js";
import type { PushBrowser } from "../state/pushKeeper.js";
import type { Settings, Storage, StoredComputer, Written } from "../storage/storage.js";

/** A clock that stands still until it is moved. */
export class FakeClock implements Clock {
  private timers = new Map<number, { atMs: number; action: () => void }>();
  private last = 0;

  constructor(private nowMs = 1_800_000_000_000) {}

  now = () => this.nowMs;
  setTimeout = (action: () => void, milliseconds: number) => {
    this.timers.set(++this.last, { atMs: this.nowMs + milliseconds, action });
    return this.last;
  };
  clearTimeout = (timer: number) => { this.timers.delete(timer); };
  get pending() { return this.timers.size; }

  advance(milliseconds: number): void {
    const end = this.nowMs + milliseconds;
    for (;;) {
      const [next] = [...this.timers].filter(([, timer]) => timer.atMs <= end).sort((a, b) => a[1].atMs - b[1].atMs);
      if (next === undefined) break;
      this.timers.delete(next[0]);
      this.nowMs = Math.max(this.nowMs, next[1].atMs);
      next[1].action();
    }
    this.nowMs = end;
  }

  /** The wall clock is set, or the page has slept: no timer has run. */
  jump(milliseconds: number): void {
    this.nowMs += milliseconds;
  }
}

/** The relay's end of every connection that is attempted. */
export class FakeRelay {
  readonly sockets: FakeSocket[] = [];
  open = (address = "") => {
    const socket = new FakeSocket(address);
    this.sockets.push(socket);
    return socket;
  };
  get last(): FakeSocket {
    const socket = this.sockets.at(-1);
    if (socket === undefined) throw new Error("nothing has connected");
    return socket;
  }
}

export class FakeSocket implements Socket {
  onopen: Socket["onopen"] = null;
  onmessage: Socket["onmessage"] = null;
  onclose: Socket["onclose"] = null;
  readonly sent: string[] = [];
  isClosed = false;
  progress: Socket["progress"] = "connecting";
  isGreeted = false;
  readonly early: unknown[] = [];
  constructor(readonly address: string) {}
  send(text: string) { this.sent.push(text); }
  close() { this.isClosed = true; }
  accept(isMacConnected = true) { this.onopen?.(); this.say({ mac: isMacConnected }); }
  say(message: object | string) { this.onmessage?.({ data: typeof message === "string" ? message : JSON.stringify(message) }); }
  end(code: number) { this.onclose?.({ code }); }
}

/** Keeps in memory; `answer` is what every write ends with. */
export class FakeStorage implements Storage {
  readonly paired = new Map<string, StoredComputer>();
  readonly texts = new Map<string, string>();
  written: Settings | undefined;
  answer: Written = "written";

  computers = () => Promise.resolve([...this.paired.values()]);
  settings = () => Promise.resolve(this.written ?? { removed: [], visits: 0 });
  putComputer = (computer: StoredComputer) => this.write(() => this.paired.set(computer.keys.macId, computer));
  removeComputer = (macId: string) => this.write(() => {
    this.paired.delete(macId);
    for (const key of [...this.texts.keys()]) if (key.startsWith(macId)) this.texts.delete(key);
  });
  changeSettings = (changes: Partial<Settings>) => this.write(() => {
    this.written = { removed: [], visits: 0, ...this.written, ...changes };
  });
  kept = (macId: string, part: string) => Promise.resolve(this.texts.get(`${macId} ${part}`));
  keep = (macId: string, part: string, text: string) => this.write(() => this.texts.set(`${macId} ${part}`, text));

  putWords = () => this.write(() => undefined);

  private write(change: () => void): Promise<Written> {
    if (this.answer === "written") change();
    return Promise.resolve(this.answer);
  }
}

/** A browser that gives a subscription, once its user has let it. */
export class FakePushBrowser implements PushBrowser {
  permission: NotificationPermission = "default";
  /** What the user says when asked. */
  answer: NotificationPermission = "granted";
  target: PushTarget | undefined;
  made = 0;

  ability = () => ({ canPush: true, needsInstalling: false, permission: this.permission });
  subscribe = () => {
    if (this.permission === "default") this.permission = this.answer;
    if (this.permission !== "granted") return Promise.resolve(undefined);
    this.target ??= { endpoint: `https://push.example/${++this.made}`, p256dh: new Uint8Array(65), auth: new Uint8Array(16) };
    return Promise.resolve(this.target);
  };
  forget = () => {
    this.target = undefined;
    return Promise.resolve();
  };
}
