import { batch, computed, signal } from "@preact/signals-core";
import type { Connection, LinkState } from "../protocol/connection.js";
import type { PushMessage } from "../protocol/push.js";
import { openEnvelope } from "../protocol/envelope.js";
import { readAlert } from "../protocol/readAlert.js";
import { readHistory, readMacInfo, readSample } from "../protocol/readSample.js";
import { fields, json, list, number, oneOf } from "../protocol/readers.js";
import type { MacInfo, Sample } from "../protocol/sample.js";
import type { KeptPart, Storage, StoredComputer, Written } from "../storage/storage.js";
import { AlertList } from "./alertList.js";
import { DayKeeper, landBins } from "./day.js";
import { Freshness, lateAfterMs, lateInListAfterMs } from "./freshness.js";
import { phaseOf } from "./phase.js";
import { TurningRows, turningRows } from "./turningRows.js";
import { judge } from "./verdict.js";
import type { AlertEntry, ComputerCard, Day, Phase, Verdict } from "./view.js";

/** So many envelopes of another pairing in a row, and none of this one, are no accident. */
const foreignAfter = 2;
/** More than wait here are a flood; they are dropped. */
const longestQueue = 64;
const saveEveryMs = 60_000;
const minuteMs = 60_000;

export interface ComputerSurroundings {
  now(): number;
  isOnline(): boolean;
  readonly storage: Storage;
  /** A write has ended: what became of it. */
  wrote(written: Written): void;
  /** A relay has said something of pushing; `say` answers. */
  onPush(message: PushMessage, macId: string, say: (text: string) => boolean): Promise<void>;
}

/** One paired computer: takes what comes, and copies what follows from it to signals. */
export class Computer {
  readonly phase = signal<Phase>("connecting");
  readonly sample = signal<Sample | undefined>(undefined);
  readonly macInfo = signal<MacInfo | undefined>(undefined);
  readonly readAtMs = signal<number | undefined>(undefined);
  readonly beats = signal(0);
  readonly verdict = signal<Verdict>({ sky: "dawn", first: { key: "connectingTo" }, rows: {} });
  readonly day;
  readonly hasHistory = computed(() => hasEarlier(this.day.value));
  readonly alerts = signal<readonly AlertEntry[]>([]);
  readonly stored;
  readonly name = computed(() => this.stored.value.ownName ?? this.stored.value.linkName);
  /** The page shows this very computer, and not only its card. */
  isCurrent = false;

  private readonly freshness = new Freshness();
  private readonly dayKeeper = new DayKeeper();
  private readonly rows = new TurningRows();
  private readonly alertList = new AlertList();
  private connection: Connection | undefined;
  private hasEnded = false;
  private link: LinkState = "idle";
  private isMacConnected: boolean | undefined;
  private foreign = 0;
  private queued = 0;
  private queue: Promise<void> = Promise.resolve();
  private restored: Promise<void> | undefined;
  private shownDay = "";
  private shownAlerts = "";
  private dayChanges = 0;
  private alertChanges = 0;
  /** For storage: the newest sample and description of the machine as they came. */
  private lastPayload: string | undefined;
  private lastMacInfo: unknown;
  private savedAtMs = -Infinity;

  constructor(stored: StoredComputer, private readonly around: ComputerSurroundings) {
    this.stored = signal(stored);
    this.day = signal(this.dayKeeper.at(around.now(), 0));
  }

  get macId(): string {
    return this.stored.peek().keys.macId;
  }

  /** The computer's clock minus the phone's, when they differ by more than anybody would excuse. */
  clockOffMs(): number | undefined {
    return this.phase.peek() === "live" ? this.freshness.clockOffMs() : undefined;
  }

  /** `isActive`: somebody looks at this very computer. The connection is made once. */
  look(isActive: boolean, connect: (computer: Computer) => Connection): void {
    if (this.connection === undefined) {
      this.connection = connect(this);
      this.connection.lastAlert = this.stored.peek().lastAlert ?? 0;
      this.connection.observe({
        onState: (link) => { this.linkTurned(link); },
        onMac: (isConnected) => { this.isMacConnected = isConnected; this.update(); },
        onEnvelope: (text, number) => { this.received(text, number); },
        onPush: (message) => { void this.around.onPush(message, this.macId, (text) => this.say(text)); },
      });
    }
    if (this.link === "idle") this.freshness.returned();
    this.connection.look(isActive);
  }

  /** Says something to the relay, if it listens. */
  say(text: string): boolean {
    return this.connection?.say(text) ?? false;
  }

  /** Nobody looks any more. */
  rest(): void {
    if (this.connection === undefined) return;
    this.connection.rest();
    this.foreign = 0;
    this.save();
  }

