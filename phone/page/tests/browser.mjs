// What needs a real browser, in Debian's Chromium.
import { mkdtempSync, rmSync } from "node:fs";
import { createServer } from "node:http";
import { tmpdir } from "node:os";
import { dirname, join } from "node:path";
import { fileURLToPath, pathToFileURL } from "node:url";
import * as esbuild from "esbuild";
import puppeteer from "puppeteer-core";
import { deliveries, servePage } from "./delivered.mjs";

const here = dirname(fileURLToPath(import.meta.url));
const flags = [
  "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
  "--disable-component-update", "--disable-sync",
];

/** True when nothing failed. */
export async function runInBrowser() {
  const profile = mkdtempSync(join(tmpdir(), "orvik-browser-"));
  const bundle = (entry, options) => esbuild.build({ entryPoints: [join(here, entry)], bundle: true, write: false, ...options });
  const script = (await bundle("inBrowser.ts", { format: "iife", globalName: "tests" })).outputFiles[0].text;
  // Vectors are read here: a page reads no files.
  const reader = join(profile, "vectors.mjs");
  await bundle("vectors.ts", { format: "esm", platform: "node", write: true, outfile: reader });
  const { vectors } = await import(pathToFileURL(reader).href);
  const server = createServer((_request, response) => {
    response.setHeader("content-type", "text/html");
    response.end("<!doctype html><title>tests</title>");
  });
  await new Promise((resolve) => { server.listen(0, "127.0.0.1", resolve); });
  const pages = servePage(join(here, "../dist"));
  await new Promise((resolve) => { pages.listen(0, "127.0.0.1", resolve); });
  const browser = await puppeteer.launch({
    executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium", headless: true, userDataDir: profile, args: flags,
  });
  try {
    const page = await browser.newPage();
    await page.goto(`http://127.0.0.1:${server.address().port}/`);
    await page.evaluate(`${script}; globalThis.tests = tests;`);
    const results = {
      crypto: await page.evaluate((given) => globalThis.tests.crypto(given), vectors()),
      storage: await page.evaluate(() => globalThis.tests.storage()),
    };
    for (const [name, { cases, failures }] of Object.entries(results)) {
      console.log(`${name} in Chromium: ${cases} cases, ${failures.length} failures`);
      for (const failure of failures) console.error(`  ${failure}`);
    }
    const steps = await deliveries(browser, `http://127.0.0.1:${pages.address().port}`, script);
    console.log(`pushes in Chromium: ${steps} steps`);
    return Object.values(results).every(({ cases, failures }) => cases > 0 && failures.length === 0);
  } finally {
    await browser.close();
    server.close();
    pages.close();
    rmSync(profile, { recursive: true, force: true });
  }
}
