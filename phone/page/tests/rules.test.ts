import { isTimeToAskForPush, pushState, type PushAbility, type PushState } from "../state/pushRule.js";
import assert from "node:assert/strict";
import { test } from "node:test";
import type { Alert, AlertKind } from "../protocol/alert.js";
import { readHistory, readSample } from "../protocol/readSample.js";
import { AlertList } from "../state/alertList.js";
import { activity, DayKeeper, landBins } from "../state/day.js";
import { Freshness } from "../state/freshness.js";
import { isTimeToOfferInstall } from "../state/installRule.js";
import { phaseOf } from "../state/phase.js";
import { TurningRows } from "../state/turningRows.js";

const t0 = 1_800_000_000_000;
const sampleAt = (ms: number, members: object) => {
  const sample = readSample({ epoch_ms: ms, ...members });
  if (sample === undefined) throw new Error("no sample");
  return sample;
};

test("freshness follows the sample's own time, whatever the clocks say", () => {
  for (const ahead of [0, 7_200_000, -7_200_000]) {
    const fresh = new Freshness();
    const live = (ms: number) => fresh.isLive(t0 + ms, 6000);
    assert.ok(fresh.take(t0 + ahead - 50, t0));
    assert.deepEqual([live(0), live(5_999), live(6_000)], [true, true, false]);
    // Repeated, or older: no sign of life.
    assert.ok(!fresh.take(t0 + ahead - 50, t0 + 7_000));
    assert.ok(!fresh.take(t0 + ahead - 9_000, t0 + 7_000));
    assert.ok(!live(7_000));
    // Newer, but held back by the relay for ten seconds.
    assert.ok(fresh.take(t0 + ahead + 2_000, t0 + 12_000));
    assert.ok(!live(12_000));
    assert.equal(fresh.clockOffMs() !== undefined, ahead !== 0);
    // A return starts late; the next sample judges the clocks anew.
    assert.ok(fresh.take(t0 + 14_000, t0 + 14_000) === (ahead <= 0));
    fresh.returned();
    assert.ok(!live(14_001));
    assert.ok(fresh.take(t0 + 7_300_000, t0 + 7_300_000));
    assert.ok(live(7_300_000));
    assert.equal(fresh.clockOffMs(), undefined);
  }
});

test("a computer's clock that is set back is believed after three samples in order", () => {
  const fresh = new Freshness();
  fresh.take(t0, t0);
  const back = -3_600_000;
  assert.deepEqual([2000, 4000, 4000, 6000, 8000, 10_000].map((ms) => fresh.take(t0 + back + ms, t0 + ms)),
    [false, false, false, false, true, true]);
  assert.equal(fresh.ageMs(t0 + 10_000), 0);
});

/** What each reading or alert makes of row and sky; seconds since the beginning. */
type Step = readonly [seconds: number, what: object | `${AlertKind} ${"raised" | "cleared"}`, row: string, sky: string];

test("a row turns at once, the sky when it has held or an alert says so", () => {
  const hot = (celsius: number) => ({ temp_cpu: celsius });
  const used = (percent: number) => ({ disk_pct: percent });
  const charge = (percent: number, mains = false) => ({ battery_pct: percent, on_ac: mains });
  const backup = (days: number) => ({ tm_last_backup: t0 / 1000 - days * 86_400 });
  const table: Record<string, readonly Step[]> = {
    temperature: [
      [0, hot(89.9), "", ""], [2, hot(90), "amber", ""], [61, hot(90), "amber", ""], [62, hot(90), "amber", "amber"],
      [64, hot(95), "red", "amber"], [123, hot(94), "red", "amber"], [124, hot(90), "red", "red"],
      [126, hot(89.9), "", ""], [128, "temp_high raised", "", ""], [130, hot(91), "red", "red"],
      [132, hot(89), "", ""], [134, hot(92), "amber", ""], [136, {}, "", ""],
    ],
    disk: [
      [0, used(80), "", ""], [2, used(90), "amber", ""], [62, used(88), "amber", "amber"], [64, used(87.9), "", ""],
      [66, used(89), "", ""], [68, "disk_full raised", "", ""], [70, used(89), "amber", "amber"],
    ],
    battery: [
      [0, charge(60), "", ""], [2, charge(20), "amber", ""], [4, charge(14), "red", ""], [64, charge(19), "red", "red"],
      [66, charge(21), "", ""], [68, "on_battery raised", "", ""], [70, charge(64), "amber", "amber"],
      [72, "battery_low raised", "amber", "amber"], [74, charge(15), "red", "red"], [76, charge(12, true), "", ""],
      [78, charge(64), "", ""], [80, { battery_pct: 5 }, "", ""],
    ],
    backup: [
      [0, backup(29.99), "", ""], [2, backup(30.1), "amber", ""], [62, backup(30.1), "amber", "amber"],
      [64, backup(0), "", ""], [66, "time_machine raised", "", ""], [68, {}, "amber", "amber"],
      [70, "time_machine cleared", "amber", "amber"], [72, {}, "", ""],
    ],
  };
  for (const [name, steps] of Object.entries(table)) {
    const rows = new TurningRows();
    rows.takeSample(sampleAt(t0 - 2000, {}), t0 - 2000);
    for (const [seconds, what, row, sky] of steps) {
      const now = t0 + seconds * 1000;
      if (typeof what === "string") {
        const [kind, state] = what.split(" ") as [AlertKind, "raised" | "cleared"];
        rows.takeAlert({ kind, state, epochMs: now }, now);
      } else {
        rows.takeSample(sampleAt(now, what), now);
      }
      const state = Object.entries(rows.states()).find(([key]) => key === name)?.[1];
      assert.equal(state?.severity ?? "", row, `${name} row at ${seconds}`);
      assert.equal(rows.worst(now)?.severity ?? "", sky, `${name} sky at ${seconds}`);
    }
  }
});

