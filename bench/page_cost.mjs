#!/usr/bin/env node
// What the page costs on a slow phone: time to the first values, bytes, longest task, memory. Beside
// it, measured in the same run and in the same way, other monitoring pages where they are installed:
//
//   bench/page_cost.mjs [RUNS [PART…]]
//
// PART is cold, warm, task, memory or others; without any, all of them are measured, which takes
// about eight minutes with five runs. The phone is Chromium at 1.6 Mbit/s with 150 ms of latency and
// a processor slowed four times, by Chromium's own throttling. ORVIK_BUILD names the folder of the
// built relay and agent, from `cmake --preset release`. Times are those of an idle machine; where
// other programs compete for its processors, `chrt -r 1 bench/page_cost.mjs` goes before them.
//
// The other pages are those of Debian 12, installed by whoever measures, and kept from starting by
// themselves:
//
//   apt-get install --no-install-recommends netdata-core netdata-web cockpit-ws cockpit-system
//   systemctl disable --now netdata cockpit.socket
//
// This script starts them on loopback as the user who runs it, and ends them.

import { spawn } from "node:child_process";
import { once } from "node:events";
import { existsSync, mkdirSync, readFileSync, writeFileSync } from "node:fs";
import { createServer } from "node:net";
import { loadavg, userInfo } from "node:os";
import { fileURLToPath } from "node:url";
import { Stage } from "../tests/page/stage.mjs";

const runs = Number(process.argv[2] ?? 5);
const parts = process.argv.slice(3);
const isWanted = (part) => parts.length === 0 || parts.includes(part);
const network = { offline: false, latency: 150, downloadThroughput: 1_600_000 / 8, uploadThroughput: 1_600_000 / 8 };
const slowdown = 4;
const watchedMs = 60_000;
const pieceMs = 10_000;
const sampleFile = fileURLToPath(new URL("../tests/page/sample.json", import.meta.url));

const median = (values) => [...values].sort((a, b) => a - b)[Math.floor(values.length / 2)];
const seconds = (ms) => `${(ms / 1000).toFixed(2)} s`;
const kib = (bytes) => `${(bytes / 1024).toFixed(1)} KiB`;
const say = (what, figure) => console.log(`${what.padEnd(64)} ${figure}`);

/** Runs in every frame before anything of it: notes when what `shows` names is first there. */
function noteFirst(shows) {
  globalThis.firstShown = {};
  const look = () => {
    for (const [name, [selector, pattern]] of Object.entries(shows)) {
      if (name in globalThis.firstShown) continue;
      for (const element of document.querySelectorAll(selector)) {
        // Of the whole page: a frame's own clock begins with the frame.
        if (new RegExp(pattern).test(element.textContent)) globalThis.firstShown[name] = performance.timeOrigin + performance.now();
      }
    }
  };
  let watched;
  const watch = () => {
    if (document === watched) return;
    watched = document;
    new MutationObserver(look).observe(document, { childList: true, subtree: true, attributes: true, characterData: true });
  };
  watch();
  // The window of a frame may get another document.
  if (window !== top) setInterval(watch, 100);
}

/** A page with the network and the processor of a slow phone, and what it has received. */
async function slowPage(context, shows) {
  const page = await context.newPage();
  await page.setViewport({ width: 390, height: 844, deviceScaleFactor: 2 });
  const protocol = await page.createCDPSession();
  await protocol.send("Network.enable");
  await protocol.send("Network.emulateNetworkConditions", network);
  await protocol.send("Emulation.setCPUThrottlingRate", { rate: slowdown });
  await page.evaluateOnNewDocument(noteFirst, shows);
  const received = { bytes: 0, requests: 0 };
  protocol.on("Network.loadingFinished", ({ encodedDataLength }) => {
    received.bytes += encodedDataLength;
    received.requests += 1;
  });
  return { page, protocol, received };
}

/** Milliseconds from the navigation to when it was first there, in whichever frame. */
async function shown(page, name) {
  const end = Date.now() + 180_000;
  const began = await page.evaluate(() => performance.timeOrigin);
  while (Date.now() < end) {
    for (const frame of page.frames()) {
      const at = await frame.evaluate((wanted) => globalThis.firstShown?.[wanted], name).catch(() => undefined);
      if (at !== undefined) return at - began;
    }
    // Seldom: asking takes the page's own time.
    await new Promise((resolve) => setTimeout(resolve, 250));
  }
  throw new Error(`nothing was shown that is a ${name}`);
}

