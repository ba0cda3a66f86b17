import { Stage, phonePage } from "./stage.mjs";
const stage = new Stage();
try {
  await stage.startRelay(process.argv[2]);
  const agent = await stage.startAgent();
  const browser = await stage.startBrowser(process.argv[3]);
  const page = await phonePage(browser);
  const t = Date.now();
  page.on("requestfailed", r => console.log("failed", r.url(), r.failure()));
  await page.goto(agent.link);
  console.log("loaded", Date.now()-t);
  await page.waitForSelector('.page[data-phase="live"]').catch(e => console.log("no live", e.message));
  console.log("live", Date.now()-t, page.url());
  console.log(await page.evaluate(() => document.body.innerText));
  await page.screenshot({path:"/tmp/c/shot.png"});
  console.log(page.faults);
} finally { await stage.end(); }
