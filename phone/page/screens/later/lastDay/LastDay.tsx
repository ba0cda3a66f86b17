export function LastDay() { return null; }
