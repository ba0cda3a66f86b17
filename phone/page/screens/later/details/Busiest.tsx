import { useState } from "preact/hooks";
import { useScreen } from "../../first/context.js";
import { Gauge } from "../../first/parts/Row.js";
import { SectionHead } from "./SectionHead.js";

const few = 5;

export function Busiest() {
  const { view, texts } = useScreen();
  const [isOpen, setOpen] = useState(false);
  const processes = view.current.sample.value?.processes ?? [];
  if (processes.length === 0) return null;
  const { w, fill, percent } = texts;
  const largest = Math.max(...processes.map((process) => process.percent), 0.1);
  return (
    <section class="section pad busiest">
      <SectionHead title={w.busiest} note={fill(w.oneCore, percent(100))} />
      <ul>
        {processes.slice(0, isOpen ? processes.length : few).map((process, index) => (
          <li class="process" key={index}>
            <span class="process-name">
              <bdi>{process.name}</bdi>
            </span>
            <bdi class="process-use">{percent(process.percent, 1)}</bdi>
            <Gauge filled={(process.percent / largest) * 100} />
          </li>
        ))}
      </ul>
      {processes.length > few && (
        <button type="button" class="link" aria-expanded={isOpen} onClick={() => setOpen(!isOpen)}>
          {isOpen ? w.showFewer : fill(w.showAll, texts.number(processes.length))}
        </button>
      )}
    </section>
  );
}
