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
  /** Switches to the version that waits, now. */
  switch(): void;
}

/**
 * Registers the worker, and switches to a new version on a tap or while nobody looks, at most once
 * for each version. Never while somebody looks on: an old page must not run over new files.
 */
export function watchUpdates(version: string, tellWaiting: (waits: boolean) => void): Updates {
  const container = navigator.serviceWorker as ServiceWorkerContainer | undefined;
  if (container === undefined) return { switch() { location.reload(); } };
  const wasControlled = container.controller !== null;
  let registration: ServiceWorkerRegistration | undefined;
  let askedAtMs = Date.now();

  let isTapped = false;
  let mustReload = false;

  const waiting = () => registration?.waiting ?? undefined;
  const switchNow = () => { waiting()?.postMessage({ type: "switch" }); };
  function reload(): void {
    remember(switchedKey, version);
    location.reload();
  }

  container.addEventListener("controllerchange", () => {
    // The first worker takes over a page of its own version; there is nothing to load anew.
    if (!wasControlled || remembered(switchedKey) === version) return;
    // Another tab may have switched: somebody looks at this one, whose own parts are still kept.
    if (isTapped || document.visibilityState === "hidden") reload();
    else mustReload = true;
  });
  document.addEventListener("visibilitychange", () => {
    if (document.visibilityState === "hidden") {
      if (mustReload) reload();
      else if (remembered(switchedKey) !== version) switchNow();
    } else if (Date.now() - askedAtMs > askEveryMs) {
      askedAtMs = Date.now();
      registration?.update().catch(() => undefined);
    }
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
    const tell = () => { tellWaiting(wasControlled && waiting() !== undefined); };
    registration.addEventListener("updatefound", () => {
      registration?.installing?.addEventListener("statechange", tell);
    });
    tell();
    // What this page has used already came before the worker did.
    const used = performance.getEntriesByType("resource").map((entry) => entry.name);
    (await container?.ready)?.active?.postMessage({ type: "running", used });
  }

  // Private windows and some settings have no workers: the page works without.
  register().catch(() => undefined);
  return {
    switch() {
      isTapped = true;
      if (mustReload) reload();
      else switchNow();
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
