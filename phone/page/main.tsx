import { effect } from "@preact/signals-core";
import { render } from "preact";
import { watchInstall } from "./browser/install.js";
import { watchUpdates } from "./browser/serviceWorker.js";
import { openSocket } from "./browser/openSocket.js";
import { browserClock } from "./browser/surroundings.js";
import { watchTaps } from "./browser/taps.js";
import { watchVisibility } from "./browser/visibility.js";
import { App } from "./screens/first/App.js";
import { clearAddress, language, opening, words } from "./start.js";
import { createState } from "./state/createState.js";
import { browserStorage } from "./storage/browserStorage.js";
import { en } from "./words/en.js";
import { createTexts } from "./words/texts.js";

/** What has not come after this time need not be waited for any longer. */
const registerAtLatestMs = 5_000;

const version = document.querySelector<HTMLMetaElement>("meta[name=version]")?.content ?? "";

const storage = browserStorage();
const state = createState({
  clock: browserClock,
  storage,
  openSocket,
  isOnline: () => navigator.onLine,
  persist: () => { navigator.storage?.persist?.().catch(() => undefined); },
  clearAddress,
  install: () => install(),
  update: () => { updates.switch(); },
  push: async () => (await import("./browser/push.js")).browserPush(),
  version,
});
const install = watchInstall(opening.isInstalled, state.setInstallable);
const updates = watchUpdates(version, state.setUpdateWaits);

/** The worker fetches the whole page once more: not before the first value has come. */
const registerWorker = () => {
  stopWaiting();
  updates.register();
};
const latest = setTimeout(() => { registerWorker(); }, registerAtLatestMs);
const stopWaiting = effect(() => {
  if (state.view.current.beats.value === 0) return;
  clearTimeout(latest);
  setTimeout(registerWorker, 500);
});

window.addEventListener("online", state.networkChanged);
window.addEventListener("offline", state.networkChanged);
// Another link, opened in this very page: begins like any other.
window.addEventListener("hashchange", () => { if (location.hash.length > 1) location.reload(); });
// Notifications are made without the page, in its language.
effect(() => {
  if (state.view.push.value === "on") void words.then((own) => storage.putWords({ words: own ?? en, language }));
});
watchTaps(state.show);
watchVisibility(state.setVisible);
void state.start(opening);

/** Until then the page that came with the document stays. */
function ready(): Promise<void> {
  return new Promise((resolve) => {
    const stop = effect(() => {
      // In a task of its own: what the connection tells meanwhile comes first.
      if (state.view.isReady.value) setTimeout(() => {
        stop();
        resolve();
      });
    });
  });
}

async function show(): Promise<void> {
  const root = document.getElementById("page");
  if (root === null) return;
  const texts = createTexts((await words) ?? en, language);
  await ready();
  // The sentence for browsers in which nothing of this runs.
  root.textContent = "";
  render(<App view={state.view} texts={texts} />, root);
}
void show();