/** The time to the first value with nothing cached, and the bytes until then; medians. */
async function cold(browser, address, shows) {
  const times = [];
  const bytes = [];
  const requests = [];
  for (let run = 0; run < runs; run += 1) {
    const context = await browser.createBrowserContext();
    const { page, received } = await slowPage(context, shows);
    await page.goto(address, { waitUntil: "domcontentloaded", timeout: 180_000 });
    times.push(await shown(page, "value"));
    bytes.push(received.bytes);
    requests.push(received.requests);
    await context.close();
  }
  return { time: median(times), bytes: median(bytes), requests: median(requests), all: times };
}

/** The longest task of the page's main thread while it shows what comes. */
async function slowestTask(browser, address, shows) {
  const context = await browser.createBrowserContext();
  const { page } = await slowPage(context, shows);
  await page.goto(address, { waitUntil: "domcontentloaded", timeout: 180_000 });
  await shown(page, "value");
  // Until everything that is loaded later is there.
  await page.waitForNetworkIdle({ idleTime: 3000, timeout: 20_000 }).catch(() => undefined);
  let longest = 0;
  // In short pieces: the trace of a minute is more than the browser hands over at once.
  for (let piece = 0; piece < watchedMs / pieceMs; piece += 1) {
    await page.tracing.start({ path: stage.path("trace.json"), categories: ["-*", "disabled-by-default-devtools.timeline", "blink.user_timing"] });
    await page.evaluate(() => { performance.mark("measured"); });
    await new Promise((resolve) => setTimeout(resolve, pieceMs));
    await page.tracing.stop();
    const { traceEvents } = JSON.parse(readFileSync(stage.path("trace.json"), "utf8"));
    // Tabs of the browser's own have threads of the same name.
    const { pid, tid } = traceEvents.find(({ name, cat }) => name === "measured" && cat === "blink.user_timing");
    // The thread's own time: what other programs take of the processor does not count.
    for (const task of traceEvents) {
      if (task.name.endsWith("RunTask") && task.pid === pid && task.tid === tid) longest = Math.max(longest, (task.tdur ?? 0) / 1000);
    }
  }
  await context.close();
  return longest;
}

async function heapOf(protocol) {
  await protocol.send("HeapProfiler.enable");
  for (let time = 0; time < 3; time += 1) await protocol.send("HeapProfiler.collectGarbage");
  return (await protocol.send("Runtime.getHeapUsage")).usedSize;
}

