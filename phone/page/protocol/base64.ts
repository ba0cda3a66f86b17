/** base64 or base64url, padded or not, as bytes. Nothing when it is neither. */
export function bytesFromBase64(text: string): Uint8Array<ArrayBuffer> | undefined {
  const plain = text.replace(/={1,2}$/, "").replaceAll("-", "+").replaceAll("_", "/");
  if (!/^[A-Za-z0-9+/]*$/.test(plain) || plain.length % 4 === 1) return undefined;
  const binary = atob(plain);
  const bytes = new Uint8Array(binary.length);
  for (let i = 0; i < binary.length; i++) bytes[i] = binary.charCodeAt(i);
  return bytes;
}

/** base64url without padding. */
export function base64url(bytes: Uint8Array): string {
  let binary = "";
  for (const byte of bytes) binary += String.fromCharCode(byte);
  return btoa(binary).replaceAll("+", "-").replaceAll("/", "_").replaceAll("=", "");
}
