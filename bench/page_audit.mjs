#!/usr/bin/env node
// What Lighthouse says of the page, live, on its slow phone: the score of each category, the figures
// of the performance, and every audit that is not passed.
//
//   (cd phone/page && npm install --no-save lighthouse@12)
//   ORVIK_BUILD=build/release bench/page_audit.mjs
//
// Lighthouse is installed by whoever measures; version 12 is the last for Node 18, and it drives the
// system's Chromium.

import { createRequire } from "node:module";
import { fileURLToPath, pathToFileURL } from "node:url";
import { Stage } from "../tests/page/stage.mjs";

const require = createRequire(process.env.LIGHTHOUSE_AT ?? fileURLToPath(new URL("../phone/page/package.json", import.meta.url)));
let lighthouse;
try {
  lighthouse = (await import(pathToFileURL(require.resolve("lighthouse")).href)).default;
} catch {
  console.error("page_audit: Lighthouse is not there; the head of this script says how to install it");
  process.exit(1);
}

const stage = new Stage();
try {
  await stage.startRelay();
  const agent = await stage.startAgent({ sample: fileURLToPath(new URL("../tests/page/sample.json", import.meta.url)) });
  const browser = await stage.startBrowser();
  const { lhr } = await lighthouse(agent.link, { port: Number(new URL(browser.wsEndpoint()).port), output: "json", logLevel: "error" });
  if (lhr.runtimeError !== undefined) throw new Error(lhr.runtimeError.message);
  for (const { title, score } of Object.values(lhr.categories)) console.log(`${title}: ${Math.round(score * 100)} of 100`);
  const figures = ["first-contentful-paint", "largest-contentful-paint", "total-blocking-time", "cumulative-layout-shift", "speed-index", "total-byte-weight"];
  for (const name of figures) console.log(`${lhr.audits[name].title}: ${lhr.audits[name].displayValue}`);
  for (const { title, score, scoreDisplayMode, displayValue, details } of Object.values(lhr.audits)) {
    if (score === null || score >= 0.9 || scoreDisplayMode === "informative" || scoreDisplayMode === "manual") continue;
    console.log(`not passed: ${title} ${displayValue ?? ""} ${JSON.stringify(details?.items?.slice(0, 3) ?? []).slice(0, 400)}`);
  }
} finally {
  await stage.end();
}
