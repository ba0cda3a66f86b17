// The screens over a made-up state: ?scene=…&lang=…; what the pictures and the measured checks open.

import { render } from "preact";
import { App } from "../../screens/first/App.js";
import { later } from "../../screens/first/parts.js";
import { en } from "../../words/en.js";
import { chooseLanguage, loadWords } from "../../words/languages.js";
import { createTexts } from "../../words/texts.js";
import { madeUpView } from "./madeUp.js";
import { lengthened } from "./pseudo.js";

const query = new URLSearchParams(location.search);
const tag = query.get("lang") ?? "en";
const language = chooseLanguage([tag]);
const words = (await loadWords(language.tag)) ?? en;
const texts = createTexts(tag === "long" ? lengthened(words) : words, language);
// All parts are there before the first is shown: a picture must not depend on how busy the machine is.
await Promise.all(Object.values(later).map((load) => load()));

/** Shows a scene in place of the one before. */
function show(scene: string, screen: string | null): void {
  const root = document.getElementById("page");
  if (root === null) return;
  const { view, advance } = madeUpView(scene, Date.parse("2026-11-22T14:32:08Z"));
  Object.assign(window, { advance });
  history.replaceState(screen === null ? null : { screen }, "");
  render(null, root);
  render(<App view={view} texts={texts} />, root);
}
Object.assign(window, { show });
show(query.get("scene") ?? "live", query.get("screen"));
