import { readFileSync } from "node:fs";
import { join } from "node:path";
import type { Vectors } from "./cryptoCases.js";

/** The vectors of the protocol's document and, where ORVIK_CORPUS names their folder, the public suites. */
export function vectors(): Vectors {
  // The runner starts the tests in the page's folder.
  const document = readFileSync("../../docs/protocol.md", "utf8");
  const block = /```text\n([^`]*)```/.exec(document.slice(document.indexOf("## Test vectors")))?.[1] ?? "";
  const protocol = Object.fromEntries(block.trim().split("\n").map((line) => {
    const at = line.indexOf(" = ");
    return [line.slice(0, at), line.slice(at + 3)];
  }));
  return { protocol, ...suite("aesGcm", "aes_gcm_test.json"), ...suite("hkdf", "hkdf_sha256_test.json") };
}

function suite(name: string, file: string): object {
  const corpus = process.env["ORVIK_CORPUS"];
  if (corpus === undefined || corpus === "") return {};
  return { [name]: JSON.parse(readFileSync(join(corpus, "vectors", "wycheproof", file), "utf8")) as unknown };
}
