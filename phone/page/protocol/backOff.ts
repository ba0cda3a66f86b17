/** Seconds to wait before the next attempt: 1, 2, 4, 8, 16, 32, 60, 60 … */
export class BackOff {
  private attempts = 0;

  nextSeconds(): number {
    return Math.min(60, 2 ** Math.min(this.attempts++, 6));
  }

  /** The relay has accepted the phone: begin with 1 again. */
  accepted(): void {
    this.attempts = 0;
  }
}
