import { useMemo, useRef } from "preact/hooks";
import { useScreen } from "../context.js";
import { alertTitle } from "../../../words/alertTitle.js";
import { firstSentence } from "./sentences.js";

/** What a screen reader says by itself: a new sentence, a new alert. Never a value that only moved. */
export function Announcements() {
  const { view, texts } = useScreen();
  const { verdict, alerts, name } = view.current;
  const { first } = verdict.value;
  const sentence = useMemo(() => firstSentence(first, texts, name.peek()), [first.key, texts]);
  const newest = alerts.value[0];
  // What was there at the opening is in the list and no news.
  const known = useRef(newest?.id);
  const isNew = newest !== undefined && newest.id !== known.current && !newest.isSeen;
  return (
    <div class="spoken">
      <p role="status">{sentence}</p>
      <p role="alert">{isNew ? alertTitle(newest.alert, texts) : ""}</p>
    </div>
  );
}
