export function Alerts() { return null; }
