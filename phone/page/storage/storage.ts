import type { Keys } from "../protocol/keys.js";

/** A paired computer. */
export interface StoredComputer {
  readonly keys: Keys;
  /** The link's name for it. */
  readonly linkName: string;
  /** The user's name for it. */
  readonly ownName?: string;
  /** Order in the list, milliseconds since 1970. */
  readonly addedAtMs: number;
  /** The number of the last alert that has been taken in, from a relay that counts them. */
  readonly lastAlert?: number;
}

/** What is kept between visits beside the pairings; small and no secret. */
export interface Settings {
  readonly chosen?: string;
  /** Computers that the user has removed: the installed page's first address must not bring them back. */
  readonly removed: readonly string[];
  readonly visits: number;
  /** Milliseconds since 1970. */
  readonly installDeclinedMs?: number;
  /** The user has switched notifications on, or off. */
  readonly wantsPush?: boolean;
  /** Milliseconds since 1970. */
  readonly pushDeclinedMs?: number;
  /** What a relay was told last to push to. */
  readonly pushEndpoint?: string;
  /** The public key of the relay that pushes to it, 65 bytes. */
  readonly pushKey?: Uint8Array<ArrayBuffer>;
  /** When all relays were told of it last, milliseconds since 1970; 0 while they are being told. */
  readonly pushToldMs?: number;
  /** A relay that could not be told otherwise still pushes to it: the browser is to give it up. */
  readonly isPushStale?: boolean;
}

/** How a write has ended. */
export type Written = "written" | "full" | "blocked";

/** What is kept of a computer, each one JSON text, sealed. */
export const keptParts = ["sample", "history", "alerts"] as const;
export type KeptPart = (typeof keptParts)[number];

/** Where the page keeps what it knows. Nothing here rejects: a blocked storage is an answer. */
export interface Storage {
  computers(): Promise<readonly StoredComputer[]>;
  settings(): Promise<Settings>;
  putComputer(computer: StoredComputer): Promise<Written>;
  /** Removes the pairing and all that is kept of the computer. */
  removeComputer(macId: string): Promise<Written>;
  /** Changes these and leaves all others, at once: the worker and other pages of this phone change them too. */
  changeSettings(changes: Partial<Settings>): Promise<Written>;
  kept(macId: string, part: KeptPart): Promise<string | undefined>;
  keep(macId: string, part: KeptPart, text: string): Promise<Written>;
  /** The page's words and language, for notifications, which are made without it. */
  putWords(words: object): Promise<Written>;
}
