import { useScreen } from "../../first/context.js";
import { InstallSteps } from "../install/InstallSteps.js";

/** Notifications of this phone, of all its computers; why there are none where that cannot be. */
export function PushSwitch() {
  const { view, texts } = useScreen();
  const { w } = texts;
  const state = view.push.value;
  if (state === "unoffered" || state === "unable") return null;
  if (state === "install" || state === "blocked") {
    return (
      <section class="push-why">
        <h2 class="day">{w.pushSwitch}</h2>
        <p class="second">{state === "install" ? w.pushInstall : w.pushBlocked}</p>
        {state === "install" && <InstallSteps />}
      </section>
    );
  }
  const isOn = state === "on";
  return (
    <>
      <button type="button" role="switch" aria-checked={isOn} class="push-switch" onClick={() => view.actions.setPush(!isOn)}>
        {w.pushSwitch}
        <span class="push-knob" />
      </button>
      {state === "failed" && <p class="second" role="status">{w.pushFailed}</p>}
      {view.pushRefused.value.map(({ name }) => (
        <p class="second" role="status">{`${name.value || w.thisComputer}: ${w.pushFailed}`}</p>
      ))}
    </>
  );
}
