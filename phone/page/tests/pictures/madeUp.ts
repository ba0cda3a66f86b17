// A computer that does not exist, in every state that a screen has: what the pictures and the measured checks show.

import { type Signal, signal } from "@preact/signals-core";
import { readSample } from "../../protocol/readSample.js";
import type { Sample } from "../../protocol/sample.js";
import { landBins } from "../../state/day.js";
import type { AlertEntry, ComputerCard, Day, InstallOffer, Phase, Problem, Verdict, View } from "../../state/view.js";
import type { PushState } from "../../state/pushRule.js";
import laptop from "./laptop.json";
import server from "./server.json";

const minuteMs = 60_000;
const hourMs = 60 * minuteMs;
const dayMs = 24 * hourMs;

/** 24 hours of processor load in bins of 12 minutes; 0 is a gap. */
const load = [
  28, 31, 36, 34, 31, 23, 29, 34, 38, 46, 51, 48, 40, 42, 48, 52, 40, 30, 22, 20, 16, 14, 12, 13, 16, 16, 17, 21, 19, 15,
  15, 14, 14, 13, 13, 11, 12, 39, 45, 53, 34, 13, 12, 10, 9, 8, 7, 5, 5, 5, 5, 4, 4, 3, 5, 5, 4, 4, 3, 0,
  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7, 29, 34, 20, 19, 19, 17, 14, 16, 20, 21,
  24, 26, 25, 23, 27, 38, 40, 36, 32, 33, 37, 40, 43, 52, 74, 76, 75, 73, 75, 83, 87, 90, 83, 75, 66, 68, 66, 68, 72, 78,
];
const calm = load.map((value, index) => Math.max(2, Math.round(value === 0 ? 3 : value / 3 + 2 * Math.sin(index))));

function dayOf(bins: readonly number[], startMs: number, untilMs: number, hasCelsius: boolean): Day {
  const cpu: (number | null)[] = [];
  const celsius: (number | null)[] = [];
  const watts: (number | null)[] = [];
  let warmth = 45;
  for (let minute = 0; minute < 1440; minute += 1) {
    const here = bins[Math.floor(minute / 12)] ?? 0;
    const next = bins[Math.min(119, Math.floor(minute / 12) + 1)] ?? here;
    const smooth = here + ((next === 0 ? here : next) - here) * ((minute % 12) / 12);
    const isGap = here === 0 || startMs + minute * minuteMs > untilMs;
    warmth += ((isGap ? 34 : 36 + smooth * 0.5) - warmth) * 0.03;
    const peak = Math.max(0, 1 - Math.abs(minute - 1334) / 9) * 24;
    cpu.push(isGap ? null : smooth + Math.sin(minute * 2.3) * 1.2);
    celsius.push(isGap || !hasCelsius ? null : warmth + peak);
    watts.push(isGap || !hasCelsius ? null : 4 + smooth * 0.42);
  }
  return { startMs, cpu, celsius, watts };
}

// A drawing of a laptop with the page's own land on it.
const picture = `data:image/svg+xml,${encodeURIComponent(
  '<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 86 58"><defs><linearGradient id="g" x2="0" y2="1"><stop stop-color="#2a9a90"/><stop offset="1" stop-color="#0c3152"/></linearGradient></defs><rect x="9" y="1" width="66" height="46" rx="4" fill="url(#g)" stroke="#748d9f" stroke-width="2"/><path d="M14 40c8-2 10-14 16-14s7 8 13 6 7-10 12-10 8 16 15 18z" fill="#f5f8fa" opacity=".9"/><circle cx="59" cy="19" r="3" fill="#ffd37a"/><path d="M0 49h84v3a4 4 0 0 1-4 4H4a4 4 0 0 1-4-4z" fill="#748d9f"/></svg>',
)}`;

/** What a computer sends, as the page reads it. */
function sampleAt(epochMs: number, sent: object): Sample {
  const sample = readSample({ epoch_ms: epochMs, ...sent });
  if (sample === undefined) throw new Error("no sample");
  return sample;
}

export type SceneName = keyof typeof scenes;

