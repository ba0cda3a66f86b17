/** When to offer the home screen: once live for 20 s or at the second visit, "Not now" for 30 days. */
export function isTimeToOfferInstall(
  { liveMs, visits, declinedMs, nowMs }:
  { liveMs: number; visits: number; declinedMs: number | undefined; nowMs: number },
): boolean {
  if (declinedMs !== undefined && nowMs - declinedMs < 30 * 86_400_000) return false;
  return liveMs >= 20_000 || (visits >= 2 && liveMs > 0);
}