/** Runs in the page before anything of it: a relay with a computer that sends as fast as it is told to. */
function scriptRelay(link, sample) {
  const bytesOf = (text) => Uint8Array.from(atob(text.replaceAll("-", "+").replaceAll("_", "/")), (c) => c.charCodeAt(0));
  const textOf = (bytes) => btoa(Array.from(bytes, (byte) => String.fromCharCode(byte)).join(""))
    .replaceAll("+", "-").replaceAll("/", "_").replaceAll("=", "");
  const [, macId, secret] = link.split("#")[1].split(".");
  let key;
  async function sealed(payload) {
    key ??= await crypto.subtle.deriveKey(
      { name: "HKDF", hash: "SHA-256", salt: bytesOf(macId), info: new TextEncoder().encode("orvik enc v1") },
      await crypto.subtle.importKey("raw", bytesOf(secret), "HKDF", false, ["deriveKey"]),
      { name: "AES-GCM", length: 256 }, false, ["encrypt"]);
    const iv = crypto.getRandomValues(new Uint8Array(12));
    const c = await crypto.subtle.encrypt(
      { name: "AES-GCM", iv, additionalData: new Uint8Array([0x73, ...bytesOf(macId)]) }, key,
      new TextEncoder().encode(JSON.stringify(payload)));
    return JSON.stringify({ c: textOf(new Uint8Array(c)), n: textOf(iv), t: "s", v: 1 });
  }
  globalThis.WebSocket = class extends EventTarget {
    static CONNECTING = 0;
    static OPEN = 1;
    static CLOSING = 2;
    static CLOSED = 3;
    readyState = 0;
    bufferedAmount = 0;
    constructor() {
      super();
      setTimeout(() => {
        this.readyState = 1;
        this.tell("open", new Event("open"));
      });
    }
    tell(name, event) {
      this[`on${name}`]?.(event);
      this.dispatchEvent(event);
    }
    say(data) {
      this.tell("message", new MessageEvent("message", { data }));
    }
    send(text) {
      if (text === "ping") this.say("pong");
      if (text.startsWith('{"auth"')) setTimeout(() => this.say('{"mac":true}'));
      globalThis.scripted = this;
    }
    close(code = 1000) {
      this.readyState = 3;
      setTimeout(() => this.tell("close", new CloseEvent("close", { code })));
    }
  };
  let last = 0;
  globalThis.sendSamples = async (count, histories) => {
    for (let sent = 0; sent < count; sent += 1) {
      last = Math.max(last + 1, Date.now());
      const payload = { ...sample, epoch: Math.floor(last / 1000), epoch_ms: last, cpu_pct: Math.random() * 100 };
      if (histories > 0 && sent % Math.floor(count / histories) === 0) {
        const minutes = Array.from({ length: 1439 }, () => Math.random() * 90);
        payload.history = {
          t0: (Math.floor(last / 60_000) - 1439) * 60, dm: minutes.map((_, at) => (at === 0 ? 0 : 1)),
          cpu: minutes, temp: minutes, w: minutes,
        };
      }
      globalThis.scripted.say(await sealed(payload));
      // Lets the page open and draw what has come; fewer wait in it than it keeps.
      await new Promise((resolve) => { setTimeout(resolve); });
      if (sent % 20 === 19) await new Promise((resolve) => { setTimeout(resolve, 40); });
    }
  };
}

/** The page's memory after each tenth of so many samples, a history with each tenth, and how many samples it has shown. */
async function memory(browser, link, count) {
  const context = await browser.createBrowserContext();
  const page = await context.newPage();
  const protocol = await page.createCDPSession();
  await page.evaluateOnNewDocument(scriptRelay, link, JSON.parse(readFileSync(sampleFile, "utf8")));
  await page.goto(link);
  await page.waitForFunction(() => globalThis.scripted !== undefined, { timeout: 20_000 });
  // Every sample moves the gauge of the processor.
  await page.evaluate((tenth) => globalThis.sendSamples(tenth, 1), 50);
  await page.waitForSelector(".page[data-phase=live] .computer", { timeout: 20_000 });
  const parts = [];
  for (let part = 0; part < 10; part += 1) {
    await page.evaluate((samples) => globalThis.sendSamples(samples, 1), count / 10);
    const bytes = await heapOf(protocol);
    const { nodes, jsEventListeners } = await protocol.send("Memory.getDOMCounters");
    parts.push({ bytes, nodes, jsEventListeners });
  }
  await context.close();
  return parts;
}

async function freePort() {
  const server = createServer().listen(0, "127.0.0.1");
  await once(server, "listening");
  const { port } = server.address();
  server.close();
  return port;
}

async function answers(address) {
  const end = Date.now() + 60_000;
  while (Date.now() < end) {
    if ((await fetch(address).catch(() => undefined))?.ok) return;
    await new Promise((resolve) => setTimeout(resolve, 200));
  }
  throw new Error(`nobody answers at ${address}`);
}

// What counts as the first value of a page that is not ours: the first figure in the gauge of the
// processor's load. Netdata fills that gauge with the first values that come, Cockpit its bar.
const others = [
  {
    name: "netdata",
    program: "/usr/sbin/netdata",
    options(port) {
      for (const folder of ["cache", "lib", "log", "etc"]) mkdirSync(stage.path(folder), { recursive: true });
      const file = stage.path("netdata.conf");
      writeFileSync(file, `[global]\nrun as user = ${userInfo().username}\n[db]\nmode = ram\n[directories]\ncache = ${stage.path("cache")}\nlib = ${stage.path("lib")}\nlog = ${stage.path("log")}\nconfig = ${stage.path("etc")}\n[web]\nbind to = 127.0.0.1\ndefault port = ${port}\n[cloud]\nenabled = no\n[registry]\nenabled = no\n[ml]\nenabled = no\n[plugins]\napps = no\ncharts.d = no\npython.d = no\ngo.d = no\nstatsd = no\n[health]\nenabled = no\n`);
      return ["-D", "-c", file, "-i", "127.0.0.1", "-p", String(port)];
    },
    shows: { value: [".gaugeChartLabel", "[0-9]"] },
  },
  {
    name: "cockpit",
    program: "/usr/lib/cockpit/cockpit-ws",
    // Without a login; the pages are those of whoever runs this.
    options: (port) => ["--no-tls", "-a", "127.0.0.1", "-p", String(port), "--local-session=cockpit-bridge"],
    shows: { value: [".pf-c-progress__measure", "[0-9]%"] },
  },
];

