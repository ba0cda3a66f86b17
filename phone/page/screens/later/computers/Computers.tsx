export function Computers() { return null; }
