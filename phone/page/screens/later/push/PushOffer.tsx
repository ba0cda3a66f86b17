import { useScreen } from "../../first/context.js";
import { firstIcons, Icon } from "../../first/parts/Icon.js";
import { InstallSteps } from "../install/InstallSteps.js";
import { Sheet } from "../sheet/Sheet.js";

/** Asks for notifications while the page is closed; on iOS it says how they come to be possible. */
export function PushOffer() {
  const { view, texts } = useScreen();
  const { w } = texts;
  const decline = (): void => view.actions.declinePush();
  const state = view.push.value;
  const isInstallNeeded = state === "install";
  if (state === "blocked" || state === "failed") {
    return (
      <Sheet title={w.pushSwitch} close={decline}>
        <p class="sheet-text">{state === "blocked" ? w.pushBlocked : w.pushFailed}</p>
        <button type="button" class="button plain" onClick={decline}>
          {w.back}
        </button>
      </Sheet>
    );
  }
  return (
    <Sheet title={w.pushTitle} close={decline}>
      <p class="sheet-text">{isInstallNeeded ? w.pushInstall : w.pushHelp}</p>
      {isInstallNeeded ? (
        <InstallSteps />
      ) : (
        <button type="button" class="button allow" onClick={() => view.actions.setPush(true)}>
          <Icon path={firstIcons.bell} />
          {w.pushAllow}
        </button>
      )}
      <button type="button" class="button plain" onClick={decline}>
        {w.notNow}
      </button>
    </Sheet>
  );
}
