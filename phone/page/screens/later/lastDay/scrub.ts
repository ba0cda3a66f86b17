// What a finger, a mouse or a key on the curves means. Deciding only: told what happened, answers which minute.

/** How far a finger goes sideways before it scrubs: less is a tap, and up or down scrolls the page. */
export const scrubDistance = 8;
/** A tap this near a mark means the mark. */
const reach = 22;

export interface Range {
  readonly from: number;
  readonly to: number;
}

/** The minute under a place, 0 to 1 from where the time begins. */
export function minuteAt(place: number, { from, to }: Range): number {
  return Math.round(from + Math.min(1, Math.max(0, place)) * (to - from));
}

/** The mark that a tap means, if any. `width` in pixels. */
export function markNear(minute: number, marks: readonly number[], { from, to }: Range, width: number): number | undefined {
  const minutes = (reach / Math.max(1, width)) * (to - from);
  let nearest: number | undefined;
  for (const mark of marks) {
    const distance = Math.abs(mark - minute);
    if (distance <= minutes && (nearest === undefined || distance < Math.abs(nearest - minute))) nearest = mark;
  }
  return nearest;
}

export interface Key {
  readonly key: string;
  readonly shift: boolean;
}

/** The minute after a key; "none" clears, `undefined` is no key of ours. */
export function minuteAfterKey(
  { key, shift }: Key,
  selected: number | undefined,
  marks: readonly number[],
  range: Range,
  isRightToLeft: boolean,
): number | "none" | undefined {
  const at = selected ?? range.to;
  const clamp = (minute: number): number => Math.min(range.to, Math.max(range.from, minute));
  const step = shift ? 1 : 10;
  const later = isRightToLeft ? "ArrowLeft" : "ArrowRight";
  const earlier = isRightToLeft ? "ArrowRight" : "ArrowLeft";
  const inRange = marks.filter((mark) => mark >= range.from && mark <= range.to);
  switch (key) {
    case later:
    case "ArrowUp":
      return clamp(at + step);
    case earlier:
    case "ArrowDown":
      return clamp(at - step);
    case "PageUp":
      return clamp(at + 60);
    case "PageDown":
      return clamp(at - 60);
    case "Home":
      return range.from;
    case "End":
      return range.to;
    case "n":
    case "N":
      return smallest(inRange.filter((mark) => mark > at)) ?? at;
    case "p":
    case "P":
      return largest(inRange.filter((mark) => mark < at)) ?? at;
    case "Escape":
      return "none";
    default:
      return undefined;
  }
}

function smallest(marks: readonly number[]): number | undefined {
  return marks.length === 0 ? undefined : Math.min(...marks);
}

function largest(marks: readonly number[]): number | undefined {
  return marks.length === 0 ? undefined : Math.max(...marks);
}
