// Bundles the made-up page, serves it on loopback under the page's own content policy, and opens it in Chromium.

import { mkdtemp, rm } from "node:fs/promises";
import { createServer } from "node:http";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { build } from "esbuild";
import puppeteer from "puppeteer-core";

const here = fileURLToPath(new URL(".", import.meta.url));
const policy =
  "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data: blob:; connect-src 'self'; " +
  "base-uri 'none'; form-action 'none'; require-trusted-types-for 'script'; trusted-types orvik";
const html =
  '<!doctype html><html lang="en"><head><meta charset="utf-8"><title>Orvik</title>' +
  '<meta name="viewport" content="width=device-width, initial-scale=1, viewport-fit=cover">' +
  '<meta name="theme-color" content="#0c3152"><link rel="icon" href="data:,"><link rel="stylesheet" href="/style.css"><link rel="stylesheet" href="/later.css">' +
  '<script type="module" src="/page.js"></script></head><body><div id="page"></div></body></html>';
// The pictures are set in Inter where Debian's fonts-inter-variable is installed.
const pictureFont = ':root{--font:"Inter","Noto Sans Arabic","Noto Sans Devanagari","Noto Sans CJK SC",sans-serif}';

const settled = (tab) => tab.evaluate(() => document.fonts.ready.then(() => new Promise((done) => setTimeout(done, 80))));

export async function openMadeUp() {
  const { outputFiles } = await build({
    entryPoints: { page: join(here, "page.tsx"), style: join(here, "../../screens/style.css"), later: join(here, "../../screens/later.css") },
    bundle: true, format: "esm", splitting: true, write: false, outdir: "/", jsx: "automatic", jsxImportSource: "preact",
    target: "es2022", logLevel: "error", minify: true,
  });
  const files = new Map(outputFiles.map(({ path, text }) => [path, path === "/style.css" ? text + pictureFont : text]));
  const server = createServer(({ url }, answer) => {
    const path = new URL(url, "http://localhost").pathname;
    const text = path === "/" ? html : files.get(path);
    const type = path === "/" ? "text/html" : path.endsWith(".css") ? "text/css" : "text/javascript";
    answer.writeHead(text === undefined ? 404 : 200, { "content-type": `${type}; charset=utf-8`, "content-security-policy": policy });
    answer.end(text);
  });
  await new Promise((done) => server.listen(0, "127.0.0.1", done));
  const profile = await mkdtemp(join(tmpdir(), "orvik-pictures-"));
  const browser = await puppeteer.launch({
    executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
    userDataDir: profile,
    headless: true,
    args: [
      "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
      "--disable-component-update", "--disable-sync", "--force-color-profile=srgb", "--hide-scrollbars",
    ],
    env: { ...process.env, TZ: "UTC" },
  });
  const address = `http://127.0.0.1:${server.address().port}/`;
  return {
    browser,
    /** A tab with the scene, drawn to its end; `faults` fills with what the page complains of. */
    async open({ scene = "live", lang = "en", screen, dark = false, width = 390, height = 844, scale = 2, rootSize }) {
      const tab = await browser.newPage();
      const faults = [];
      tab.on("pageerror", (error) => faults.push(String(error)));
      tab.on("console", (message) => {
        if (message.type() === "error") faults.push(message.text());
      });
      await tab.setViewport({ width, height, deviceScaleFactor: scale });
      await tab.emulateMediaFeatures([
        { name: "prefers-color-scheme", value: dark ? "dark" : "light" },
        { name: "prefers-reduced-motion", value: "reduce" },
      ]);
      const query = new URLSearchParams({ scene, lang, ...(screen && { screen }) });
      await tab.goto(`${address}?${query}`, { waitUntil: "load" });
      await tab.waitForSelector("h1");
      if (rootSize !== undefined) {
        await tab.evaluate((size) => document.documentElement.style.setProperty("font-size", size), rootSize);
      }
      await settled(tab);
      return { tab, faults };
    },
    /** Shows another scene in the same tab. */
    async show(tab, { scene, screen }) {
      await tab.evaluate((...told) => window.show(...told), scene, screen ?? null);
      await tab.waitForSelector("h1");
      await settled(tab);
    },
    async close() {
      await browser.close();
      server.close();
      await rm(profile, { recursive: true, force: true });
    },
  };
}
