/**
 * Tells whether somebody can see the page: not in another tab, behind a lock, frozen, or kept by
 * the browser for going back. Tells it only when it changes, and once at the beginning.
 */
export function watchVisibility(tell: (isVisible: boolean) => void): void {
  const look = () => { tell(document.visibilityState === "visible"); };
  const hide = () => { tell(false); };
  document.addEventListener("visibilitychange", look);
  window.addEventListener("pageshow", look);
  window.addEventListener("pagehide", hide);
  document.addEventListener("freeze", hide);
  document.addEventListener("resume", look);
  look();
}
