import assert from "node:assert/strict";
import { test } from "node:test";
import { hourMarks } from "../screens/first/live/Hours.js";
import { outline } from "../screens/first/sky/land.js";
import { markNear, minuteAfterKey, minuteAt } from "../screens/later/lastDay/scrub.js";

const bins = (cpu: readonly (number | null)[], celsius: readonly (number | null)[] = cpu.map(() => null)) =>
  ({ startMs: 0, span: 1440 / cpu.length, cpu, celsius });

/** Every height that a path passes through or is pulled to. */
function heights(path: string): readonly number[] {
  return [...path.matchAll(/-?[\d.]+ (-?[\d.]+)/g)].map(([, y]) => 112 - Number(y));
}

test("land exists only where there were readings", () => {
  assert.equal(outline(bins([null, null, null])).land, "");
  const day = outline(bins([...Array<number>(40).fill(50), ...Array<null>(40).fill(null), ...Array<number>(40).fill(20)]));
  assert.equal(day.land.match(/M/g)?.length, 2, "a gap is a gap");
  assert.match(day.bare, /^M\d+(\.\d)? 111H\d+(\.\d)?$/, "with dots on its ground");
  // Silent since the middle: the land ends there, bare ground grows up to now.
  const silent = outline(bins(Array.from({ length: 120 }, (_, index) => (index < 60 ? 30 : null))), { x: 720, y: 30 });
  assert.ok(Math.max(...[...silent.edge.matchAll(/([\d.]+) -?[\d.]+/g)].map(([, x]) => Number(x))) < 740);
  assert.match(silent.bare, /H1434$/);
});

test("the curve invents no peak and no hollow, and stays in the picture", () => {
  const jagged = [0, 100, 0, 100, 100, 3, 2, 90, 0, 0, 55, 54.9, 100, 0];
  const { land, far } = outline(bins(jagged, jagged.map((value) => value * 2)));
  for (const height of heights(land.replace(/L[^Z]*Z/g, ""))) assert.ok(height >= -0.1 && height <= 100.1, String(height));
  for (const height of heights(far.replace(/L[^Z]*Z/g, ""))) assert.ok(height >= -0.1 && height <= 112.1, String(height));
});

test("a finger, a tap and keys choose the minute", () => {
  const day = { from: 0, to: 1439 };
  assert.equal(minuteAt(-3, day), 0);
  assert.equal(minuteAt(2, day), 1439);
  assert.equal(markNear(700, [640, 690, 1000], day, 350), 690);
  assert.equal(markNear(700, [1000], day, 350), undefined);
  const keys: readonly (readonly [string, boolean, number | undefined, boolean, number | "none" | undefined])[] = [
    ["ArrowRight", false, 100, false, 110], ["ArrowRight", true, 100, false, 101], ["ArrowRight", false, 100, true, 90],
    ["ArrowLeft", false, undefined, false, 1429], ["ArrowLeft", false, 4, false, 0], ["PageUp", false, 100, false, 160],
    ["PageDown", false, 100, false, 40], ["Home", false, 100, false, 0], ["End", false, 100, true, 1439],
    ["n", false, 100, false, 500], ["N", true, 500, false, 900], ["n", false, 900, false, 900],
    ["p", false, undefined, false, 900], ["p", false, 500, false, 500], ["Escape", false, 5, false, "none"], ["x", false, 5, false, undefined],
  ];
  for (const [key, shift, selected, isRightToLeft, expected] of keys) {
    assert.equal(minuteAfterKey({ key, shift }, selected, [500, 900], day, isRightToLeft), expected, `${key} from ${selected}`);
  }
});

test("hour marks follow the calendar where a day has 25 hours", () => {
  const before = process.env["TZ"];
  process.env["TZ"] = "Europe/Berlin";
  try {
    const marks = hourMarks(new Date(2026, 9, 24, 20, 30).getTime(), 6);
    assert.deepEqual(marks.map((at) => new Date(at).getHours()), [0, 6, 12, 18]);
  } finally {
    if (before === undefined) delete process.env["TZ"];
    else process.env["TZ"] = before;
  }
});