test("what the first reading finds of slow values has held; what is seen calms an amber sky, not a red one", () => {
  const rows = new TurningRows();
  const at = (seconds: number, members: object) => { rows.takeSample(sampleAt(t0, members), t0 + seconds * 1000); };
  at(0, { disk_pct: 92, temp_cpu: 96 });
  assert.deepEqual(rows.worst(t0), { row: "disk", severity: "amber" });
  rows.markSeen();
  assert.equal(rows.worst(t0), undefined);
  assert.deepEqual(Object.keys(rows.states()).sort(), ["disk", "temperature"]);
  assert.deepEqual(rows.worst(t0 + 60_000), { row: "temperature", severity: "red" });
  at(62, { disk_pct: 80 });
  at(64, { disk_pct: 91 });
  assert.deepEqual(rows.worst(t0 + 124_000), { row: "disk", severity: "amber" });
});

test("a day is filled by history and live samples, moves on, and keeps its gaps", () => {
  const keeper = new DayKeeper();
  const minute = t0 / 60_000;
  const history = readHistory({ t0: (minute - 3) * 60, dm: [0, 1], cpu: [10, 20], temp: [null, 50], w: [null, null] });
  if (history !== undefined) keeper.takeHistory(history, minute - 1);
  keeper.takeSample(sampleAt(t0 + 1000, { cpu_pct: 30 }));
  keeper.takeSample(sampleAt(t0 + 3000, { cpu_pct: 50 }));
  assert.deepEqual(keeper.at(t0 + 4000, 0).cpu.slice(-4), [10, 20, null, 40]);
  assert.equal(keeper.at(t0 + 4000, 0).startMs, t0 - 1439 * 60_000);
  // The computer's clock is an hour ahead of the phone's.
  assert.deepEqual(keeper.at(t0 - 3_600_000, 3_600_000).cpu.slice(-4), [10, 20, null, 40]);
  assert.deepEqual(keeper.at(t0 + 1439 * 60_000, 0).cpu.slice(0, 2), [40, null]);
  assert.deepEqual(keeper.at(t0 + 1441 * 60_000, 0).cpu.filter((value) => value !== null), []);
  assert.deepEqual(keeper.toHistory(minute + 1), {
    t0: (minute - 3) * 60, dm: [0, 1, 2], cpu: [10, 20, 40], temp: [null, 50, null], w: [null, null, null],
  });
  const old = readHistory({ t0: (minute - 1500) * 60, dm: [0], cpu: [99], temp: [null], w: [null] });
  if (old !== undefined) keeper.takeHistory(old, minute - 1);
  assert.ok(!keeper.at(t0, 0).cpu.includes(99));
});

test("the land's bins are 0.6 of the mean and 0.4 of the highest, and stay where they are", () => {
  const cpu = new Array<number | null>(1440).fill(null);
  cpu.fill(10, 1428, 1439);
  cpu[1439] = 100;
  const day = (startMs: number) => landBins({ startMs, cpu, celsius: cpu, watts: cpu }, 12);
  const whole = day(t0);
  assert.equal(whole.cpu.length, 120);
  assert.equal(whole.cpu.at(-1), 0.6 * 17.5 + 0.4 * 100);
  assert.equal(whole.cpu.at(-2), null);
  const later = day(t0 + 5 * 60_000);
  assert.deepEqual([later.startMs, later.cpu.length], [t0, 121]);
});

test("busy, at work or quiet by ten minutes, and since when", () => {
  const day = (cpu: (number | null)[]) => {
    const whole = [...new Array<number | null>(1440 - cpu.length).fill(null), ...cpu];
    return activity({ startMs: 0, cpu: whole, celsius: whole, watts: whole });
  };
  const fill = (value: number, count: number) => new Array<number>(count).fill(value);
  assert.equal(day([]), undefined);
  assert.deepEqual(day([50]), { key: "busy" });
  assert.deepEqual([day([49.9])?.key, day([15])?.key, day([14.9])?.key], ["atWork", "atWork", "quiet"]);
  assert.deepEqual(day([...fill(5, 60), ...fill(80, 40)]), { key: "busy", sinceMs: 1405 * 60_000 });
  assert.equal(day([...fill(80, 40), null, null, null, ...fill(80, 15)])?.sinceMs, 1425 * 60_000);
});

