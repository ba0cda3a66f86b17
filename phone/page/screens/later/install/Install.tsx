export function Install() { return null; }
