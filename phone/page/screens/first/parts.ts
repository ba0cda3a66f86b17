// The only door from the first view to what is loaded later. Of screens/later the first view knows types at most, or
// the budget of the first view is gone.

import type { ComponentType } from "preact";
import { useEffect, useState } from "preact/hooks";

export const later = {
  details: async () => (await import("../later/details/Details.js")).Details,
  lastDay: async () => (await import("../later/lastDay/LastDay.js")).LastDay,
  alerts: async () => (await import("../later/alerts/Alerts.js")).Alerts,
  computers: async () => (await import("../later/computers/Computers.js")).Computers,
  add: async () => (await import("../later/add/Add.js")).Add,
  install: async () => (await import("../later/install/Install.js")).Install,
  problem: async () => (await import("../later/problem/Problem.js")).ProblemPage,
  replaced: async () => (await import("../later/problem/Replaced.js")).Replaced,
} as const;

const loaded = new Map<unknown, unknown>();

/** What has been loaded, once it is there. A failed attempt is made again when the phone is back online. */
export function useLater<Props>(load: () => Promise<ComponentType<Props>>): ComponentType<Props> | undefined {
  const [part, setPart] = useState(() => loaded.get(load) as ComponentType<Props> | undefined);
  useEffect(() => {
    if (part !== undefined) return;
    let isWanted = true;
    const attempt = (): void => {
      load().then(
        (component) => {
          loaded.set(load, component);
          if (isWanted) setPart(() => component);
        },
        () => undefined, // offline before it was cached: "online" tries again
      );
    };
    attempt();
    addEventListener("online", attempt);
    return () => {
      isWanted = false;
      removeEventListener("online", attempt);
    };
  }, [load, part]);
  return part;
}
