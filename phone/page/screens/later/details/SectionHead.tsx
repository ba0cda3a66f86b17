import { useScreen } from "../../first/context.js";
import { isStill, takenAt } from "../../first/live/sentences.js";

/** The heading of a section. Values that are no longer live have their time beside it. */
export function SectionHead({ title, note }: { title: string; note?: string }) {
  const { view, texts } = useScreen();
  const { phase, readAtMs } = view.current;
  const when =
    isStill(phase.value) && readAtMs.value !== undefined ? takenAt(readAtMs.value, view.now.peek(), texts) : undefined;
  const beside = when ?? note;
  return (
    <div class="heading">
      <h2>{title}</h2>
      {beside !== undefined && <p class="second">{beside}</p>}
    </div>
  );
}
