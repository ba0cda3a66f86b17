import { createContext } from "preact";
import { useContext } from "preact/hooks";
import type { View } from "../../state/view.js";
import type { Texts } from "../../words/texts.js";

/** What every screen gets: the state, the words, and the way to other screens. */
export interface Screen {
  readonly view: View;
  readonly texts: Texts;
  open(screen: ScreenName): void;
  back(): void;
  /** Another screen has been shown since the page was opened. */
  hasMoved(): boolean;
}

export type ScreenName = "live" | "alerts" | "computers" | "add";

export const ScreenContext = createContext<Screen | undefined>(undefined);

export function useScreen(): Screen {
  const screen = useContext(ScreenContext);
  if (screen === undefined) throw new Error("a screen outside of the page");
  return screen;
}
