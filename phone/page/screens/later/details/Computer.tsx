import type { MacInfo, Sample } from "../../../protocol/sample.js";
import type { Texts } from "../../../words/texts.js";
import { useScreen } from "../../first/context.js";
import { firstIcons, Icon } from "../../first/parts/Icon.js";
import { Facts, type Fact } from "./Facts.js";

export function Computer() {
  const { view, texts } = useScreen();
  const info = view.current.macInfo.value;
  const sample = view.current.sample.value;
  const { w } = texts;
  const facts = machine(info, sample, texts);
  const isNamed = (info?.picture ?? info?.productName ?? info?.modelId) !== undefined;
  return (
    <>
      {(facts.length > 0 || isNamed) && (
        <section class="section pad computer">
          <h2>{w.thisComputer}</h2>
          {info !== undefined && isNamed && (
            <div class="machine">
              {info.picture !== undefined && <img src={info.picture} alt="" width="86" height="86" />}
              <div>
                {info.productName !== undefined && (
                  <p class="machine-name">
                    <bdi>{info.productName}</bdi>
                  </p>
                )}
                {info.modelId !== undefined && (
                  <p class="second">
                    <bdi>{info.modelId}</bdi>
                  </p>
                )}
              </div>
            </div>
          )}
          <Facts facts={facts} />
        </section>
      )}
      <footer class="pad about">
        <p class="note">
          <Icon path={firstIcons.lock} />
          {w.sealed}
        </p>
        <p class="second version">{texts.fill(w.pageVersion, view.version)}</p>
      </footer>
    </>
  );
}

function machine(info: MacInfo | undefined, sample: Sample | undefined, texts: Texts): readonly Fact[] {
  const { w, fill, number, percent, gibibytes, megahertz, list, count } = texts;
  const facts: Fact[] = [];
  const put = (name: string, ...lines: readonly (string | undefined)[]): void => {
    const known = lines.filter((line) => line !== undefined && line !== "") as readonly string[];
    if (known.length > 0) facts.push({ name, lines: known });
  };
  const cores = (words: string, amount: number | undefined, mhz: number | undefined): string | undefined =>
    amount === undefined ? undefined : list([fill(words, number(amount)), mhz === undefined ? undefined : megahertz(mhz)]);

  put(w.processor, info?.chip);
  // A machine with one kind of core only has no "performance" ones.
  put(
    w.cores,
    info?.eCores === undefined || info.eCores === 0
      ? cores("{0}", info?.pCores, info?.pMaxMhz)
      : cores(w.performance, info.pCores, info.pMaxMhz),
    info?.eCores === 0 ? undefined : cores(w.efficiency, info?.eCores, info?.eMaxMhz),
  );
  put(w.memory, info?.ramGib === undefined ? undefined : gibibytes(info.ramGib));
  const { batteryCapacityPercent: capacity, batteryCycles: cycles, batteryDesignCycles: design } = sample ?? {};
  put(
    w.battery,
    list([
      capacity === undefined ? undefined : fill(w.ofNew, percent(capacity)),
      cycles === undefined
        ? undefined
        : design === undefined || design === 0
          ? count(w.cycles, cycles)
          : fill(w.cyclesOf[texts.category(design)] ?? w.cyclesOf.other, number(cycles), number(design)),
      sample?.batteryCondition,
    ]),
  );
  put(w.system, info?.system === undefined ? undefined : systemName(info.system));
  return facts;
}

// A Mac tells the number only; others their name with it.
function systemName(system: string): string {
  return /^\d/.test(system) ? `macOS ${system}` : system;
}
