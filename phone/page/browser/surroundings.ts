import type { Socket } from "../protocol/connection.js";
import type { Clock } from "../state/createState.js";

export const browserClock: Clock = {
  now: () => Date.now(),
  setTimeout: (action, milliseconds) => window.setTimeout(action, milliseconds),
  clearTimeout: (timer) => { window.clearTimeout(timer); },
};

export function openSocket(address: string): Socket {
  const socket = new WebSocket(address);
  const plain: Socket = {
    get progress() {
      if (socket.readyState === WebSocket.CONNECTING) return "connecting";
      return socket.readyState === WebSocket.OPEN ? "open" : "closed";
    },
    onopen: null,
    onmessage: null,
    onclose: null,
    send(text) { if (socket.readyState === WebSocket.OPEN) socket.send(text); },
    close(code) { socket.close(code); },
  };
  socket.onopen = () => { plain.onopen?.(); };
  socket.onmessage = ({ data }) => { plain.onmessage?.({ data }); };
  socket.onclose = ({ code }) => { plain.onclose?.({ code }); };
  return plain;
}