  /** Ends for good: removed, or replaced by a new pairing. */
  end(): void {
    this.hasEnded = true;
    this.connection?.rest();
    this.connection = undefined;
  }

  wake(): void {
    this.connection?.wake();
  }

  /** The clock has jumped: the page has slept, or the time was set. */
  doubt(): void {
    this.freshness.returned();
    this.wake();
  }

  markSeen(): void {
    this.alertList.markSeen();
    this.rows.markSeen();
    this.alertChanges++;
    this.update();
    void this.saveAlerts();
  }

  card(): ComputerCard {
    const sample = this.sample.value;
    const readAtMs = this.readAtMs.value;
    const card = {
      macId: this.macId, name: this.name.value, phase: this.phase.value, verdict: this.verdict.value,
    };
    if (sample === undefined || readAtMs === undefined) return card;
    return {
      ...card,
      readAtMs,
      ageMs: Math.max(0, this.around.now() - readAtMs),
      land: landBins(this.day.value, 12),
      ...(sample.cpuPercent === undefined ? {} : { cpuPercent: sample.cpuPercent }),
    };
  }

  /** Copies what is so at this moment to the signals. Called at every event and every second. */
  update(): void {
    const now = this.around.now();
    const limit = this.isCurrent ? lateAfterMs : lateInListAfterMs;
    const sample = this.sample.peek();
    const phase = phaseOf({
      link: this.link,
      isMacConnected: this.isMacConnected,
      isOnline: this.around.isOnline(),
      isForeign: this.foreign >= foreignAfter,
      isLive: this.freshness.isLive(now, limit),
      hasSample: sample !== undefined,
    });
    batch(() => {
      this.phase.value = phase;
      this.readAtMs.value = this.freshness.readAtMs();
      this.updateDay(now);
      const verdict = judge({
        phase, sample, rows: this.rows, day: this.day.peek(), readAtMs: this.readAtMs.peek(), nowMs: now,
      });
      if (JSON.stringify(verdict) !== JSON.stringify(this.verdict.peek())) this.verdict.value = verdict;
      this.updateAlerts(phase === "live");
    });
    if (phase === "live" && now - this.savedAtMs >= saveEveryMs) this.save();
  }

  /** What storage knows. What has come live meanwhile counts more. Read once. */
  restore(): Promise<void> {
    return (this.restored ??= this.readStorage());
  }

  private async readStorage(): Promise<void> {
    const read = async (part: KeptPart) => {
      const text = await this.around.storage.kept(this.macId, part);
      return text === undefined ? undefined : json(text)?.value;
    };
    const [sample, history, alerts] = await Promise.all([read("sample"), read("history"), read("alerts")]);
    this.restoreAlerts(alerts);
    this.restoreSample(sample);
    const minutes = readHistory(history);
    const newest = this.sample.peek()?.epochMs ?? (minutes?.minutes.at(-1) ?? 0) * minuteMs;
    if (minutes !== undefined) this.dayKeeper.takeHistory(minutes, Math.floor(newest / minuteMs));
    this.dayChanges++;
    this.update();
  }

  private restoreSample(kept: unknown): void {
    const field = fields(kept);
    const macInfo = field?.("macInfo");
    this.lastMacInfo ??= macInfo;
    this.macInfo.value ??= readMacInfo(macInfo);
    const payload = field?.("payload");
    const sample = readSample(payload);
    if (this.sample.peek() !== undefined) {
      const latest = this.sample.peek();
      if (latest !== undefined) this.rows.takeSample(latest, this.around.now());
    } else if (sample !== undefined) {
      this.freshness.restore(sample.epochMs, number(field?.("aheadMs"), -1e15, 1e15) ?? 0);
      this.sample.value = sample;
      this.lastPayload = JSON.stringify(payload);
      this.rows.takeSample(sample, this.freshness.readAtMs() ?? this.around.now());
    }
  }

  private restoreAlerts(kept: unknown): void {
    const field = fields(kept);
    const entries = list(field?.("alerts"), (entry) => fields(entry));
    for (const entry of entries.reverse()) {
      const payload = entry("payload");
      if (typeof payload === "string") this.takeAlert(payload, entry("isSeen") === true);
    }
    this.seenRows = list(field?.("seenRows"), (row) => oneOf(turningRows, row));
  }

  /** Seen before this visit; applied once the first sample has been judged. */
  private seenRows: (typeof turningRows)[number][] = [];

  private linkTurned(link: LinkState): void {
    this.link = link;
    if (link !== "accepted") this.isMacConnected = undefined;
    this.update();
  }

