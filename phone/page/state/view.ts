import type { ReadonlySignal } from "@preact/signals-core";
import type { Alert } from "../protocol/alert.js";
import type { MacInfo, Sample } from "../protocol/sample.js";
import type { PushState } from "./pushRule.js";

/**
 * What is known about the connection to one computer.
 * - connecting: nothing has ever been shown, the first reading is awaited
 * - live: the newest reading is younger than 6 s
 * - late: it is older, or a return to the page has not brought one yet
 * - offline: the relay answers, the computer is not connected to it
 * - unreachable: the relay does not answer
 * - noNetwork: the phone itself says that it has no network
 * - replaced: the pairing has been replaced; there is no further attempt
 * - foreign: all that comes is sealed under another pairing
 */
export type Phase =
  | "connecting" | "live" | "late" | "offline" | "unreachable" | "noNetwork" | "replaced" | "foreign";

/** Teal, amber, red; grey while late; dawn while connecting; colourless fog without contact. */
export type Sky = "calm" | "amber" | "red" | "late" | "dawn" | "fog";

export type Severity = "amber" | "red";

/** The first sentence. */
export type FirstSentence =
  | { readonly key: "allIsWell" }
  | { readonly key: "tooHot"; readonly celsius: number }
  | { readonly key: "warm"; readonly celsius: number }
  | { readonly key: "batteryLow"; readonly percent: number }
  | { readonly key: "onBattery"; readonly percent: number }
  | { readonly key: "diskNearlyFull" }
  | { readonly key: "noBackup"; readonly days: number }
  | { readonly key: "connectingTo" }
  | { readonly key: "waiting" }
  | { readonly key: "noContact" }
  | { readonly key: "noConnection" }
  | { readonly key: "linkReplaced" }
  | { readonly key: "foreign" };

/** The second sentence. Times are milliseconds since 1970 by the phone's clock. */
export type SecondSentence =
  | { readonly key: "busy" | "atWork" | "quiet"; readonly sinceMs?: number }
  | { readonly key: "lastReading"; readonly ageMs: number }
  | { readonly key: "silentSince"; readonly atMs: number }
  | { readonly key: "scanNewCode" }
  | { readonly key: "scanAgain" };

/** The rows that can turn. */
export type TurningRow = "temperature" | "battery" | "disk" | "backup";

export interface RowState {
  readonly severity: Severity;
  /** Since when it has been so, by the phone's clock. */
  readonly sinceMs: number;
}

/** The judgement over the newest reading. Changes rarely; equal verdicts are the same object. */
export interface Verdict {
  readonly sky: Sky;
  readonly first: FirstSentence;
  readonly second?: SecondSentence;
  /** Rows that have turned; turned at once, while the sky waits. */
  readonly rows: { readonly [Row in TurningRow]?: RowState };
}

/** 24 hours of minutes; index 0 is the oldest, 1439 the present minute. `null` is a gap. */
export interface Day {
  /** When index 0 began, milliseconds since 1970 (phone's clock), a whole minute. */
  readonly startMs: number;
  readonly cpu: readonly (number | null)[];
  readonly celsius: readonly (number | null)[];
  readonly watts: readonly (number | null)[];
}

/** A bin of the land: 0.6 × mean + 0.4 × maximum of its minutes, `null` without readings. */
export interface LandBins {
  readonly startMs: number;
  /** Minutes that a bin spans. */
  readonly span: number;
  readonly cpu: readonly (number | null)[];
  readonly celsius: readonly (number | null)[];
}

export interface AlertEntry {
  /** Stable while the page and its storage live; a key for lists. */
  readonly id: string;
  readonly alert: Alert;
  /** By the phone's clock. */
  readonly atMs: number;
  readonly isSeen: boolean;
  /** It has neither been cleared nor have the readings recovered. Never while not live. */
  readonly isStillSo: boolean;
  /** How long the state lasted that a cleared alert ends, if its raised one is known. */
  readonly lastedMs?: number;
}

/** One entry of the list of computers. */
export interface ComputerCard {
  readonly macId: string;
  /** The user's own, otherwise the link's; may be empty. */
  readonly name: string;
  readonly phase: Phase;
  readonly verdict: Verdict;
  /** Age of the newest reading; absent when there is none. */
  readonly ageMs?: number;
  /** By the phone's clock; absent when there is none. */
  readonly readAtMs?: number;
  readonly cpuPercent?: number;
  readonly land?: LandBins;
}

