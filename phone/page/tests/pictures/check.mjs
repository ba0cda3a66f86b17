// Measures what an eye would miss: text that is cut or overlaps at 320 px in every language and in one that is longer
// than all, targets below 44 px, and what axe finds on every screen in both themes.

import { readFile } from "node:fs/promises";
import { createRequire } from "node:module";
import { openMadeUp } from "./browser.mjs";

const languages = ["en", "ar", "de", "es", "fr", "hi", "it", "ja", "ko", "nl", "pl", "pt-BR", "ru", "tr", "uk", "zh-Hans", "long"];
const screens = [
  { scene: "live" }, { scene: "late" }, { scene: "lateAlert" }, { scene: "offline" }, { scene: "unreachable" }, { scene: "alert" }, { scene: "onBattery" },
  { scene: "alert", screen: "alerts" }, { scene: "computers", screen: "computers" }, { scene: "connecting" },
  { scene: "connectingOffline" }, { scene: "replaced" }, { scene: "foreign" }, { scene: "unpaired" }, { scene: "damaged" },
  { scene: "newer" }, { scene: "tooOld" }, { scene: "insecure" }, { scene: "blocked" }, { scene: "install" },
  { scene: "installPrompt" }, { scene: "push" }, { scene: "pushInstall" },
  { scene: "pushInstall", screen: "alerts" }, { scene: "pushBlocked", screen: "alerts" }, { scene: "pushFailed", screen: "alerts" }, { scene: "server" }, { scene: "hostile" },
];
const axe = await readFile(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");
const wanted = process.argv.slice(2);
const made = await openMadeUp();
let faults = 0;
const complain = (where, what) => {
  faults += 1;
  console.error(`${where}: ${what}`);
};

try {
  for (const language of languages.filter((tag) => wanted.length === 0 || wanted.includes(tag))) {
    const { tab, faults: spoken } = await made.open({ lang: language, width: 320, height: 700, scale: 1 });
    for (const scene of screens) {
      await made.show(tab, scene);
      const where = `${language} ${scene.screen ?? scene.scene}`;
      for (const fault of [...spoken.splice(0), ...(await tab.evaluate(measure))]) complain(where, fault);
    }
    await tab.close();
  }
  for (const dark of wanted.length === 0 || wanted.includes("axe") ? [false, true] : []) {
    const { tab } = await made.open({ dark, scale: 1 });
    // Through the debugger: the page's own policy runs no script but its own.
    await tab.evaluate(axe);
    for (const scene of screens) {
      await made.show(tab, scene);
      const where = `axe ${scene.screen ?? scene.scene} ${dark ? "dark" : "light"}`;
      const { violations } = await tab.evaluate(() => window.axe.run(document, { resultTypes: ["violations"] }));
      for (const { id, nodes } of violations) complain(where, `${id}: ${nodes.map(({ html, any }) => `${html.slice(0, 100)} ${any[0]?.message ?? ""}`).join(" | ")}`);
    }
    await tab.close();
  }
} finally {
  await made.close();
}
console.log(faults === 0 ? "nothing cut, nothing overlapping, no violation" : `${faults} faults`);
process.exitCode = faults === 0 ? 0 : 1;

// Runs in the page.
function measure() {
  const found = [];
  const width = document.documentElement.clientWidth;
  if (document.documentElement.scrollWidth > width) found.push(`the page is ${document.documentElement.scrollWidth} px wide`);
  const label = (element) => `<${element.tagName.toLowerCase()} class="${element.getAttribute("class") ?? ""}"> "${(element.textContent ?? "").trim().slice(0, 40)}"`;
  const isShown = (element) =>
    element.checkVisibility({ visibilityProperty: true, opacityProperty: false }) && element.closest(".spoken, .slim:not(.is-shown)") === null;
  const dialog = document.querySelector("dialog[open]");
  const runs = [];
  const walker = document.createTreeWalker(dialog ?? document.body, NodeFilter.SHOW_TEXT);
  for (let node = walker.nextNode(); node !== null; node = walker.nextNode()) {
    const parent = node.parentElement;
    if (parent === null || node.data.trim() === "" || !isShown(parent) || parent.closest("svg, script") !== null) continue;
    const range = document.createRange();
    range.selectNodeContents(node);
    for (const box of range.getClientRects()) {
      if (box.width < 1) continue;
      const name = parent.closest(".name");
      const end = name === null ? box : name.getBoundingClientRect();
      const [left, right] = [Math.max(box.left, end.left), Math.min(box.right, end.right)];
      if (left < -0.5 || right > width + 0.5) found.push(`beyond the edge: ${label(parent)}`);
      runs.push({ box: { top: box.top, bottom: box.bottom, height: box.height, left, right }, parent });
    }
    for (let box = parent; box !== null && box !== document.body; box = box.parentElement) {
      const style = getComputedStyle(box);
      // Only the computer's name may end in an ellipsis.
      // What hangs over the edge of a sky is the glow of its lamp.
      if (box.matches(".name, .sheet, .sky")) continue;
      if (style.overflowX !== "visible" && box.scrollWidth > box.clientWidth + 1) found.push(`cut: ${label(box)}`);
      if (style.overflowY === "hidden" && box.scrollHeight > box.clientHeight + 1) found.push(`cut below: ${label(box)}`);
    }
  }
  for (let a = 0; a < runs.length; a += 1) {
    for (let b = a + 1; b < runs.length; b += 1) {
      const { box: p, parent: first } = runs[a];
      const { box: q, parent: second } = runs[b];
      if (first === second || first.closest(".slim") !== second.closest(".slim")) continue;
      const wide = Math.min(p.right, q.right) - Math.max(p.left, q.left);
      const high = Math.min(p.bottom, q.bottom) - Math.max(p.top, q.top);
      // Boxes of lines are taller than their letters.
      const slack = 0.3 * Math.min(p.height, q.height);
      if (wide > 1 && high > slack) found.push(`overlap: ${label(first)} and ${label(second)}`);
    }
  }
  for (const target of (dialog ?? document).querySelectorAll("button, input, a[href], [role=slider]")) {
    if (!isShown(target)) continue;
    const { width: w, height: h } = target.getBoundingClientRect();
    const around = parseFloat(getComputedStyle(target, "::after").getPropertyValue("top")) || 0;
    if (w < 43.5 || h - 2 * Math.min(0, around) < 43.5) found.push(`target of ${Math.round(w)} × ${Math.round(h)}: ${label(target)}`);
  }
  // White words end above the horizon.
  const words = document.querySelector(".sky-words");
  const land = document.querySelector(".sky .land");
  if (words !== null && land !== null && document.querySelector(".sky-list") === null) {
    const last = [...words.children].at(-1)?.getBoundingClientRect().bottom ?? 0;
    if (last > land.getBoundingClientRect().top + 16) found.push("words on the land");
  }
  return [...new Set(found)];
}
