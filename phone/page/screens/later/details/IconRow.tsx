import type { Severity } from "../../../state/view.js";
import { Icon } from "../../first/parts/Icon.js";

interface IconRowProps {
  readonly icon: string;
  readonly name: string;
  readonly detail?: string | undefined;
  readonly value?: string | undefined;
  readonly severity?: Severity | undefined;
}

/** A thing with its drawing: what it is called, what is known of it, and at most one value. */
export function IconRow({ icon, name, detail, value, severity }: IconRowProps) {
  return (
    <li class="icon-row" data-severity={severity}>
      <span class="icon-box">
        <Icon path={icon} />
      </span>
      <div class="icon-row-words">
        <p>
          <bdi>{name}</bdi>
        </p>
        {detail !== undefined && detail !== "" && <p class="second">{detail}</p>}
      </div>
      {value !== undefined && <bdi class="icon-row-value">{value}</bdi>}
    </li>
  );
}
