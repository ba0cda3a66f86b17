import type { ComponentChildren } from "preact";
import { useEffect, useId, useRef } from "preact/hooks";

/** A sheet over the page: the browser's own dialog keeps the focus in it and closes it on Escape. */
export function Sheet({ title, close, children }: { title: string; close: () => void; children: ComponentChildren }) {
  const dialog = useRef<HTMLDialogElement>(null);
  const id = useId();
  useEffect(() => {
    const element = dialog.current;
    element?.showModal();
    return () => element?.close();
  }, []);
  return (
    <dialog
      ref={dialog}
      class="sheet"
      aria-labelledby={id}
      onCancel={(event) => {
        event.preventDefault();
        close();
      }}
      onClick={(event) => {
        // The dialog itself is what lies under its padding and backdrop.
        if (event.target === dialog.current) close();
      }}
    >
      <div class="sheet-inner">
        {/* Focused first: a field would bring up the keyboard, and a listener hears what this is about. */}
        <h2 id={id} tabIndex={-1} autofocus>
          {title}
        </h2>
        {children}
      </div>
    </dialog>
  );
}
