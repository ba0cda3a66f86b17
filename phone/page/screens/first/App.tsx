import { useComputed } from "@preact/signals";
import { useEffect, useLayoutEffect, useMemo, useRef, useState } from "preact/hooks";
import type { Problem, View } from "../../state/view.js";
import type { Texts } from "../../words/texts.js";
import { type Screen, ScreenContext, type ScreenName } from "./context.js";
import { Connecting } from "./connecting/Connecting.js";
import { Later } from "./Later.js";
import { later } from "./parts.js";
import { Announcements } from "./live/Announcements.js";
import { Live } from "./live/Live.js";

/** The page. Which screen is open is an entry of the browser's history, so that the phone's own "back" leads out. */
export function App({ view, texts }: { view: View; texts: Texts }) {
  const [name, setName] = useState<ScreenName>(() => screenOf(history.state));
  const moved = useRef(false);
  useEffect(() => {
    const follow = (): void => {
      moved.current = true;
      setName(screenOf(history.state));
    };
    addEventListener("popstate", follow);
    return () => removeEventListener("popstate", follow);
  }, []);
  const screen = useMemo<Screen>(
    () => ({
      view,
      texts,
      hasMoved: () => moved.current,
      open: (next) => {
        moved.current = true;
        if (next === "live") {
          // Only forwards is known for certain: entries of an earlier visit may lie behind.
          history.replaceState({ screen: "live" }, "");
          setName("live");
        } else {
          history.pushState({ screen: next }, "");
          setName(next);
        }
        scrollTo(0, 0);
      },
      back: () => history.back(),
    }),
    [view, texts],
  );
  const { language } = texts;
  useLayoutEffect(() => {
    document.documentElement.lang = language.tag;
    document.documentElement.dir = language.rightToLeft ? "rtl" : "ltr";
  }, [language]);
  return (
    <ScreenContext.Provider value={screen}>
      <Open name={name} view={view} />
      <Spoken view={view} />
    </ScreenContext.Provider>
  );
}

function Spoken({ view }: { view: View }) {
  const hasComputers = useComputed(() => view.isReady.value && view.computers.value.length > 0).value;
  return hasComputers ? <Announcements /> : null;
}

function Open({ name, view }: { name: ScreenName; view: View }) {
  const isReady = view.isReady.value;
  const problem = view.problem.value;
  // The list changes with every reading, its length does not.
  const computers = useComputed(() => view.computers.value.length).value;
  const hasSample = useComputed(() => view.current.sample.value !== undefined).value;
  const phase = view.current.phase.value;
  if (!isReady) return null;
  if (problem !== undefined && isPage(problem, computers)) {
    return <Later load={later.problem} problem={problem} />;
  }
  if (computers === 0) return <Later load={later.add} />;
  if (name === "alerts") return <Later load={later.alerts} />;
  if (name === "computers") return <Later load={later.computers} />;
  if (name === "add") return <Later load={later.add} />;
  if (phase === "replaced" || phase === "foreign") return <Later load={later.replaced} />;
  return hasSample ? <Live /> : <Connecting />;
}

// With a computer on the page, a bad link is a notice over it: what is there goes on.
function isPage({ kind }: Problem, computers: number): boolean {
  return (
    kind === "insecure" || kind === "browserTooOld" || (computers === 0 && (kind === "linkDamaged" || kind === "linkNewer"))
  );
}

function screenOf(state: unknown): ScreenName {
  const name = typeof state === "object" && state !== null && "screen" in state ? state.screen : undefined;
  return name === "alerts" || name === "computers" || name === "add" ? name : "live";
}
