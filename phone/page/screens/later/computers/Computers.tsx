import { useEffect, useState } from "preact/hooks";
import type { ComputerCard } from "../../../state/view.js";
import { useScreen } from "../../first/context.js";
import { ageText, firstSentence, secondSentence } from "../../first/live/sentences.js";
import { firstIcons, Icon } from "../../first/parts/Icon.js";
import { Title } from "../../first/parts/Title.js";
import { Sky } from "../../first/sky/Sky.js";
import { laterIcons } from "../laterIcons.js";
import { Manage } from "./Manage.js";

const dayMs = 86_400_000;

/** All computers with their states; nobody watches one closely here, so each says how old its state is. */
export function Computers() {
  const { view, texts, open, back } = useScreen();
  const { w } = texts;
  const { actions } = view;
  const [managed, setManaged] = useState<string>();
  useEffect(() => {
    actions.watchAll(true);
    return () => actions.watchAll(false);
  }, [actions]);
  const cards = view.computers.value;
  const card = cards.find(({ macId }) => macId === managed);
  return (
    <div class="page computers">
      <main class="pad narrow">
        <div class="computers-head">
          <button type="button" class="round" aria-label={w.back} onClick={back}>
            <Icon path={firstIcons.back} turns />
          </button>
          <Title class="list-title">{w.computers}</Title>
        </div>
        <ul class="cards">
          {cards.map((each) => (
            <Card
              key={each.macId}
              card={each}
              choose={() => {
                actions.choose(each.macId);
                open("live");
              }}
              manage={() => setManaged(each.macId)}
            />
          ))}
        </ul>
        <button type="button" class="link" onClick={() => open("add")}>
          <Icon path={laterIcons.scan} />
          {w.addComputer}
        </button>
      </main>
      {card !== undefined && <Manage card={card} close={() => setManaged(undefined)} />}
    </div>
  );
}

function Card({ card, choose, manage }: { card: ComputerCard; choose: () => void; manage: () => void }) {
  const { view, texts } = useScreen();
  const { w } = texts;
  const { verdict, land, phase, readAtMs, cpuPercent, ageMs } = card;
  const isLit = verdict.sky !== "fog" && verdict.sky !== "late" && verdict.sky !== "dawn";
  const name = card.name === "" ? w.thisComputer : card.name;
  const now = view.now.peek();
  const at =
    readAtMs === undefined || land === undefined
      ? undefined
      : phase === "live" || phase === "late"
        ? 1
        : (readAtMs - land.startMs) / dayMs;
  return (
    <li class="card">
      <button type="button" class="card-open" onClick={choose}>
        <Sky
          colour={verdict.sky}
          size="card"
          bins={land}
          lamp={at === undefined || at < 0 ? undefined : { at: Math.min(1, at), load: cpuPercent ?? 0 }}
        >
          <span class="card-words">
            <span class="card-line">
              <span class={isLit ? "dot" : "dot out"} />
              <bdi class="name">{name}</bdi>
              <span class="card-when">{whenText(phase, ageMs, now, texts)}</span>
            </span>
            <span class="card-sentence">
              <strong>{firstSentence(verdict.first, texts, name)}</strong>{" "}
              {verdict.second !== undefined && (
                <span>
                  {verdict.second.key === "silentSince"
                    ? since(verdict.second.atMs, now, texts)
                    : secondSentence(verdict.second, texts, now)}
                </span>
              )}
            </span>
          </span>
        </Sky>
      </button>
      <button type="button" class="card-manage" onClick={manage}>
        <Icon path={laterIcons.more} />
        <span class="spoken">{`${w.rename}, ${w.remove}: ${name}`}</span>
      </button>
    </li>
  );
}

// Of the computer that is watched closely the newest reading is seconds old: "Live" says more than a number that runs.
function whenText(
  phase: ComputerCard["phase"],
  ageMs: number | undefined,
  nowMs: number,
  texts: ReturnType<typeof useScreen>["texts"],
): string {
  if (ageMs === undefined) return "";
  return phase === "live" && ageMs < 6000 ? texts.w.liveShort : ageText(ageMs, nowMs, texts);
}

function since(atMs: number, nowMs: number, texts: ReturnType<typeof useScreen>["texts"]): string {
  return nowMs - atMs < dayMs ? texts.timed(texts.w.since, atMs) : texts.fill(texts.w.sinceDate, texts.dateTime(atMs));
}