/** What stands in the way, in the order in which it is told. */
export type Problem =
  /** Crypto is missing: the page came over plain http. */
  | { readonly kind: "insecure" }
  | { readonly kind: "browserTooOld" }
  | { readonly kind: "linkDamaged" }
  /** The link has a version that this page does not know. */
  | { readonly kind: "linkNewer" }
  /** Storage cannot be used (a private window): it works until the page is closed. */
  | { readonly kind: "storageBlocked" }
  | { readonly kind: "storageFull" }
  /** The clocks of computer and phone differ; positive: the computer's is ahead. */
  | { readonly kind: "clockOff"; readonly byMs: number };

/** The computer that the page shows. All signals follow the choice. */
export interface CurrentComputer {
  readonly macId: ReadonlySignal<string | undefined>;
  readonly name: ReadonlySignal<string>;
  readonly phase: ReadonlySignal<Phase>;
  /** The newest that came, or the last known from storage. `macInfo` is the last that ever came. */
  readonly sample: ReadonlySignal<Sample | undefined>;
  readonly macInfo: ReadonlySignal<MacInfo | undefined>;
  /** When `sample` was read, by the phone's clock. */
  readonly readAtMs: ReadonlySignal<number | undefined>;
  /** Grows with each sample that arrives; starts the lamp's ring. 0 before the first. */
  readonly beats: ReadonlySignal<number>;
  readonly verdict: ReadonlySignal<Verdict>;
  /** Changes with a new minute and a new history, not with every sample. */
  readonly day: ReadonlySignal<Day>;
  /** There is something in `day` from before this minute. */
  readonly hasHistory: ReadonlySignal<boolean>;
  /** Newest first, at most 50. */
  readonly alerts: ReadonlySignal<readonly AlertEntry[]>;
  readonly unseenAlerts: ReadonlySignal<number>;
}

/** Answers to "add by link". */
export type AddResult = "added" | "linkDamaged" | "linkNewer";

export interface Actions {
  /** Shows this computer. */
  choose(macId: string): void;
  /** An empty name gives the link's name back. */
  rename(macId: string, name: string): void;
  /** Forgets pairing, readings and alerts. */
  remove(macId: string): void;
  /** Reads a scanned or pasted link, and shows its computer. */
  addByLink(text: string): Promise<AddResult>;
  /** The list of computers is open: all of them are connected then. */
  watchAll(on: boolean): void;
  markSeen(): void;
  /** The list of alerts has been opened. */
  alertsOpened(): void;
  /** Hides a problem until the next opening. */
  dismissProblem(): void;
  install(): Promise<void>;
  /** "Not now", kept for 30 days. */
  declineInstall(): void;
  /** Switches notifications on, which may ask the user, or off. */
  setPush(on: boolean): void;
  /** "Not now", kept for 30 days. */
  declinePush(): void;
  /** Loads the version that is waiting. */
  update(): void;
}

/** How the page can be put on the home screen. */
export type InstallOffer =
  /** The browser asks when told to: one button. */
  | "prompt"
  /** The user does it in the browser's own menu: two steps. */
  | "steps";

/** Everything that screens get. */
export interface View {
  /** Milliseconds since 1970, by the phone's clock; counts seconds only while somebody looks. */
  readonly now: ReadonlySignal<number>;
  /** Nothing is decided before storage has been read. */
  readonly isReady: ReadonlySignal<boolean>;
  /** What comes first has come, or has been waited for: time for everything else. */
  readonly isSettled: ReadonlySignal<boolean>;
  readonly computers: ReadonlySignal<readonly ComputerCard[]>;
  readonly current: CurrentComputer;
  readonly problem: ReadonlySignal<Problem | undefined>;
  /** Present when it is time to offer it. */
  readonly installOffer: ReadonlySignal<InstallOffer | undefined>;
  /** Notifications while the page is closed. */
  readonly push: ReadonlySignal<PushState>;
  /** It is time to ask for them, or to say why they cannot be. */
  readonly pushOffer: ReadonlySignal<boolean>;
  /** Computers whose relay has refused them, while others have not. */
  readonly pushRefused: ReadonlySignal<readonly { readonly name: ReadonlySignal<string> }[]>;
  /** A new version waits; it also comes by itself while the page is hidden. */
  readonly updateWaits: ReadonlySignal<boolean>;
  /** Version of the page: the first 12 hexadecimal digits of the hash over all of its files. */
  readonly version: string;
  readonly actions: Actions;
}
