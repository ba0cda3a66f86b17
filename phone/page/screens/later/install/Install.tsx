import { useScreen } from "../../first/context.js";
import { Sheet } from "../sheet/Sheet.js";
import { InstallSteps } from "./InstallSteps.js";

/** Offers the home screen: one button where the browser asks when told to, otherwise the two steps. */
export function Install() {
  const { view, texts } = useScreen();
  const { w } = texts;
  const { actions, installOffer } = view;
  const isPrompt = installOffer.value === "prompt";
  const decline = (): void => actions.declineInstall();
  return (
    <Sheet title={w.installTitle} close={decline}>
      <p class="sheet-text">{w.installHelp}</p>
      {isPrompt ? (
        <button type="button" class="button" onClick={() => void actions.install()}>
          {w.install}
        </button>
      ) : (
        <InstallSteps />
      )}
      <button type="button" class="button plain" onClick={decline}>
        {isPrompt ? w.notNow : w.later}
      </button>
    </Sheet>
  );
}
