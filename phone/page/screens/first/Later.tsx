import type { ComponentType } from "preact";
import { useEffect, useState } from "preact/hooks";

type Load<Props> = () => Promise<ComponentType<Props>>;

/** What has been loaded, by what loads it. */
const loaded = new Map<unknown, unknown>();

/** A part of the page that is loaded when it is first shown; nothing stands in its place until then. */
export function Later<Props extends object>({ load, ...props }: { load: Load<Props> } & Props) {
  const Part = useLater(load) as ComponentType<object> | undefined;
  return Part === undefined ? null : <Part {...props} />;
}

// Looked up by `load` each time: one place in the page may show one part after another. A failed attempt is made again
// when the phone is back online.
function useLater<Props>(load: Load<Props>): ComponentType<Props> | undefined {
  const [, drawAgain] = useState(0);
  const part = loaded.get(load) as ComponentType<Props> | undefined;
  const isMissing = part === undefined;
  useEffect(() => {
    if (!isMissing) return;
    let isWanted = true;
    const attempt = (): void => {
      Promise.all([load(), laterStyle()]).then(
        ([component]) => {
          loaded.set(load, component);
          if (isWanted) drawAgain((times) => times + 1);
        },
        () => undefined, // offline before it was cached
      );
    };
    attempt();
    addEventListener("online", attempt);
    return () => {
      isWanted = false;
      removeEventListener("online", attempt);
    };
  }, [load, isMissing]);
  return part;
}

let styled: Promise<void> | undefined;

// One style sheet for all later parts: nothing is shown before it is there.
function laterStyle(): Promise<void> {
  return (styled ??= new Promise<void>((loaded, failed) => {
    const address = document.querySelector<HTMLMetaElement>('meta[name="later-style"]')?.content;
    if (address === undefined) {
      loaded();
      return;
    }
    const link = document.createElement("link");
    link.rel = "stylesheet";
    link.href = address;
    link.onload = () => loaded();
    link.onerror = () => {
      link.remove();
      styled = undefined;
      failed(new Error("no style"));
    };
    document.head.append(link);
  }));
}
