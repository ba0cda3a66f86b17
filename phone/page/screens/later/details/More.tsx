import type { Sample } from "../../../protocol/sample.js";
import type { Texts } from "../../../words/texts.js";
import { useScreen } from "../../first/context.js";
import { Facts, type Fact } from "./Facts.js";
import { SectionHead } from "./SectionHead.js";

export function More() {
  const { view, texts } = useScreen();
  const sample = view.current.sample.value;
  if (sample === undefined) return null;
  const facts = readings(sample, texts);
  if (facts.length === 0 && !sample.sensorsFailed) return null;
  return (
    <section class="section pad more">
      <SectionHead title={texts.w.more} />
      {sample.sensorsFailed && <p class="sensors">{texts.w.sensorsUnread}</p>}
      <Facts facts={facts} />
    </section>
  );
}

function readings(sample: Sample, texts: Texts): readonly Fact[] {
  const { w, fill, number, percent, celsius, watts, gibibytes, megahertz, list } = texts;
  const facts: Fact[] = [];
  const put = (name: string, value: string | undefined): void => {
    if (value !== undefined && value !== "") facts.push({ name, lines: [value] });
  };
  const known = <T,>(value: number | undefined, write: (value: number) => T): T | undefined =>
    value === undefined ? undefined : write(value);

  put(w.power, known(sample.powerWatts, watts));
  put(w.processorPower, known(sample.cpuWatts, watts));
  put(w.graphicsPower, known(sample.gpuWatts, watts));
  put(w.wholeMachine, known(sample.systemWatts, watts));
  put(
    w.graphics,
    sample.gpuOff === true ? w.off : list([known(sample.gpuPercent, (value) => percent(value)), known(sample.gpuCelsius, (value) => celsius(value))]),
  );
  const clocks = [
    known(sample.pCoreMhz, (value) => (sample.eCoreMhz === undefined ? megahertz(value) : fill(w.performance, megahertz(value)))),
    known(sample.eCoreMhz, (value) => fill(w.efficiency, megahertz(value))),
  ].filter((line) => line !== undefined);
  if (clocks.length > 0) facts.push({ name: w.clockRate, lines: clocks });
  if (sample.load !== undefined) facts.push({ name: w.load, cells: sample.load.map((value) => number(value, 2)) });
  put(w.loadNow, known(sample.loadNow, (value) => number(value, 1)));
  put(w.swap, known(sample.swapGib, (value) => gibibytes(value, 2)));
  put(w.runningFor, known(sample.uptimeHours, (hours) => texts.duration(hours * 3600)));
  return facts;
}
