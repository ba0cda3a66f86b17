import type { Socket } from "../protocol/socket.js";

/** Begins to connect. */
export function openSocket(address: string): Socket {
  const socket = new WebSocket(address);
  const plain: Socket = {
    get progress() {
      if (socket.readyState === WebSocket.CONNECTING) return "connecting";
      return socket.readyState === WebSocket.OPEN ? "open" : "closed";
    },
    isGreeted: false,
    early: [],
    onopen: null,
    onmessage: null,
    onclose: null,
    send(text) { if (socket.readyState === WebSocket.OPEN) socket.send(text); },
    close(code) { socket.close(code); },
  };
  socket.onopen = () => { plain.onopen?.(); };
  socket.onmessage = ({ data }) => {
    if (plain.onmessage === null) plain.early.push(data);
    else plain.onmessage({ data });
  };
  socket.onclose = ({ code }) => { plain.onclose?.({ code }); };
  return plain;
}
