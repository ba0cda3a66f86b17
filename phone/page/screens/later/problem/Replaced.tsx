import { useState } from "preact/hooks";
import { useScreen } from "../../first/context.js";
import { useLand } from "../../first/live/Live.js";
import { firstSentence, secondSentence } from "../../first/live/sentences.js";
import { firstIcons, Icon } from "../../first/parts/Icon.js";
import { Sky } from "../../first/sky/Sky.js";
import { Manage } from "../computers/Manage.js";
import { laterIcons } from "../laterIcons.js";

/** The pairing opens nothing any more: scan again. What was known last is behind it, and has an end. */
export function Replaced() {
  const { view, texts, open } = useScreen();
  const { name, verdict, readAtMs, macId, phase } = view.current;
  const { w } = texts;
  const [asks, setAsks] = useState(false);
  const { bins, lamp, summary } = useLand(12);
  const { first, second } = verdict.value;
  const card = view.computers.value.find((each) => each.macId === macId.value);
  return (
    <div class="page problem is-still">
      <header>
        <Sky colour="fog" size="problem" bins={bins} lamp={lamp} summary={summary}>
          <div class="sky-words pad">
            <div class="sky-head">
              <button type="button" class="chooser" onClick={() => open("computers")}>
                <bdi class="name">{name.value || w.thisComputer}</bdi>
                <Icon path={firstIcons.down} />
                <span class="spoken">{w.computers}</span>
              </button>
              <button type="button" class="bell" aria-label={w.alerts} onClick={() => open("alerts")}>
                <Icon path={firstIcons.bell} />
              </button>
            </div>
            <p class="live-line">
              <span class="dot out" />
              {w.notLive}
            </p>
            <h1 class="verdict">
              <span>{firstSentence(first, texts, name.value)}</span>{" "}
              {second !== undefined && <span class="activity">{secondSentence(second, texts, view.now.peek())}</span>}
            </h1>
          </div>
        </Sky>
      </header>
      <main class="pad narrow problem-words">
        {phase.value === "replaced" && <p>{w.linkReplacedHelp}</p>}
        {readAtMs.value !== undefined && <p class="second">{lastReading(readAtMs.value, view.now.peek(), texts)}</p>}
        <button type="button" class="button" onClick={() => open("add")}>
          <Icon path={laterIcons.scan} />
          {w.scanNewCode}
        </button>
        <button type="button" class="button plain" onClick={() => open("add")}>
          <Icon path={laterIcons.paste} />
          {w.pasteLink}
        </button>
        <button type="button" class="link danger problem-remove" onClick={() => setAsks(true)}>
          {w.removeThis}
        </button>
      </main>
      {asks && card !== undefined && <Manage card={card} asksFirst close={() => setAsks(false)} />}
    </div>
  );
}

function lastReading(atMs: number, nowMs: number, texts: ReturnType<typeof useScreen>["texts"]): string {
  const isToday = new Date(atMs).toDateString() === new Date(nowMs).toDateString();
  return texts.fill(texts.w.lastReadingAt, isToday ? texts.time(atMs) : texts.dateTime(atMs));
}
