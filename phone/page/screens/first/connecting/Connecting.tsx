import { useScreen } from "../context.js";
import { firstIcons, Icon } from "../parts/Icon.js";
import { firstSentence, awayHelp } from "../live/sentences.js";
import { Notices } from "../live/Notices.js";

/** The first opening, until the first reading: what has been done, what is awaited, and why when it takes long. */
export function Connecting() {
  const { view, texts, open } = useScreen();
  const { phase, name } = view.current;
  const { w } = texts;
  const help = awayHelp(phase.value, texts);
  const isFirst = view.computers.value.length < 2;
  return (
    <div class="page connecting">
      <header class="sky sky-dawn" data-sky="dawn">
        <div class="sky-words pad">
          {isFirst ? (
            <p class="sky-head brand">Orvik</p>
          ) : (
            <div class="sky-head">
              <button type="button" class="chooser" onClick={() => open("computers")}>
                <Icon path={firstIcons.back} turns />
                {w.computers}
              </button>
            </div>
          )}
          <h1 class="connecting-title">{firstSentence({ key: "connectingTo" }, texts, name.value)}</h1>
        </div>
        <svg class="sunrise" viewBox="-200 -200 400 200" aria-hidden="true">
          <circle class="sunrise-glow" r="140" />
          <circle class="wave" r="190" />
          <circle class="wave" r="132" />
          <circle class="wave" r="84" />
          <circle class="wave" r="44" />
          <circle class="sun" r="15" />
        </svg>
      </header>
      <main>
        <Notices />
        <ul class="steps pad">
          <li>
            <Icon path={firstIcons.done} />
            {w.linkRead}
          </li>
          <li>
            <Icon path={firstIcons.done} />
            {w.keysMade}
          </li>
          <li class="step-now">
            {help === undefined ? <span class="spinner" /> : <span class="spinner is-idle" />}
            {w.waitingFirst}
          </li>
        </ul>
        <p class="steps-note pad second" role="status">
          {help === undefined ? w.usually : `${reason(phase.value, w)} ${help}`.trim()}
        </p>
      </main>
    </div>
  );
}

function reason(phase: string, w: { readonly noContact: string; readonly noConnection: string }): string {
  return phase === "offline" ? w.noContact : w.noConnection;
}
