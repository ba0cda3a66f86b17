/**
 * When to offer the home screen: once live for 20 s, at the second visit for 5 s, and not for 30 days
 * after "Not now". Never sooner: a tap that is meant for the page would hit the sheet.
 */
export function isTimeToOfferInstall(
  { liveMs, visits, declinedMs, nowMs }:
  { liveMs: number; visits: number; declinedMs: number | undefined; nowMs: number },
): boolean {
  if (declinedMs !== undefined && nowMs - declinedMs < 30 * 86_400_000) return false;
  return liveMs >= 20_000 || (visits >= 2 && liveMs >= 5_000);
}
