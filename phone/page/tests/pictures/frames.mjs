// What a sample and a new minute cost: processor time of the page's own thread, so that a busy machine does not count.
// A phone is taken to be four times slower; no task may take 50 ms there.

import { readFile, rm } from "node:fs/promises";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { openMadeUp } from "./browser.mjs";

const slower = 4;
const longest = 50;
const file = join(tmpdir(), `orvik-frames-${process.pid}.json`);
const made = await openMadeUp();
try {
  const { tab } = await made.open({ scene: "alert" });
  await tab.waitForSelector(".curves canvas");
  await tab.emulateMediaFeatures([{ name: "prefers-reduced-motion", value: "no-preference" }]);
  await tab.tracing.start({ path: file, categories: ["disabled-by-default-devtools.timeline", "devtools.timeline", "toplevel", "blink.user_timing"] });
  for (const top of [0, 900]) {
    await tab.evaluate(async (to) => {
      scrollTo(0, to);
      for (let sample = 0; sample < 35; sample += 1) {
        performance.mark("sample");
        window.advance();
        await new Promise((done) => setTimeout(done, 100));
      }
    }, top);
  }
  await tab.tracing.stop();
  const { traceEvents } = JSON.parse(await readFile(file, "utf8"));
  // Other tabs of the browser's own have threads of the same name.
  const threads = new Set(traceEvents.filter(({ name, cat }) => name === "sample" && cat === "blink.user_timing").map(({ pid, tid }) => `${pid} ${tid}`));
  const tasks = traceEvents
    .filter(({ name, ph, pid, tid, tdur }) => name === "RunTask" && ph === "X" && tdur > 0 && threads.has(`${pid} ${tid}`))
    .map(({ tdur }) => (tdur / 1000) * slower)
    .sort((a, b) => b - a);
  if (tasks.length < 70) throw new Error(`only ${tasks.length} tasks were seen`);
  console.log(`longest tasks on a processor ${slower} times slower: ${tasks.slice(0, 5).map((time) => time.toFixed(1)).join(", ")} ms of ${tasks.length}`);
  if (tasks[0] > longest) process.exitCode = 1;
} finally {
  await made.close();
  await rm(file, { force: true });
}