const stage = new Stage();
try {
  await stage.startRelay();
  const agent = await stage.startAgent({ sample: sampleFile });
  // What a page wants of other hosts, it does not get.
  const browser = await stage.startBrowser("chromium", {
    protocolTimeout: 300_000, extraOptions: ["--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE localhost, EXCLUDE 127.0.0.1"],
  });
  const shows = { value: [".page[data-phase=live] .value", "[0-9]"], known: [".page .value", "[0-9]"] };
  const list = (times) => times.map((ms) => (ms / 1000).toFixed(2)).join(", ");
  console.log(`load of the machine at the start: ${loadavg().map((load) => load.toFixed(1)).join(", ")}`);

  async function measure(name, address, theirs) {
    if (isWanted("cold") || isWanted("others")) {
      const first = await cold(browser, address, theirs);
      say(`${name}: first values, cold (median)`, `${seconds(first.time)} of ${list(first.all)}`);
      say(`${name}: bytes on the wire until then; requests`, `${kib(first.bytes)}; ${first.requests}`);
    }
    if (isWanted("task") || isWanted("others")) {
      say(`${name}: longest task while values come, for a minute`, `${(await slowestTask(browser, address, theirs)).toFixed(1)} ms`);
    }
  }

  await measure("orvik", agent.link, shows);
  if (isWanted("warm")) {
    const context = await browser.createBrowserContext();
    const warmTimes = { known: [], value: [] };
    const { page, received } = await slowPage(context, shows);
    await page.goto(agent.link);
    await shown(page, "value");
    await page.evaluate(() => navigator.serviceWorker.ready.then(() => undefined));
    await page.waitForNetworkIdle({ idleTime: 2000, timeout: 60_000 });
    say("orvik: bytes of the whole page, with the worker's copy", kib(received.bytes));
    for (let run = 0; run < runs; run += 1) {
      await page.goto("about:blank");
      await page.goto(agent.link.split("#")[0]);
      for (const name of ["known", "value"]) warmTimes[name].push(await shown(page, name));
    }
    await context.close();
    say("orvik: last known values, warm (median)", `${seconds(median(warmTimes.known))} of ${list(warmTimes.known)}`);
    say("orvik: live values, warm (median)", `${seconds(median(warmTimes.value))} of ${list(warmTimes.value)}`);
  }
  if (isWanted("memory")) {
    const tenths = await memory(browser, agent.link, 10_000);
    say("orvik: script memory after each thousand of 10,000 samples", `${tenths.map(({ bytes }) => (bytes / 1048576).toFixed(2)).join(" ")} MiB`);
    say("orvik: nodes and listeners after the first and the last", [tenths[0], tenths[9]].map(({ nodes, jsEventListeners }) => `${nodes}, ${jsEventListeners}`).join("; "));
  }

  for (const other of others) {
    if (!isWanted("others")) continue;
    if (!existsSync(other.program)) {
      say(`${other.name}: not measured`, "it is not installed");
      continue;
    }
    const port = await freePort();
    const process = spawn(other.program, other.options(port), { stdio: "ignore" });
    try {
      const address = `http://127.0.0.1:${port}/`;
      await answers(address);
      await measure(other.name, address, other.shows);
    } catch (error) {
      say(`${other.name}: not measured`, error.message);
    } finally {
      process.kill("SIGTERM");
      if (process.exitCode === null && process.signalCode === null) await once(process, "exit");
    }
  }
} finally {
  await stage.end();
}
