import type { Clock } from "../state/createState.js";

export const browserClock: Clock = {
  now: () => Date.now(),
  setTimeout: (action, milliseconds) => window.setTimeout(action, milliseconds),
  clearTimeout: (timer) => { window.clearTimeout(timer); },
};
