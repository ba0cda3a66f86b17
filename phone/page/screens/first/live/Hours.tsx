import { useScreen } from "../context.js";
import { useMedia } from "./useMedia.js";

const hourMs = 3_600_000;

/** The marks of the hours under the land: whole ones of the phone's clock, none under the edge or under "now". */
export function Hours() {
  const { view, texts } = useScreen();
  const { startMs } = view.current.day.value;
  const isWide = useMedia("(min-width: 700px)");
  const [step, fromEdge, fromNow] = isWide ? [3, 0.7, 1.2] : [6, 2, 4.2];
  return (
    <div class="hours" aria-hidden="true">
      {hourMarks(startMs, step)
        .filter((at) => at - startMs > fromEdge * hourMs && startMs + 24 * hourMs - at > fromNow * hourMs)
        .map((at) => (
          <span key={at} style={{ "--at": String((at - startMs) / (24 * hourMs)) }}>
            {texts.time(at)}
          </span>
        ))}
      <span class="now" style={{ "--at": "1" }}>
        {texts.w.now}
      </span>
    </div>
  );
}

/** The hours of a day from `startMs` on that `step` divides. By the calendar: a day may have 23 or 25 hours. */
export function hourMarks(startMs: number, step: number): readonly number[] {
  const marks: number[] = [];
  const at = new Date(startMs);
  at.setMinutes(0, 0, 0);
  for (let hour = 0; hour <= 25; hour += 1) {
    if (at.getHours() % step === 0 && at.getTime() > startMs && marks.at(-1) !== at.getTime()) marks.push(at.getTime());
    at.setTime(at.getTime() + hourMs);
  }
  return marks;
}
