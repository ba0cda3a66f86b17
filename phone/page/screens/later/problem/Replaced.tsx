export function Replaced() { return null; }
