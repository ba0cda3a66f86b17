import { useEffect, useRef } from "preact/hooks";
import { useScreen } from "../../first/context.js";
import { createDecoder } from "./decoder.js";

/** The camera's picture. It lives only while it is shown: the lamp of the camera goes out with it. */
export function Viewfinder({
  found,
  failed,
}: {
  /** Answers whether that was it; scanning goes on otherwise. */
  found: (text: string) => Promise<boolean>;
  failed: (words: string) => void;
}) {
  const { texts } = useScreen();
  const video = useRef<HTMLVideoElement>(null);
  // The newest functions without starting the camera anew.
  const calls = useRef({ found, failed });
  calls.current = { found, failed };
  useEffect(() => {
    const element = video.current;
    if (element === null) return;
    const stop = new AbortController();
    scan(element, stop.signal, (text) => calls.current.found(text)).catch((error: unknown) => {
      if (stop.signal.aborted) return;
      const isDenied = error instanceof DOMException && (error.name === "NotAllowedError" || error.name === "SecurityError");
      calls.current.failed(isDenied ? texts.w.cameraDenied : texts.w.cameraMissing);
    });
    return () => stop.abort();
  }, [texts]);
  return (
    <div class="frame-place">
      <video ref={video} class="camera" playsInline muted />
      <div class="frame" aria-hidden="true" />
    </div>
  );
}

async function scan(video: HTMLVideoElement, signal: AbortSignal, found: (text: string) => Promise<boolean>): Promise<void> {
  const [stream, decode] = await Promise.all([
    navigator.mediaDevices.getUserMedia({ audio: false, video: { facingMode: "environment", width: { ideal: 1280 } } }),
    createDecoder(),
  ]);
  try {
    if (signal.aborted) return;
    video.srcObject = stream;
    await video.play();
    let refused = "";
    while (!signal.aborted) {
      const text = await decode(video);
      if (signal.aborted) return;
      // A code that is none of ours stays in view for many pictures, and is told once.
      if (text !== undefined && text !== refused) {
        if (await found(text)) return;
        refused = text;
      }
      // Ten pictures a second: a code is held still for longer, and the phone stays cool.
      await new Promise((done) => setTimeout(done, 100));
    }
  } finally {
    for (const track of stream.getTracks()) track.stop();
    video.srcObject = null;
  }
}
