import { useState } from "preact/hooks";
import type { ComputerCard } from "../../../state/view.js";
import { useScreen } from "../../first/context.js";
import { Sheet } from "../sheet/Sheet.js";

/** Renaming and removing one computer. Removing asks once more: only a new scan brings it back. */
export function Manage({ card, close, asksFirst = false }: { card: ComputerCard; close: () => void; asksFirst?: boolean }) {
  const { view, texts } = useScreen();
  const { w, fill } = texts;
  const [name, setName] = useState(card.name);
  const [asks, setAsks] = useState(asksFirst);
  const shown = card.name === "" ? w.thisComputer : card.name;
  if (asks) {
    return (
      <Sheet title={fill(w.removeAsk, shown)} close={close}>
        <p class="sheet-text">{w.removeHelp}</p>
        <button
          type="button"
          class="button danger"
          onClick={() => {
            view.actions.remove(card.macId);
            close();
          }}
        >
          {w.remove}
        </button>
        <button type="button" class="button plain" onClick={close}>
          {w.cancel}
        </button>
      </Sheet>
    );
  }
  return (
    <Sheet title={shown} close={close}>
      <form
        class="sheet-form"
        onSubmit={(event) => {
          event.preventDefault();
          view.actions.rename(card.macId, name.trim());
          close();
        }}
      >
        <label class="field-label" for="computer-name">
          {w.name}
        </label>
        <input
          id="computer-name"
          class="field"
          value={name}
          maxLength={64}
          dir="auto"
          autocomplete="off"
          onInput={(event) => setName(event.currentTarget.value)}
        />
        <button type="submit" class="button">
          {w.rename}
        </button>
      </form>
      <button type="button" class="link danger sheet-link" onClick={() => setAsks(true)}>
        {w.removeThis}
      </button>
    </Sheet>
  );
}
