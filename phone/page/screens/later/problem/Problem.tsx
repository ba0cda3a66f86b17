import type { Problem } from "../../../state/view.js"; export function ProblemPage(_: { problem: Problem }) { return null; }
