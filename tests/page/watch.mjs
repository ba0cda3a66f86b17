// A browser that looks at one computer: node watch.mjs ADDRESS [SPEED SINCE]. Prints a line of JSON
// whenever what the page shows has changed; SIGUSR2 has it mark all alerts as seen, SIGWINCH
// load the page anew, SIGHUP print what the page holds. The page's time can go faster, since that moment in seconds since 1970.

import { phonePage, Stage } from "./stage.mjs";

const [, , address, speed = "1", since = "0"] = process.argv;
const stage = new Stage();
const browser = await stage.startBrowser("chromium", { handleSIGHUP: false, handleSIGTERM: false, handleSIGINT: false });
const page = await phonePage(browser);
let isEnding = false;
process.on("unhandledRejection", (error) => { if (!isEnding) throw error; });
for (const signal of ["SIGTERM", "SIGINT"]) {
  process.on(signal, async () => {
    isEnding = true;
    await stage.end();
    process.exit(page.faults.some((fault) => !/WebSocket connection|Failed to load|fetching the script/.test(fault)) ? 1 : 0);
  });
}
if (speed !== "1") {
  await page.evaluateOnNewDocument((faster, begun) => {
    const { setTimeout, setInterval, Date } = globalThis;
    const elapsed = performance.now.bind(performance);
    globalThis.setTimeout = (action, pause = 0, ...given) => setTimeout(action, pause / faster, ...given);
    globalThis.setInterval = (action, pause = 0, ...given) => setInterval(action, pause / faster, ...given);
    performance.now = () => elapsed() * faster;
    const now = () => begun + (Date.now() - begun) * faster;
    globalThis.Date = class extends Date {
      constructor(...given) { super(...given.length === 0 ? [now()] : given); }
      static now() { return now(); }
    };
  }, Number(speed), Number(since) * 1000);
}
const inspector = await page.createCDPSession();
process.on("SIGHUP", async () => {
  await inspector.send("HeapProfiler.collectGarbage");
  console.log(JSON.stringify(await page.metrics()));
});
await page.goto(address);
const press = (selector) => page.waitForSelector(selector).then((found) => found.evaluate((each) => each.click()));
process.on("SIGUSR2", async () => {
  await press(".bell");
  await press(".seen");
  await page.goBack();
});
process.on("SIGWINCH", () => { page.reload().catch(() => undefined); });
let last = "";
while (!isEnding) {
  const shown = await page.evaluate(() => JSON.stringify({
    phase: document.querySelector(".page")?.dataset.phase,
    free: document.body.innerText.match(/([\d,.]+)\sGB free/)?.[1],
    alerts: Number(document.querySelector(".badge")?.textContent ?? 0),
    text: document.body.innerText,
  })).catch(() => last);
  if (shown !== last) console.log(shown);
  last = shown;
  await new Promise((wake) => setTimeout(wake, 50));
}
