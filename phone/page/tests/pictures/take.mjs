// Takes the pictures of all screens: node tests/pictures/take.mjs FOLDER [NAME…]

import { mkdir } from "node:fs/promises";
import { join } from "node:path";
import { openMadeUp } from "./browser.mjs";

const desktop = { width: 1280, height: 800 };
const small = { width: 320, height: 700 };
export const pictures = {
  "01-live-light": {},
  "02-live-dark": { dark: true },
  "03-details-full-light": { full: true },
  "03a-details-last-day-light": { to: ".busiest", keys: "PP" },
  "03b-details-last-day-dark": { to: ".busiest", keys: "PP", dark: true },
  "03c-details-storage-devices-light": { to: ".storage" },
  "03d-details-machine-light": { to: ".more" },
  "04a-offline-light": { scene: "offline" },
  "04b-offline-dark": { scene: "offline", dark: true },
  "04c-late-light": { scene: "late" },
  "04d-late-alert-dark": { scene: "lateAlert", dark: true },
  "05a-alert-raised-light": { scene: "alert" },
  "05b-alerts-list-light": { scene: "alert", screen: "alerts" },
  "05c-alert-raised-dark": { scene: "alert", dark: true },
  "06a-connecting-light": { scene: "connecting" },
  "06a2-first-reading-light": { scene: "first" },
  "06b-ask-install-light": { scene: "install" },
  "06c-ask-notifications-light": { scene: "push" },
  "06d-notifications-install-light": { scene: "pushInstall" },
  "06e-on-battery-light": { scene: "onBattery" },
  "07-computers-light": { scene: "computers", screen: "computers" },
  "08a-link-replaced-light": { scene: "replaced" },
  "08b-not-paired-scan-light": { scene: "unpaired" },
  "09-arabic-light": { lang: "ar" },
  "10-german-320-light": { scene: "german", lang: "de", ...small },
  "11-desktop-light": desktop,
  "11b-desktop-dark": { ...desktop, dark: true, scene: "alert" },
  "12-server-light": { scene: "server" },
  "13-unreachable-light": { scene: "unreachable" },
  "14-foreign-light": { scene: "foreign" },
  "15-link-damaged-light": { scene: "damaged" },
  "16-insecure-dark": { scene: "insecure", dark: true },
  "17-storage-blocked-light": { scene: "blocked" },
  "18-connecting-offline-dark": { scene: "connectingOffline", dark: true },
  "19-tablet-light": { width: 820, height: 1180 },
  "20-large-text-light": { rootSize: "200%" },
  "21-arabic-full-dark": { lang: "ar", dark: true, full: true },
  "22-computers-dark": { scene: "computers", screen: "computers", dark: true },
  "23-alerts-dark": { scene: "alert", screen: "alerts", dark: true, full: true },
  "23b-notifications-install-light": { scene: "pushInstall", screen: "alerts" },
  "23c-notifications-blocked-dark": { scene: "pushBlocked", screen: "alerts", dark: true },
  "23d-notifications-failed-light": { scene: "pushFailed", screen: "alerts" },
  "24-not-paired-dark": { scene: "unpaired", dark: true },
};

const [folder, ...wanted] = process.argv.slice(2);
if (folder === undefined) {
  console.error("usage: take.mjs FOLDER [NAME…]");
  process.exit(2);
}
await mkdir(folder, { recursive: true });
const made = await openMadeUp();
try {
  for (const [name, { full = false, to, keys = "", ...scene }] of Object.entries(pictures)) {
    if (wanted.length > 0 && !wanted.some((part) => name.startsWith(part))) continue;
    const { tab, faults } = await made.open(scene);
    if (to !== undefined) {
      await tab.evaluate((selector) => {
        const section = document.querySelector(selector);
        if (section !== null) scrollTo(0, section.getBoundingClientRect().top + scrollY - 78);
      }, to);
      if (keys !== "") await tab.evaluate(() => document.querySelector(".curves")?.focus({ preventScroll: true }));
      for (const key of keys) await tab.keyboard.press(key);
      await tab.evaluate(() => new Promise((done) => setTimeout(done, 400)));
    }
    await tab.screenshot({ path: join(folder, `${name}.png`), fullPage: full });
    for (const fault of faults) console.error(`${name}: ${fault}`);
    if (faults.length > 0) process.exitCode = 1;
    await tab.close();
  }
} finally {
  await made.close();
}
