import type { Problem } from "../../../state/view.js";
import type { Texts } from "../../../words/texts.js";
import { useScreen } from "../context.js";

/** What is wrong without standing in the way, and a new version that waits. */
export function Notices() {
  const { view, texts } = useScreen();
  const problem = view.problem.value;
  const { w } = texts;
  return (
    <>
      {problem !== undefined && (
        <div class="notice pad" role="status">
          <p>{problemText(problem, texts)}</p>
          <button type="button" onClick={() => view.actions.dismissProblem()}>
            {w.seen}
          </button>
        </div>
      )}
      {view.updateWaits.value && (
        <div class="notice pad" role="status">
          <p>{w.newVersion}</p>
          <button type="button" onClick={() => view.actions.update()}>
            {w.reload}
          </button>
        </div>
      )}
    </>
  );
}

function problemText(problem: Problem, { w, fill, duration }: Texts): string {
  switch (problem.kind) {
    case "storageBlocked":
      return w.storageBlocked;
    case "storageFull":
      return w.storageFull;
    case "clockOff":
      return fill(w.clockOff, duration(Math.abs(problem.byMs) / 1000));
    case "linkDamaged":
      return `${w.linkDamaged} ${w.linkDamagedHelp}`;
    case "linkNewer":
      return `${w.linkNewer} ${w.linkNewerHelp}`;
    case "insecure":
      return `${w.noCrypto} ${w.noCryptoHelp}`;
    case "browserTooOld":
      return `${w.browserTooOld} ${w.browserTooOldHelp}`;
  }
}