/** What differs from an ordinary live computer. */
interface Scene {
  readonly phase?: Phase;
  readonly verdict?: Partial<Verdict>;
  readonly sample?: Partial<Sample>;
  readonly noSample?: boolean;
  readonly noHistory?: boolean;
  readonly ageMs?: number;
  readonly alerts?: boolean;
  readonly unseen?: number;
  readonly computers?: "none" | "one" | "four";
  readonly problem?: Problem;
  readonly install?: InstallOffer;
  readonly push?: PushState;
  readonly asksForPush?: boolean;
  readonly name?: string;
  readonly isServer?: boolean;
}

const endless = "M".repeat(128);
const mixed = "\u05e9\u05dc\u05d5\u05dd ".repeat(12);

/** Texts of strangers, as long as the readers let them through. */
const hostile: Partial<Sample> = {
  processes: [{ name: endless, percent: 9999.9 }, { name: mixed, percent: 0.1 }, { name: "?", percent: 0 }],
  volumes: Array.from({ length: 64 }, () => ({ name: endless, sizeBytes: 9e18, freeBytes: 1, protocol: endless, isTimeMachine: true })),
  usb: [{ name: endless, maker: mixed, speed: endless, kind: "other", storage: false, volume: endless }],
  displays: [{ name: endless, width: 99999999, height: 99999999, refreshHz: 9999.9, main: true, builtin: true }],
  bluetooth: [{ name: mixed, kind: "other", battery: 100, batteryLeft: 100, batteryRight: 100, batteryCase: 100 }],
  network: { link: endless, gateway: endless, router: endless },
  backupDiskName: endless, uptimeHours: 9e6, swapGib: 99999.99, powerWatts: 99999.9, load: [99999.99, 99999.99, 99999.99],
  batteryCondition: endless, batteryCycles: 999999, batteryDesignCycles: 999999, ramUsedGib: 99999.9, ramTotalGib: 99999.9,
};

const offline = { sky: "fog", first: { key: "noContact" } } as const;

export const scenes = {
  live: {},
  late: {
    phase: "late",
    verdict: { sky: "late", first: { key: "waiting" }, second: { key: "lastReading", ageMs: 9000 } },
    ageMs: 9000,
  },
  lateAlert: {
    phase: "late",
    sample: { cpuCelsius: 97, diskPercent: 92, diskFreeGb: 43 },
    verdict: { sky: "late", first: { key: "waiting" }, second: { key: "lastReading", ageMs: 9000 } },
    ageMs: 9000,
  },
  offline: {
    phase: "offline",
    verdict: offline,
    ageMs: 134 * minuteMs,
    sample: { cpuPercent: 75, cpuCelsius: 71, ramPercent: 64, batteryPercent: 46, batteryState: "discharging", onMains: false },
  },
  unreachable: { phase: "unreachable", verdict: { sky: "fog", first: { key: "noConnection" } }, ageMs: 3 * dayMs },
  alert: {
    alerts: true,
    push: "on",
    unseen: 2,
    sample: { cpuPercent: 93, cpuCelsius: 97, diskPercent: 92, diskFreeGb: 43 },
    verdict: { sky: "red", first: { key: "tooHot", celsius: 97 } },
  },
  onBattery: {
    alerts: true,
    unseen: 1,
    sample: { batteryPercent: 64, batteryState: "discharging", onMains: false, batteryMinutes: 190 },
    verdict: { sky: "amber", first: { key: "onBattery", percent: 64 } },
  },
  german: {
    unseen: 1,
    name: "Arbeitszimmer-Rechner von Annegret",
    sample: { batteryPercent: 64, batteryState: "discharging", onMains: false, batteryMinutes: 190 },
    verdict: { sky: "amber", first: { key: "onBattery", percent: 64 } },
  },
  connecting: { phase: "connecting", noSample: true, noHistory: true, verdict: { sky: "dawn", first: { key: "connectingTo" } } },
  connectingOffline: { phase: "offline", noSample: true, noHistory: true, verdict: { sky: "dawn", first: { key: "connectingTo" } } },
  first: { noHistory: true, verdict: { second: { key: "busy" } } },
  install: { install: "steps" },
  installPrompt: { install: "prompt" },
  push: {
    alerts: true,
    unseen: 1,
    push: "off",
    asksForPush: true,
    sample: { batteryPercent: 64, batteryState: "discharging", onMains: false, batteryMinutes: 190 },
    verdict: { sky: "amber", first: { key: "onBattery", percent: 64 } },
  },
  pushInstall: { push: "install", asksForPush: true },
  pushBlocked: { push: "blocked" },
  pushFailed: { push: "failed" },
  computers: { computers: "four" },
  replaced: {
    phase: "replaced",
    verdict: { sky: "fog", first: { key: "linkReplaced" }, second: { key: "scanNewCode" } },
    ageMs: 120 * minuteMs,
  },
  foreign: {
    phase: "foreign",
    verdict: { sky: "fog", first: { key: "foreign" }, second: { key: "scanAgain" } },
    ageMs: 120 * minuteMs,
  },
  unpaired: { computers: "none", noSample: true },
  server: {
    name: "build-02",
    isServer: true,
    verdict: { second: { key: "quiet", sinceMs: -45 * minuteMs } },
  },
  hostile: { name: "W".repeat(64), sample: hostile, alerts: true },
  damaged: { computers: "none", noSample: true, problem: { kind: "linkDamaged" } },
  newer: { computers: "none", noSample: true, problem: { kind: "linkNewer" } },
  tooOld: { computers: "none", noSample: true, problem: { kind: "browserTooOld" } },
  insecure: { computers: "none", noSample: true, problem: { kind: "insecure" } },
  blocked: { problem: { kind: "storageBlocked" } },
} as const satisfies Record<string, Scene>;

