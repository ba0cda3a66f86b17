// Reads a QR code out of a picture of the camera: with the system's own detector where there is one, otherwise with
// jsQR, which is loaded then.

export type Decode = (video: HTMLVideoElement) => Promise<string | undefined>;

/** What is used here of the system's barcode detector; TypeScript's own library does not have it yet. */
interface Detector {
  detect(source: HTMLVideoElement): Promise<readonly { readonly rawValue: string }[]>;
}
interface DetectorClass {
  new (options: { readonly formats: readonly string[] }): Detector;
  getSupportedFormats(): Promise<readonly string[]>;
}
declare global {
  var BarcodeDetector: DetectorClass | undefined;
}

export async function createDecoder(): Promise<Decode> {
  const system = await systemDetector();
  return system ?? (await loadedDetector());
}

async function systemDetector(): Promise<Decode | undefined> {
  try {
    if (globalThis.BarcodeDetector === undefined) return undefined;
    // The class is there on systems that have no detector behind it.
    if (!(await globalThis.BarcodeDetector.getSupportedFormats()).includes("qr_code")) return undefined;
    const detector = new globalThis.BarcodeDetector({ formats: ["qr_code"] });
    return async (video) => (await detector.detect(video))[0]?.rawValue;
  } catch {
    return undefined;
  }
}

/** Longest side of the picture that is searched: a code that fills the frame has several pixels for each module. */
const searched = 640;

async function loadedDetector(): Promise<Decode> {
  const { default: jsQr } = await import("jsqr");
  const canvas = document.createElement("canvas");
  const context = canvas.getContext("2d", { willReadFrequently: true });
  return async (video) => {
    const { videoWidth, videoHeight } = video;
    if (context === null || videoWidth === 0 || videoHeight === 0) return undefined;
    const scale = Math.min(1, searched / Math.max(videoWidth, videoHeight));
    canvas.width = Math.round(videoWidth * scale);
    canvas.height = Math.round(videoHeight * scale);
    context.drawImage(video, 0, 0, canvas.width, canvas.height);
    const { data, width, height } = context.getImageData(0, 0, canvas.width, canvas.height);
    // The computer always shows dark on light; trying both ways would halve the pictures in a second.
    return jsQr(data, width, height, { inversionAttempts: "dontInvert" })?.data;
  };
}
