import type { ComponentChildren } from "preact";
import { useEffect, useRef } from "preact/hooks";
import { useScreen } from "../context.js";

/** The heading of a screen. After a change of screens it takes the focus, which the button that led here has lost. */
export function Title({ class: style, children }: { class: string; children: ComponentChildren }) {
  const heading = useRef<HTMLHeadingElement>(null);
  const { hasMoved } = useScreen();
  useEffect(() => {
    if (hasMoved()) heading.current?.focus({ preventScroll: true });
  }, [hasMoved]);
  return (
    <h1 class={style} ref={heading} tabIndex={-1}>
      {children}
    </h1>
  );
}
