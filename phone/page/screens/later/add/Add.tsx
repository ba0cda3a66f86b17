import { useState } from "preact/hooks";
import { useScreen } from "../../first/context.js";
import { firstIcons, Icon } from "../../first/parts/Icon.js";
import { Title } from "../../first/parts/Title.js";
import { laterIcons } from "../laterIcons.js";
import { Viewfinder } from "./Viewfinder.js";

/** Adding a computer: by its code in front of the camera, or by its link pasted. The field works without a camera. */
export function Add({ problem }: { problem?: { readonly title: string; readonly help: string } }) {
  const { view, texts, open, back } = useScreen();
  const { w } = texts;
  const [link, setLink] = useState("");
  const [fault, setFault] = useState<string>();
  const [isScanning, setScanning] = useState(false);
  const isFirst = view.computers.value.length === 0;

  const add = async (text: string): Promise<boolean> => {
    const result = await view.actions.addByLink(text.trim());
    if (result === "added") {
      setScanning(false);
      open("live");
      return true;
    }
    setFault(result === "linkNewer" ? `${w.linkNewer} ${w.linkNewerHelp}` : w.otherCode);
    return false;
  };
  const paste = async (): Promise<void> => {
    if (link.trim() !== "") {
      await add(link);
      return;
    }
    try {
      const text = await navigator.clipboard.readText();
      setLink(text);
      await add(text);
    } catch {
      // Not allowed, or not there: the field takes it by hand.
      document.getElementById("link")?.focus();
    }
  };

  return (
    <div class="page add">
      <header class="scanner">
        <div class="sky-head pad">
          {isFirst ? (
            <p class="brand">Orvik</p>
          ) : (
            <button type="button" class="chooser" onClick={back}>
              <Icon path={firstIcons.back} turns />
              {w.back}
            </button>
          )}
        </div>
        <Title class="scan-title pad">{problem?.title ?? w.scanTitle}</Title>
        {problem !== undefined && <p class="scan-help pad">{problem.help}</p>}
        {isScanning ? (
          <Viewfinder
            found={add}
            failed={(words) => {
              setFault(words);
              setScanning(false);
            }}
          />
        ) : (
          <div class="frame-place">
            <div class="frame">
              <button
                type="button"
                class="button scan-button"
                onClick={() => {
                  setFault(undefined);
                  setScanning(true);
                }}
              >
                <Icon path={laterIcons.scan} />
                {w.scan}
              </button>
            </div>
          </div>
        )}
        <p class="fit second">{w.fitFrame}</p>
        <svg class="hills" viewBox="0 0 390 16" preserveAspectRatio="none" aria-hidden="true">
          <path d="M0 15C30 14 45 4 70 4S120 12 145 12 175 5 198 5 225 11 250 11 300 0 330 0 365 7 390 7V17H0Z" />
        </svg>
      </header>
      <main class="pad narrow add-words">
        <p class="fault" role="alert">
          {fault}
        </p>
        <h2>{w.whereCode}</h2>
        <p class="where">{w.whereCodeHelp}</p>
        <form
          class="paste"
          onSubmit={(event) => {
            event.preventDefault();
            void paste();
          }}
        >
          <label class="field-label" for="link">
            {w.pasteLabel}
          </label>
          <input
            id="link"
            class="field"
            dir="ltr"
            inputMode="url"
            autocomplete="off"
            autocapitalize="off"
            spellcheck={false}
            maxLength={4096}
            placeholder="https://…/orvik/p#1…"
            value={link}
            onInput={(event) => setLink(event.currentTarget.value)}
          />
          <button type="submit" class="button">
            {link.trim() === "" ? w.paste : w.add}
          </button>
        </form>
        <p class="note">
          <Icon path={firstIcons.lock} />
          {w.linkIsKey}
        </p>
      </main>
    </div>
  );
}
