// Runs the tests: bundles each, and hands it to Node's own runner. With --browser those that need a
// real browser run in Chromium as well.
import { spawnSync } from "node:child_process";
import { mkdtempSync, readdirSync, rmSync } from "node:fs";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";
import * as esbuild from "esbuild";

const here = dirname(fileURLToPath(import.meta.url));
const folder = mkdtempSync(join(here, "../node_modules/.tests-"));
const entries = readdirSync(here).filter((name) => /\.test\.tsx?$/.test(name)).map((name) => join(here, name));
try {
  await esbuild.build({
    entryPoints: entries, bundle: true, outdir: folder, outExtension: { ".js": ".mjs" }, platform: "node", format: "esm",
    target: "node18", packages: "external", logLevel: "warning", jsx: "automatic", jsxImportSource: "preact",
    // Node 18 has WebCrypto, but not as a global.
    banner: { js: 'import { webcrypto as ownCrypto } from "node:crypto"; globalThis.crypto ??= ownCrypto; globalThis.CryptoKey ??= ownCrypto.CryptoKey;' },
  });
  const files = readdirSync(folder).map((name) => join(folder, name));
  const { status } = spawnSync(process.execPath, ["--test", ...files], { stdio: "inherit", cwd: join(here, "..") });
  if (status !== 0) process.exitCode = 1;
} finally {
  rmSync(folder, { recursive: true, force: true });
}
if (process.argv.includes("--browser")) {
  const { runInBrowser } = await import("./browser.mjs");
  if (!await runInBrowser()) process.exitCode = 1;
}
