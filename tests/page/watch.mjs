// A browser that looks at one computer: node watch.mjs ADDRESS. Prints a line of JSON whenever what
// the page shows has changed; SIGUSR2 has it mark all alerts as seen.

import { phonePage, Stage } from "./stage.mjs";

const [, , address, speed = "1"] = process.argv;
const stage = new Stage();
const browser = await stage.startBrowser();
const page = await phonePage(browser);
let isEnding = false;
for (const signal of ["SIGTERM", "SIGINT"]) {
  process.on(signal, async () => {
    isEnding = true;
    await stage.end();
    process.exit(page.faults.some((fault) => !/WebSocket connection|Failed to load|fetching the script/.test(fault)) ? 1 : 0);
  });
}
await page.goto(address);
const press = (selector) => page.waitForSelector(selector).then((found) => found.evaluate((each) => each.click()));
process.on("SIGUSR2", async () => {
  await press(".bell");
  await press(".seen");
  await page.goBack();
});
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