/** A view of the scene; `advance` gives it one more sample, as a live computer would. */
export function madeUpView(sceneName: string, nowMs: number): { readonly view: View; advance(): void } {
  const scene: Scene = Object.hasOwn(scenes, sceneName) ? scenes[sceneName as SceneName] : {};
  const readAtMs = nowMs - (scene.ageMs ?? 0);
  const startMs = Math.floor(nowMs / minuteMs) * minuteMs - 1439 * minuteMs;
  const isServer = scene.isServer === true;
  const day = scene.noHistory === true
    ? dayOf([], startMs, 0, false)
    : dayOf(isServer ? calm : load, startMs, readAtMs, !isServer);
  const sent = isServer ? server : { ...laptop, tm_last_backup: (readAtMs - 4 * hourMs) / 1000 };
  const sample = scene.noSample === true ? undefined : { ...sampleAt(readAtMs, sent), ...scene.sample };
  const isOver = scene.phase === "offline" || scene.phase === "unreachable";
  const verdict: Verdict = {
    sky: "calm",
    first: { key: "allIsWell" },
    second: isOver
      ? { key: "silentSince", atMs: readAtMs }
      : { key: "busy", sinceMs: Math.floor(nowMs / dayMs) * dayMs + 11 * hourMs + 20 * minuteMs },
    ...scene.verdict,
    rows: {
      ...((sample?.cpuCelsius ?? 0) >= 95 && { temperature: { severity: "red", sinceMs: nowMs - 3 * minuteMs } }),
      ...((sample?.diskPercent ?? 0) >= 90 && { disk: { severity: "amber", sinceMs: nowMs - 7 * hourMs } }),
      ...(sample?.onMains === false && !isOver && { battery: { severity: "amber", sinceMs: nowMs - 10 * minuteMs } }),
    },
  };
  const second = verdict.second;
  const shifted = second !== undefined && "sinceMs" in second && (second.sinceMs ?? 0) < 0
    ? { ...verdict, second: { ...second, sinceMs: nowMs + (second.sinceMs ?? 0) } }
    : verdict;
  const name = scene.name ?? "Studio MacBook";
  const bins = landBins(day, 12);
  const card = (id: string, cardName: string, rest: Partial<ComputerCard>): ComputerCard => ({
    macId: id, name: cardName, phase: "live", verdict: { sky: "calm", first: { key: "allIsWell" }, second: { key: "busy" }, rows: {} },
    ageMs: 0, readAtMs: nowMs, cpuPercent: 78, land: bins, ...rest,
  });
  const quiet = landBins(dayOf(calm, startMs, nowMs, true), 12);
  const cards: Record<"none" | "one" | "four", readonly ComputerCard[]> = {
    none: [],
    one: [card("a", name, {})],
    four: [
      card("a", name, {}),
      card("b", "Front desk", {
        ageMs: 12_000, readAtMs: nowMs - 12_000, cpuPercent: 9, land: quiet,
        verdict: { sky: "amber", first: { key: "diskNearlyFull" }, second: { key: "quiet" }, rows: {} },
      }),
      card("c", "build-02", {
        ageMs: 24_000, readAtMs: nowMs - 24_000, cpuPercent: 6, land: quiet,
        verdict: { sky: "calm", first: { key: "allIsWell" }, second: { key: "quiet" }, rows: {} },
      }),
      card("d", "Attic", {
        phase: "offline", ageMs: 134 * minuteMs, readAtMs: nowMs - 134 * minuteMs, cpuPercent: 22,
        land: landBins(dayOf(calm, startMs, nowMs - 134 * minuteMs, false), 12),
        verdict: { sky: "fog", first: { key: "noContact" }, second: { key: "silentSince", atMs: nowMs - 134 * minuteMs }, rows: {} },
      }),
    ],
  };
  const now = signal(nowMs);
  const shownDay = signal(day);
  const beats = signal(scene.phase === undefined ? 7 : 0);
  const reading: Signal<Sample | undefined> = signal(sample);
  const readAt: Signal<number | undefined> = signal(sample === undefined ? undefined : readAtMs);
  const nothing = (): void => undefined;
  const view: View = {
    now,
    isReady: signal(true),
    isSettled: signal(true),
    computers: signal(cards[scene.computers ?? "one"]),
    current: {
      macId: signal("a"),
      name: signal(name),
      phase: signal(scene.phase ?? "live"),
      sample: reading,
      macInfo: signal(isServer ? undefined : {
        productName: "MacBook Pro", modelId: "Mac15,6", chip: "M3 Pro", pCores: 6, eCores: 6, pMaxMhz: 4050, eMaxMhz: 2750,
        ramGib: 36, system: "14.2.1", picture,
      }),
      readAtMs: readAt,
      beats,
      verdict: signal(shifted),
      day: shownDay,
      hasHistory: signal(scene.noHistory !== true),
      alerts: signal(scene.alerts === true || sceneName === "live" ? alertsBefore(nowMs, scene.phase === undefined) : []),
      unseenAlerts: signal(scene.unseen ?? 0),
    },
    problem: signal(scene.problem),
    installOffer: signal(scene.install),
    push: signal(scene.push ?? "unoffered"),
    pushOffer: signal(scene.asksForPush === true),
    pushRefused: signal([]),
    updateWaits: signal(false),
    version: "4f1c09ab72de",
    actions: {
      choose: nothing, rename: nothing, remove: nothing, watchAll: nothing, markSeen: nothing, alertsOpened: nothing, dismissProblem: nothing,
      declineInstall: nothing, setPush: nothing, declinePush: nothing, update: nothing,
      addByLink: async () => "linkDamaged",
      install: async () => undefined,
    },
  };
  return {
    view,
    advance: () => {
      now.value += 2000;
      const before = reading.value;
      if (before === undefined) return;
      const cpuPercent = 50 + 30 * Math.sin(beats.value);
      reading.value = { ...before, epochMs: now.value, cpuPercent };
      readAt.value = now.value;
      beats.value += 1;
      // A new minute draws land and curves anew.
      if (now.value % minuteMs < 2000) shownDay.value = { ...day };
    },
  };
}

