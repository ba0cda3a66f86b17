// Fingers and keys on the curves, in a real browser, in both directions of time.

import assert from "node:assert/strict";
import { openMadeUp } from "./browser.mjs";

const made = await openMadeUp();
try {
  for (const lang of ["en", "ar-AE"]) {
    const { tab, faults } = await made.open({ lang, scene: "alert" });
    await tab.waitForSelector(".computer");
    await tab.waitForSelector(".curves canvas");
    await tab.evaluate(() => document.querySelector(".curves")?.scrollIntoView({ block: "center" }));
    const spoken = () => tab.evaluate(() => document.querySelector(".curves")?.getAttribute("aria-valuetext"));
    const readout = () => tab.evaluate(() => document.querySelector(".readout")?.textContent);
    const { left, top, width } = await tab.evaluate(() => {
      const { left, top, width } = document.querySelector(".curves").getBoundingClientRect();
      return { left, top, width };
    });
    const x = (place) => left + width * (lang === "en" ? place : 1 - place);
    const touch = await tab.createCDPSession();
    const dispatch = (type, points) => touch.send("Input.dispatchTouchEvent", { type, touchPoints: points });
    const drag = async (from, to) => {
      await dispatch("touchStart", [from]);
      for (let step = 1; step <= 8; step += 1) {
        await dispatch("touchMove", [{ x: from.x + ((to.x - from.x) * step) / 8, y: from.y + ((to.y - from.y) * step) / 8 }]);
      }
      await dispatch("touchEnd", []);
    };

    // Sideways scrubs, and the page stays where it is.
    const before = await tab.evaluate(() => scrollY);
    await drag({ x: x(0.5), y: top + 120 }, { x: x(0.25), y: top + 126 });
    assert.match(await readout(), /20:3\d/, `${lang}: a drag to a quarter of the day`);
    assert.equal(await tab.evaluate(() => scrollY), before, `${lang}: the page does not scroll with it`);

    // Up or down scrolls, and moves no line.
    const line = await readout();
    await drag({ x: x(0.5), y: top + 160 }, { x: x(0.5), y: top + 40 });
    await tab.evaluate(() => new Promise((done) => setTimeout(done, 300)));
    assert.ok((await tab.evaluate(() => scrollY)) > before + 60, `${lang}: a vertical drag scrolls`);
    assert.equal(await readout(), line, `${lang}: and moves no line`);
    await tab.evaluate((to) => scrollTo(0, to), before);

    // A tap near a mark means the mark and names it; a tap beside clears.
    const mark = await tab.evaluate(() => {
      const { left, top, width, height } = [...document.querySelectorAll(".mark.red svg")].at(-1).getBoundingClientRect();
      return { x: left + width / 2, y: top + height / 2 };
    });
    await tab.touchscreen.tap(mark.x + 6, mark.y);
    assert.match(await readout(), /12:47/, `${lang}: a tap on a mark jumps to it`);
    assert.match(await readout(), /96.5/, `${lang}: and names it`);
    await tab.evaluate(() => document.querySelector(".last-day h2")?.click());
    assert.equal(await readout(), "", `${lang}: a tap beside clears`);

    // Keys: later is where the time runs to.
    await tab.focus(".curves");
    await tab.keyboard.press(lang === "en" ? "ArrowLeft" : "ArrowRight");
    assert.match(await spoken(), /^\S*14:22/, `${lang}: ten minutes earlier`);
    await tab.keyboard.press("P");
    assert.match(await spoken(), /12:47/, `${lang}: the previous alert`);
    await tab.keyboard.press("Escape");
    assert.equal(await readout(), "", `${lang}: Escape clears`);
    assert.deepEqual(faults, []);
    await tab.close();
  }
  console.log("fingers and keys do what they should");
} finally {
  await made.close();
}
