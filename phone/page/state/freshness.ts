/** Without a sample for this long, what is looked at is late. */
export const lateAfterMs = 6_000;
/** The same in the list of computers, whose samples come every 30 s. */
export const lateInListAfterMs = 40_000;
/** Smaller differences of the clocks are nobody's concern. */
const clockToleranceMs = 120_000;
/** As many samples in order with an older time: the computer's clock has been set back. */
const setBackAfter = 3;

/**
 * How old the newest reading is. The time that counts is the sample's own, translated to the
 * phone's clock, so that what a relay delays or repeats is not taken for live.
 */
export class Freshness {
  private epochMs: number | undefined;
  /** The computer's clock minus the phone's, judged by the sample that came fastest. */
  private aheadMs: number | undefined;
  private older: number[] = [];
  private awaitsNew = false;

  /** A sample has come. False: it is older than, or the same as, one that came before. */
  take(epochMs: number, nowMs: number): boolean {
    if (this.epochMs !== undefined && epochMs <= this.epochMs && !this.wasSetBack(epochMs)) return false;
    this.older = [];
    this.epochMs = epochMs;
    // After a return the clocks are judged anew: either may have been put right meanwhile.
    this.aheadMs = Math.max(this.awaitsNew ? -Infinity : this.aheadMs ?? -Infinity, epochMs - nowMs);
    this.awaitsNew = false;
    return true;
  }

  /** What storage knows of an earlier visit. */
  restore(epochMs: number, aheadMs: number): void {
    this.epochMs = epochMs;
    this.aheadMs = aheadMs;
    this.awaitsNew = true;
  }

  /** Somebody looks again: nothing is live before a new sample. */
  returned(): void {
    this.awaitsNew = true;
  }

  isLive(nowMs: number, limitMs: number): boolean {
    const age = this.ageMs(nowMs);
    return !this.awaitsNew && age !== undefined && age < limitMs;
  }

  ageMs(nowMs: number): number | undefined {
    const readAt = this.readAtMs();
    return readAt === undefined ? undefined : Math.max(0, nowMs - readAt);
  }

  /** When the newest sample was read, by the phone's clock. */
  readAtMs(): number | undefined {
    return this.epochMs === undefined ? undefined : this.phoneTime(this.epochMs);
  }

  phoneTime(epochMs: number): number {
    return epochMs - (this.aheadMs ?? 0);
  }

  get clockAheadMs(): number {
    return this.aheadMs ?? 0;
  }

  /** How far the clocks differ, when that is worth a word. */
  clockOffMs(): number | undefined {
    return Math.abs(this.clockAheadMs) > clockToleranceMs ? this.clockAheadMs : undefined;
  }

  private wasSetBack(epochMs: number): boolean {
    if (epochMs <= (this.older.at(-1) ?? -Infinity)) this.older = [];
    this.older.push(epochMs);
    if (this.older.length < setBackAfter) return false;
    this.aheadMs = undefined;
    return true;
  }
}
