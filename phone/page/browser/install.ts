import type { InstallOffer } from "../state/view.js";

/** Chromium's own event; in no standard library. */
interface InstallPrompt extends Event {
  prompt(): Promise<unknown>;
}

function isInstallPrompt(event: Event): event is InstallPrompt {
  return "prompt" in event && typeof event.prompt === "function";
}

/** Finds out how this browser puts a page on the home screen. The answer asks the browser to. */
export function watchInstall(isInstalled: boolean, tell: (offer: InstallOffer | undefined) => void): () => Promise<void> {
  let asked: InstallPrompt | undefined;
  window.addEventListener("beforeinstallprompt", (event) => {
    event.preventDefault();
    if (!isInstallPrompt(event)) return;
    asked = event;
    tell("prompt");
  });
  window.addEventListener("appinstalled", () => { tell(undefined); });
  // iOS has no question; there the way leads through the share menu.
  if ("standalone" in navigator && !isInstalled) tell("steps");
  return async () => {
    await asked?.prompt();
    asked = undefined;
    tell(undefined);
  };
}