  private received(text: string, number: number | undefined): void {
    // What is numbered does not come again once a later one has been taken.
    if (this.queued >= (number === undefined ? longestQueue : 2 * longestQueue)) return;
    this.queued++;
    const atMs = this.around.now();
    const opening = openEnvelope(text, this.stored.peek().keys);
    // In the order of arrival, whichever is opened first.
    this.queue = this.queue.then(async () => {
      const opened = await opening;
      this.queued--;
      if ("failure" in opened) {
        if (opened.failure === "notAuthentic") this.foreign++;
      } else {
        this.foreign = 0;
        if (opened.kind === "s") this.takeSample(opened.payload, atMs);
        if (opened.kind === "a") {
          await this.restore();
          this.takeAlert(opened.payload, false);
        }
      }
      if (number !== undefined) {
        // Only once it is kept here the relay need not send it again.
        if (this.connection !== undefined) this.connection.lastAlert = number;
        void this.saveAlerts().then((isSaved) => { if (isSaved) this.saveLastAlert(number); });
      } else if (!("failure" in opened) && opened.kind === "a") {
        void this.saveAlerts();
      }
      this.update();
    });
  }

  private takeSample(payload: string, atMs: number): void {
    const value = json(payload)?.value;
    const sample = readSample(value);
    if (sample === undefined || !this.freshness.take(sample.epochMs, atMs)) return;
    const isFirst = this.beats.peek() === 0;
    this.dayKeeper.takeSample(sample);
    if (sample.history !== undefined) {
      this.dayKeeper.takeHistory(sample.history, Math.floor(sample.epochMs / minuteMs) - 1);
    }
    if (isFirst || sample.history !== undefined) this.dayChanges++;
    this.rows.takeSample(sample, atMs);
    this.rows.restoreSeen(this.seenRows.splice(0));
    if (sample.macInfo !== undefined) {
      this.macInfo.value = sample.macInfo;
      this.lastMacInfo = fields(value)?.("mac_info");
    }
    this.lastPayload = payload;
    this.sample.value = sample;
    this.beats.value++;
    if (sample.history !== undefined) this.savedAtMs = -Infinity;
  }

  private takeAlert(payload: string, isSeen: boolean): void {
    const alert = readAlert(json(payload)?.value);
    if (alert === undefined || !this.alertList.take(alert, payload, isSeen)) return;
    this.rows.takeAlert(alert, this.freshness.phoneTime(alert.epochMs));
    this.alertChanges++;
  }

  private updateDay(now: number): void {
    const shown = `${Math.floor(now / minuteMs)} ${Math.round(this.freshness.clockAheadMs / minuteMs)} ${this.dayChanges}`;
    if (shown === this.shownDay) return;
    this.shownDay = shown;
    this.day.value = this.dayKeeper.at(now, this.freshness.clockAheadMs);
  }

  private updateAlerts(isLive: boolean): void {
    const entries = this.alertList.entries(
      (kind) => isLive && this.rows.isStillSo(kind), (epochMs) => this.freshness.phoneTime(epochMs));
    const shown = `${this.alertChanges} ${Math.round(this.freshness.clockAheadMs / minuteMs)} ${
      entries.map((entry) => Number(entry.isStillSo)).join("")}`;
    if (shown === this.shownAlerts) return;
    this.shownAlerts = shown;
    this.alerts.value = entries;
  }

  private save(): void {
    const now = this.around.now();
    if (this.lastPayload === undefined || this.beats.peek() === 0) return;
    this.savedAtMs = now;
    const payload = json(this.lastPayload)?.value;
    const plain = typeof payload === "object" && payload !== null
      ? { ...payload, history: undefined, mac_info: undefined } : undefined;
    void this.keep("sample", { payload: plain, macInfo: this.lastMacInfo, aheadMs: this.freshness.clockAheadMs });
    const minute = Math.floor((this.sample.peek()?.epochMs ?? 0) / minuteMs);
    const history = this.dayKeeper.toHistory(minute);
    if (history !== undefined) void this.keep("history", history);
    void this.saveAlerts();
  }

  private saveAlerts(): Promise<boolean> {
    return this.keep("alerts", { alerts: this.alertList.payloads(), seenRows: this.rows.seen() });
  }

  private saveLastAlert(number: number): void {
    if (this.hasEnded) return;
    this.stored.value = { ...this.stored.peek(), lastAlert: number };
    void this.around.storage.putComputer(this.stored.peek()).then(this.around.wrote);
  }

  private async keep(part: KeptPart, value: object): Promise<boolean> {
    // An envelope that is still being opened must not bring back what has been removed.
    if (this.hasEnded) return false;
    const written = await this.around.storage.keep(this.macId, part, JSON.stringify(value));
    this.around.wrote(written);
    return written === "written";
  }
}

function hasEarlier(day: Day): boolean {
  const isKnown = (curve: readonly (number | null)[]) => curve.slice(0, -1).some((value) => value !== null);
  return isKnown(day.cpu) || isKnown(day.celsius) || isKnown(day.watts);
}
