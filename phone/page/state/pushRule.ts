/** What a browser can do about notifications of a closed page, as it says itself. */
export interface PushAbility {
  /** It has a worker, a PushManager and notifications. */
  readonly canPush: boolean;
  /** iOS has them only in a page that is on the home screen. */
  readonly needsInstalling: boolean;
  readonly permission: NotificationPermission;
  /** It is subscribed for this relay's key. */
  readonly isSubscribed: boolean;
}

/**
 * What is said of notifications.
 * - unoffered, unable: the relay does not push, or the browser cannot; nothing is shown
 * - install, blocked: why they cannot be switched on
 * - off, on: the switch
 * - failed: the switch, off; a relay or the push service has refused when it was turned
 */
export type PushState = "unoffered" | "unable" | "install" | "blocked" | "off" | "on" | "failed";

/** `isWanted`: the user has switched them on. */
export function pushState(isOffered: boolean, isWanted: boolean, ability: PushAbility): PushState {
  if (!isOffered) return "unoffered";
  if (ability.needsInstalling) return "install";
  if (!ability.canPush) return "unable";
  if (ability.permission === "denied") return "blocked";
  return isWanted && ability.permission === "granted" && ability.isSubscribed ? "on" : "off";
}

/** When to ask by itself: once an alert has been seen, and not for 30 days after "Not now". Never where nothing would follow. */
export function isTimeToAskForPush(
  { state, hasSeenAlert, declinedMs, nowMs }:
  { state: PushState; hasSeenAlert: boolean; declinedMs: number | undefined; nowMs: number },
): boolean {
  if (state !== "off" && state !== "install") return false;
  return hasSeenAlert && (declinedMs === undefined || nowMs - declinedMs >= 30 * 86_400_000);
}
