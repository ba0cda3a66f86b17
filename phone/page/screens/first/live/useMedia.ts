import { useEffect, useState } from "preact/hooks";

/** Whether a media query holds, followed while the component lives. */
export function useMedia(query: string): boolean {
  const [holds, setHolds] = useState(() => matchMedia(query).matches);
  useEffect(() => {
    const list = matchMedia(query);
    const follow = (): void => setHolds(list.matches);
    follow();
    list.addEventListener("change", follow);
    return () => list.removeEventListener("change", follow);
  }, [query]);
  return holds;
}
