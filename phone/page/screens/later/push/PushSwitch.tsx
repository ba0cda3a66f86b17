import { useScreen } from "../../first/context.js";
import { InstallSteps } from "../install/InstallSteps.js";

/** Notifications of this phone, of all its computers; why there are none where that cannot be. */
export function PushSwitch() {
  const { view, texts } = useScreen();
  const { w } = texts;
  const state = view.push.value;
  if (state === "unoffered") return null;
  const isOn = state === "on";
  if (isOn || state === "off") {
    return (
      <button type="button" role="switch" aria-checked={isOn} class="push-switch" onClick={() => view.actions.setPush(!isOn)}>
        {w.pushSwitch}
        <span class="push-knob" />
      </button>
    );
  }
  return (
    <section class="push-why">
      <h2 class="day">{w.pushSwitch}</h2>
      <p class="second">{state === "install" ? w.pushInstall : state === "blocked" ? w.pushBlocked : w.pushUnable}</p>
      {state === "install" && <InstallSteps />}
    </section>
  );
}
