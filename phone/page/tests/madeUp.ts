/** A view with made-up values, for pictures and for looking at a screen in any state. Nothing moves. */
import { signal } from "@preact/signals-core";
import { readAlert } from "../protocol/readAlert.js";
import { readSample } from "../protocol/readSample.js";
import { landBins } from "../state/day.js";
import type {
  Actions, AlertEntry, ComputerCard, Day, InstallOffer, Phase, Problem, Verdict, View,
} from "../state/view.js";

export interface MadeUp {
  readonly nowMs: number;
  readonly name: string;
  readonly phase: Phase;
  readonly verdict: Verdict;
  /** As in protocol section 8. Absent: nothing has come yet. */
  readonly sample?: object;
  /** Seconds since the sample was read. */
  readonly ageS?: number;
  readonly day?: Day;
  /** As in protocol section 9, newest first. */
  readonly alerts?: readonly { readonly payload: object; readonly isSeen?: boolean; readonly isStillSo?: boolean }[];
  readonly computers?: readonly ComputerCard[];
  readonly problem?: Problem;
  readonly installOffer?: InstallOffer;
}

const emptyDay = (nowMs: number): Day => {
  const gap = new Array<number | null>(1440).fill(null);
  return { startMs: Math.floor(nowMs / 60_000) * 60_000 - 1439 * 60_000, cpu: gap, celsius: gap, watts: gap };
};

export function madeUpView(made: MadeUp, actions: Partial<Actions> = {}): View {
  const sample = made.sample === undefined ? undefined : readSample(made.sample);
  const day = made.day ?? emptyDay(made.nowMs);
  const readAtMs = sample === undefined ? undefined : made.nowMs - (made.ageS ?? 0) * 1000;
  const alerts = (made.alerts ?? []).flatMap(({ payload, isSeen = false, isStillSo = false }): AlertEntry[] => {
    const alert = readAlert(payload);
    return alert === undefined ? [] : [{ id: JSON.stringify(payload), alert, atMs: alert.epochMs, isSeen, isStillSo }];
  });
  const card: ComputerCard = {
    macId: "AAECAwQFBgcICQoLDA0ODw", name: made.name, phase: made.phase, verdict: made.verdict,
    land: landBins(day, 12),
    ...(readAtMs === undefined ? {} : { readAtMs, ageMs: made.nowMs - readAtMs }),
    ...(sample?.cpuPercent === undefined ? {} : { cpuPercent: sample.cpuPercent }),
  };
  const nothing = () => undefined;
  return {
    now: signal(made.nowMs),
    isReady: signal(true),
    computers: signal(made.computers ?? [card]),
    current: {
      macId: signal(card.macId),
      name: signal(made.name),
      phase: signal(made.phase),
      sample: signal(sample),
      macInfo: signal(sample?.macInfo),
      readAtMs: signal(readAtMs),
      beats: signal(sample === undefined ? 0 : 1),
      verdict: signal(made.verdict),
      day: signal(day),
      hasHistory: signal(day.cpu.slice(0, -1).some((value) => value !== null)),
      alerts: signal(alerts),
      unseenAlerts: signal(alerts.filter((entry) => !entry.isSeen).length),
    },
    problem: signal(made.problem),
    installOffer: signal(made.installOffer),
    updateWaits: signal(false),
    version: "000000000000",
    actions: {
      choose: nothing, rename: nothing, remove: nothing, addByLink: () => Promise.resolve("linkDamaged"),
      watchAll: nothing, markSeen: nothing, dismissProblem: nothing, install: () => Promise.resolve(),
      declineInstall: nothing, update: nothing, ...actions,
    },
  };
}
