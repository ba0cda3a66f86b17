import { useEffect } from "preact/hooks";
import type { AlertEntry } from "../../../state/view.js";
import { alertDetail } from "../../../words/alertDetail.js";
import { alertTitle } from "../../../words/alertTitle.js";
import type { Texts } from "../../../words/texts.js";
import { useScreen } from "../../first/context.js";
import { useLand } from "../../first/live/Live.js";
import { firstIcons, Icon } from "../../first/parts/Icon.js";
import { Title } from "../../first/parts/Title.js";
import { Sky } from "../../first/sky/Sky.js";
import { PushSwitch } from "../push/PushSwitch.js";
import { alertSeverity } from "./severity.js";

const dayMs = 86_400_000;

/** What the computer has raised and cleared, newest first, in days. */
export function Alerts() {
  const { view, texts, back } = useScreen();
  const { name, verdict, alerts, unseenAlerts, phase, day } = view.current;
  const { w } = texts;
  const land = useLand(12);
  const entries = alerts.value;
  useEffect(() => view.actions.alertsOpened(), [view]);
  return (
    <div class="page alerts" data-phase={phase.value}>
      <header>
        <Sky {...land} colour={verdict.value.sky} size="list" marks={<Marks entries={entries} day={day.value} />}>
          <div class="sky-words pad">
            <div class="sky-head">
              <button type="button" class="chooser" onClick={back}>
                <Icon path={firstIcons.back} turns />
                <span class="spoken">{w.back}</span>
                <bdi class="name">{name.value || w.thisComputer}</bdi>
              </button>
            </div>
            <Title class="list-title">{w.alerts}</Title>
          </div>
        </Sky>
      </header>
      <main class="pad narrow">
        {entries.length === 0 && <p class="none second">{w.noAlerts}</p>}
        {inDays(entries).map((group) => (
          <section key={group[0]?.id}>
            <h2 class="day">{texts.day(group[0]?.atMs ?? 0, view.now.peek())}</h2>
            <ul>
              {group.map((entry) => (
                <Entry key={entry.id} entry={entry} texts={texts} />
              ))}
            </ul>
          </section>
        ))}
        {unseenAlerts.value > 0 && (
          <button type="button" class="button plain seen" onClick={() => view.actions.markSeen()}>
            {w.seen}
          </button>
        )}
        <PushSwitch />
      </main>
    </div>
  );
}

function Entry({ entry, texts }: { entry: AlertEntry; texts: Texts }) {
  const { alert, atMs, isStillSo } = entry;
  const isOver = alert.state === "cleared";
  const severity = alertSeverity(alert);
  const detail = alertDetail(alert, entry.lastedMs, texts);
  return (
    <li class="alert" data-severity={isOver ? "over" : severity}>
      <span class="alert-sign">
        <Icon path={isOver ? firstIcons.done : firstIcons[severity]} />
      </span>
      <div class="alert-words">
        <p class="alert-title">{alertTitle(alert, texts)}</p>
        {detail !== undefined && <p class="second">{detail}</p>}
        {isStillSo && <p class="still-so">{texts.w.stillSo}</p>}
      </div>
      <p class="second alert-time">
        <time dateTime={new Date(atMs).toISOString()}>{texts.time(atMs)}</time>
      </p>
    </li>
  );
}

// Marks stand on stakes on the land, where the alerts of the last day were raised.
function Marks({ entries, day }: { entries: readonly AlertEntry[]; day: { readonly startMs: number; readonly cpu: readonly (number | null)[] } }) {
  return (
    <>
      {entries
        .filter(({ alert, atMs }) => alert.state === "raised" && atMs >= day.startMs && atMs < day.startMs + dayMs * 0.985)
        .map(({ id, atMs, alert }) => {
          const at = (atMs - day.startMs) / dayMs;
          const load = day.cpu[Math.floor(at * 1440)] ?? 0;
          return (
            <span key={id} class={`stake ${alertSeverity(alert)}`} style={{ "--at": String(at), "--load": String(load / 100) }}>
              <svg viewBox="0 0 24 24" aria-hidden="true">
                <path d={alertSeverity(alert) === "red" ? "M7.5 1.8h9l5.7 5.7v9l-5.7 5.7h-9l-5.7-5.7v-9Z" : "M12 2.5 23 21.5H1Z"} />
                <path class="mark-sign" d={alertSeverity(alert) === "red" ? "M12 6.5v6.5M12 17v.01" : "M12 9.5v5.5M12 18.5v.01"} />
              </svg>
            </span>
          );
        })}
    </>
  );
}

function inDays(entries: readonly AlertEntry[]): readonly (readonly AlertEntry[])[] {
  const groups: AlertEntry[][] = [];
  let day = "";
  for (const entry of entries) {
    const next = new Date(entry.atMs).toDateString();
    if (next !== day) groups.push([]);
    day = next;
    groups.at(-1)?.push(entry);
  }
  return groups;
}
