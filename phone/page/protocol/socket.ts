/** What is needed of a WebSocket. */
export interface Socket {
  /** What `onopen` and `onclose` have told, or would have before they were set. */
  readonly progress: "connecting" | "open" | "closed";
  /** What the relay has to be told first has been said. */
  isGreeted: boolean;
  /** What came before `onmessage` was set. */
  readonly early: unknown[];
  onopen: (() => void) | null;
  onmessage: ((event: { readonly data: unknown }) => void) | null;
  onclose: ((event: { readonly code: number }) => void) | null;
  send(text: string): void;
  close(code?: number): void;
}

/**
 * Says what the relay has to be told first. That somebody looks is said before the relay has
 * answered: it remembers, and a round trip is saved.
 */
export function greet(socket: Socket, authentication: string, isActive: boolean): void {
  socket.isGreeted = true;
  socket.send(authentication);
  if (isActive) socket.send(activity(true));
}

export function activity(isActive: boolean): string {
  return JSON.stringify({ active: isActive });
}