test("an alert is listed once, is still so until it is not, and tells how long it lasted", () => {
  const alerts = new AlertList();
  const alert = (kind: AlertKind, state: "raised" | "cleared", epochMs: number): Alert => ({ kind, state, epochMs });
  const take = (...given: [AlertKind, "raised" | "cleared", number]) => alerts.take(alert(...given), "");
  assert.deepEqual([take("on_battery", "raised", 1000), take("on_battery", "raised", 1000), take("on_battery", "cleared", 9000),
    take("disk_full", "raised", 2000), take("disk_full", "raised", 3000)], [true, false, true, true, true]);
  const entries = alerts.entries((kind) => kind === "disk_full" || kind === "on_battery", (ms) => ms + 500);
  assert.deepEqual(entries.map(({ alert: { kind, state }, atMs, isStillSo, lastedMs }) => [kind, state, atMs, isStillSo, lastedMs]), [
    ["disk_full", "raised", 3500, true, undefined], ["disk_full", "raised", 2500, false, undefined],
    ["on_battery", "cleared", 9500, false, 8000], ["on_battery", "raised", 1500, false, undefined],
  ]);
  for (let index = 0; index < 60; index++) take("temp_high", "raised", index * 1e6);
  assert.equal(alerts.payloads().length, 50);
});

test("the phase is the worst of what is known", () => {
  const good = { link: "accepted", isMacConnected: true, isOnline: true, isForeign: false, isLive: true, hasSample: true } as const;
  const table: [Partial<Parameters<typeof phaseOf>[0]>, string][] = [
    [{}, "live"], [{ isLive: false }, "late"], [{ isLive: false, hasSample: false }, "connecting"],
    [{ isMacConnected: false }, "offline"], [{ link: "held" }, "offline"], [{ link: "failing" }, "live"],
    [{ link: "failing", isLive: false }, "unreachable"], [{ link: "failing", isLive: false, isOnline: false }, "noNetwork"],
    [{ link: "connecting", isLive: false, isOnline: false }, "late"], [{ isForeign: true, isMacConnected: false }, "foreign"],
    [{ link: "replaced", isForeign: true }, "replaced"],
  ];
  for (const [change, wanted] of table) assert.equal(phaseOf({ ...good, ...change }), wanted, JSON.stringify(change));
});

test("the home screen is offered after 20 s of live view or 5 s at the second visit, and not for 30 days after a no", () => {
  const offer = (liveMs: number, visits: number, declinedDays?: number) => isTimeToOfferInstall({
    liveMs, visits, nowMs: t0, declinedMs: declinedDays === undefined ? undefined : t0 - declinedDays * 86_400_000,
  });
  assert.deepEqual([offer(19_999, 1), offer(20_000, 1), offer(4_999, 2), offer(5_000, 2), offer(1e6, 9, 29.9), offer(1e6, 9, 30)],
    [false, true, false, true, false, true]);
});

test("notifications are asked for once an alert has been seen, where they can be had", () => {
  const able: PushAbility = { canPush: true, needsInstalling: false, permission: "granted", isSubscribed: true };
  const states: [boolean, boolean, Partial<PushAbility>, PushState][] = [
    [false, true, {}, "unoffered"], [true, true, {}, "on"], [true, false, {}, "off"], [true, true, { isSubscribed: false }, "off"],
    [true, true, { permission: "default" }, "off"], [true, true, { permission: "denied" }, "blocked"],
    [true, false, { canPush: false, permission: "denied" }, "unable"], [true, false, { canPush: false, needsInstalling: true }, "install"],
  ];
  for (const [isOffered, isWanted, ability, wanted] of states) assert.equal(pushState(isOffered, isWanted, { ...able, ...ability }), wanted);
  const nowMs = 1_800_000_000_000;
  const month = 30 * 86_400_000;
  const asks: [PushState, boolean, number | undefined, boolean][] = [
    ["off", true, undefined, true], ["install", true, undefined, true], ["off", false, undefined, false], ["on", true, undefined, false],
    ["blocked", true, undefined, false], ["failed", true, undefined, false], ["unable", true, undefined, false], ["unoffered", true, undefined, false],
    ["off", true, nowMs - month + 1, false], ["off", true, nowMs - month, true],
  ];
  for (const [state, hasSeenAlert, declinedMs, wanted] of asks) {
    assert.equal(isTimeToAskForPush({ state, hasSeenAlert, declinedMs, nowMs }), wanted, `${state} ${String(declinedMs)}`);
  }
});
