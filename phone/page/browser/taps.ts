/** Tells of notifications that have been tapped while the page was open. */
export function watchTaps(show: (macId: string) => void): void {
  const container = navigator.serviceWorker as ServiceWorkerContainer | undefined;
  container?.addEventListener("message", (event) => {
    const data: unknown = event.data;
    if (typeof data === "object" && data !== null && "type" in data && data.type === "show" &&
        "macId" in data && typeof data.macId === "string") {
      show(data.macId);
    }
  });
}
