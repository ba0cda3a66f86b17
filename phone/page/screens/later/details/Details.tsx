import type { DetailsPart } from "../../first/live/Live.js";
import { Busiest } from "./Busiest.js";
import { Connected } from "./Connected.js";
import { Computer } from "./Computer.js";
import { More } from "./More.js";
import { Storage } from "./Storage.js";

const parts = { busiest: Busiest, storage: Storage, connected: Connected, more: More, computer: Computer } as const;

/** The sections below the five rows, each by its name. A section without content has no heading. */
export function Details({ part }: { part: DetailsPart }) {
  const Part = parts[part];
  return <Part />;
}
