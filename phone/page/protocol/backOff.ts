/** Seconds to wait before the next attempt: 1, 2, 4, 8, 16, 32, 60, 60 … */
export class BackOff {
  private attempts = 0;

  /** By a `chance` from 0 to 1 up to twice as long. */
  nextSeconds(chance = 0): number {
    return Math.min(60, 2 ** Math.min(this.attempts++, 6)) * (1 + chance);
  }

  /** The relay has accepted the phone: begin with 1 again. */
  accepted(): void {
    this.attempts = 0;
  }
}
