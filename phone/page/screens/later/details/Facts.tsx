/** A name, and what is known under it: lines below each other, or figures beside each other. */
export type Fact =
  | { readonly name: string; readonly lines: readonly string[] }
  | { readonly name: string; readonly cells: readonly string[] };

export function Facts({ facts }: { facts: readonly Fact[] }) {
  return (
    <dl class="facts">
      {facts.map((fact) => (
        <div class="fact" key={fact.name}>
          <dt>{fact.name}</dt>
          {"lines" in fact ? (
            <dd>
              {fact.lines.map((line) => (
                <span class="fact-line">
                  <bdi>{line}</bdi>
                </span>
              ))}
            </dd>
          ) : (
            <dd class="fact-cells">
              {fact.cells.map((cell) => (
                <bdi>{cell}</bdi>
              ))}
            </dd>
          )}
        </div>
      ))}
    </dl>
  );
}
