interface TrustedTypes {
  createPolicy(name: string, rules: { createScriptURL: (address: string) => string }): {
    createScriptURL: (address: string) => string;
  };
}

function trustedTypes(): TrustedTypes | undefined {
  return "trustedTypes" in window ? (window.trustedTypes as TrustedTypes) : undefined;
}

const workerAddress = "/orvik/sw.js";
/** A page that stays open for days asks for a new version when it is looked at again. */
const askEveryMs = 3_600_000;
const switchedKey = "orvik switched";

export interface Updates {
  /** Registers the worker, which fetches the whole page once more. Once; later calls do nothing. */
  register(): void;
  /** Switches to the version that waits, now. */
  switch(): void;
}

/**
 * Switches to a new version on a tap or while nobody looks, at most once for each version. Never
 * while somebody looks on: an old page must not run over new files. To be called before anything is
 * waited for: a page may be hidden, or another tab may switch, as soon as it runs.
 */
export function watchUpdates(version: string, tellWaiting: (waits: boolean) => void): Updates {
  const container = navigator.serviceWorker as ServiceWorkerContainer | undefined;
  if (container === undefined) return { register: () => undefined, switch() { location.reload(); } };
  const wasControlled = container.controller !== null;
  let isAsked = false;
  let registration: ServiceWorkerRegistration | undefined;
  let askedAtMs = Date.now();

  let isTapped = false;
  /** Another tab has switched. Somebody looks at this one, whose own parts are still kept. */
  let mustReload = false;

  const waiting = () => registration?.waiting ?? undefined;
  function reload(): void {
    remember(switchedKey, version);
    location.reload();
  }
  function switchNow(): void {
    if (mustReload) reload();
    else waiting()?.postMessage({ type: "switch" });
  }
  function look(): void {
    tellWaiting(wasControlled && (mustReload || waiting() !== undefined));
    if (document.visibilityState === "hidden" && remembered(switchedKey) !== version) switchNow();
  }

  container.addEventListener("controllerchange", () => {
    // The first worker takes over a page of its own version; there is nothing to load anew.
    if (!wasControlled || remembered(switchedKey) === version) return;
    mustReload = true;
    if (isTapped) reload();
    else look();
  });
  document.addEventListener("visibilitychange", () => {
    look();
    if (document.visibilityState === "hidden" || Date.now() - askedAtMs <= askEveryMs) return;
    askedAtMs = Date.now();
    registration?.update().catch(() => undefined);
  });

  async function register(): Promise<void> {
    const policy = trustedTypes()?.createPolicy("orvik", {
      createScriptURL(address) {
        if (address !== workerAddress) throw new TypeError("no script of ours");
        return address;
      },
    });
    const address = policy?.createScriptURL(workerAddress) ?? workerAddress;
    registration = await container?.register(address, { scope: "/orvik/", updateViaCache: "none" });
    if (registration === undefined) return;
    const watch = () => { registration?.installing?.addEventListener("statechange", look); };
    registration.addEventListener("updatefound", watch);
    watch();
    look();
    // What this page has used already came before the worker did.
    const used = performance.getEntriesByType("resource").map((entry) => entry.name);
    (await container?.ready)?.active?.postMessage({ type: "running", version, used });
  }

  return {
    register() {
      if (isAsked) return;
      isAsked = true;
      // Private windows and some settings have no workers: the page works without.
      register().catch(() => undefined);
    },
    switch() {
      isTapped = true;
      switchNow();
    },
  };
}

function remembered(key: string): string | null {
  try {
    return sessionStorage.getItem(key);
  } catch {
    return null;
  }
}

function remember(key: string, value: string): void {
  try {
    sessionStorage.setItem(key, value);
  } catch {
    // Without it the page may load anew once more for the same version, no oftener than it changes.
  }
}
