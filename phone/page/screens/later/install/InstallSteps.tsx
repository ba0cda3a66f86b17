import { useScreen } from "../../first/context.js";
import { Icon } from "../../first/parts/Icon.js";
import { laterIcons } from "../laterIcons.js";

/** How a page gets to the home screen where the browser has no question for it. */
export function InstallSteps() {
  const { w } = useScreen().texts;
  return (
    <ol class="sheet-steps">
      <li>
        <span class="icon-box">
          <Icon path={laterIcons.share} />
        </span>
        {w.installShare}
      </li>
      <li>
        <span class="icon-box">
          <Icon path={laterIcons.plus} />
        </span>
        {w.installAdd}
      </li>
    </ol>
  );
}