function alertsBefore(nowMs: number, isLive: boolean): readonly AlertEntry[] {
  const today = Math.floor(nowMs / dayMs) * dayMs;
  const at = (hours: number, minutes: number): number => today + hours * hourMs + minutes * minuteMs;
  const entry = (id: string, atMs: number, alert: Omit<AlertEntry["alert"], "epochMs">, rest: Partial<AlertEntry> = {}): AlertEntry => ({
    id, atMs, alert: { ...alert, epochMs: atMs }, isSeen: false, isStillSo: false, ...rest,
  });
  return [
    entry("1", at(14, 29), { kind: "temp_high", state: "raised", value: 96.8, threshold: 95 }, { isStillSo: isLive }),
    entry("2", at(12, 47), { kind: "temp_high", state: "raised", value: 96.5, threshold: 95 }),
    entry("3", at(9, 20), { kind: "on_battery", state: "cleared" }, { lastedMs: 8 * minuteMs }),
    entry("4", at(9, 12), { kind: "on_battery", state: "raised", value: 64, batteryMinutes: 190 }),
    entry("5", at(8, 2), { kind: "disk_full", state: "raised", value: 91.5, threshold: 90, diskFreeGb: 43 }, { isStillSo: isLive }),
    entry("6", at(18, 5) - 10 * dayMs, {
      kind: "time_machine", state: "raised", value: 30, backupDiskName: "Archive", backupDiskConnected: false,
    }),
  ];
}
