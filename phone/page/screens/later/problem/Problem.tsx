import type { Problem } from "../../../state/view.js";
import type { Texts } from "../../../words/texts.js";
import { useScreen } from "../../first/context.js";
import { Sky } from "../../first/sky/Sky.js";
import { Add } from "../add/Add.js";

/** What stands in the way of everything: a sentence, and what to do. */
export function ProblemPage({ problem }: { problem: Problem }) {
  const { texts } = useScreen();
  const [title, help] = problemWords(problem, texts);
  // A link can be mended here, a browser cannot.
  if (problem.kind === "linkDamaged" || problem.kind === "linkNewer") return <Add problem={{ title, help }} />;
  return (
    <div class="page problem">
      <header>
        <Sky colour="fog" size="problem">
          <div class="sky-words pad">
            <p class="sky-head brand">Orvik</p>
            <h1 class="verdict">{title}</h1>
          </div>
        </Sky>
      </header>
      <main class="pad narrow problem-words">
        <p>{help}</p>
      </main>
    </div>
  );
}

function problemWords({ kind }: Problem, { w }: Texts): readonly [title: string, help: string] {
  switch (kind) {
    case "insecure":
      return [w.noCrypto, w.noCryptoHelp];
    case "browserTooOld":
      return [w.browserTooOld, w.browserTooOldHelp];
    case "linkNewer":
      return [w.linkNewer, w.linkNewerHelp];
    default:
      return [w.linkDamaged, w.linkDamagedHelp];
  }
}
