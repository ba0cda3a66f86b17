import type { ComponentType } from "preact";
import { useEffect, useState } from "preact/hooks";

/** A part of the page that is loaded when it is first shown. */
export function Later<Props extends object>({
  load,
  ...props
}: { load: () => Promise<ComponentType<Props>> } & Props) {
  const Part = useLater(load) as ComponentType<object> | undefined;
  return Part === undefined ? null : <Part {...props} />;
}

const loaded = new Map<unknown, unknown>();

/** The part once it has been loaded. A failed attempt is made again when the phone is back online. */
function useLater<Props>(load: () => Promise<ComponentType<Props>>): ComponentType<Props> | undefined {
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
