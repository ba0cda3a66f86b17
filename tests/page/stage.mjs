// The built programs and a browser, started for a test on loopback and ended with it.

import { spawn } from "node:child_process";
import { once } from "node:events";
import { copyFileSync, mkdtempSync, readFileSync, rmSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { join, resolve } from "node:path";
import { createInterface } from "node:readline";

const root = resolve(import.meta.dirname ?? new URL(".", import.meta.url).pathname, "../..");
const require = createRequire(join(root, "phone/page/package.json"));
const { default: puppeteer } = await import(require.resolve("puppeteer-core"));

export const pageFolder = process.env.ORVIK_PAGE ?? join(root, "phone/page/dist");
/**
 * After which something that has to happen is held not to happen: no measure of the page, and far
 * more than it needs, for the machine may have compilers to serve at the same time.
 */
export const patienceMs = 120_000;
const build = process.env.ORVIK_BUILD ?? join(root, "build/run");
const chromiumOptions = [
  "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
  "--disable-component-update", "--disable-sync",
];

/** A program whose lines are read as they come. */
class Program {
  lines = [];
  #woken = () => undefined;

  constructor(path, options, environment = {}) {
    this.process = spawn(join(build, path), options, {
      stdio: ["ignore", "pipe", "inherit"], env: { ...process.env, ...environment },
    });
    createInterface({ input: this.process.stdout }).on("line", (line) => {
      this.lines.push(line);
      this.#woken();
    });
  }

  /** What follows `text` in the first line that has it. */
  async after(text) {
    const end = Date.now() + patienceMs;
    for (let at = 0; ; at += 1) {
      while (at >= this.lines.length) {
        const left = end - Date.now();
        if (left <= 0) throw new Error(`never said: ${text}`);
        await new Promise((wake) => {
          this.#woken = wake;
          setTimeout(wake, left).unref();
        });
      }
      const [, after] = this.lines[at].split(text);
      if (after !== undefined) return after;
    }
  }

  async end(signal = "SIGTERM") {
    if (this.process.exitCode === null && this.process.signalCode === null) {
      this.process.kill(signal);
      await once(this.process, "exit");
    }
  }
}

/** Everything that one test has started. `end` ends it all, whatever has happened. */
export class Stage {
  folder = mkdtempSync(join(tmpdir(), "orvik-page-"));
  #programs = [];
  #browsers = [];
  /** Beside those that every relay gets. */
  relayOptions = [];

  path(name) {
    return join(this.folder, name);
  }

  /** The relay with the page; `port` and `plainPort` once it runs, the same after a restart. */
  async startRelay(page = pageFolder) {
    this.relay = new Program("relay/orvik-relay", [
      "--listen", `127.0.0.1:${this.port ?? 0}`, "--listen-plain", `127.0.0.1:${this.plainPort ?? 0}`,
      "--page", page, "--state", this.path("state"), "--metrics", "127.0.0.1:0", ...this.relayOptions,
    ]);
    this.#programs.push(this.relay);
    this.port = (await this.relay.after("wss://127.0.0.1:"));
    this.plainPort = (await this.relay.after("page at http://127.0.0.1:")).split("/")[0];
    this.metrics = await this.relay.after("metrics at ");
  }

  /** Waits for the relay to have counted so many. */
  async counts(name, wanted) {
    const end = Date.now() + patienceMs;
    for (;;) {
      const lines = (await (await fetch(this.metrics)).text()).split("\n");
      const value = lines.find((line) => line.startsWith(`orvik_relay_${name} `))?.split(" ").at(-1);
      if (Number(value) === wanted) return;
      if (Date.now() > end) throw new Error(`${name} is ${value}`);
      await new Promise((wake) => { setTimeout(wake, 50); });
    }
  }

  /** Something else that ends with the stage, by its `end`. */
  add(program) {
    this.#programs.push(program);
    return program;
  }

  /** A computer that sends the readings of a file; its link as a browser on this machine opens it. */
  async startAgent({ name = "Studio", sample, options = [] } = {}) {
    const link = this.path(`link-${name}`);
    rmSync(link, { force: true });
    if (sample !== undefined) copyFileSync(sample, this.path(`sample-${name}.json`));
    const agent = new Program("agent/orvik-agent", [
      "--relay", `wss://localhost:${this.port}`, "--trust", this.path("state/certificate.pem"), "--name", name,
      "--link-file", link, ...(sample === undefined ? [] : ["--sample-file", this.path(`sample-${name}.json`)]),
      ...options,
    ], {
      XDG_DATA_HOME: this.path(`data-${name}`), XDG_CONFIG_HOME: this.path(`config-${name}`),
      DBUS_SESSION_BUS_ADDRESS: "unix:path=/nonexistent",
    });
    this.#programs.push(agent);
    await agent.after("online, ");
    const fragment = readFileSync(link, "utf8").trim().split("#")[1];
    return Object.assign(agent, { link: `http://localhost:${this.plainPort}/orvik/p#${fragment}` });
  }

  async startBrowser(name = "chromium", { extraOptions = [], ...options } = {}) {
    const browser = await puppeteer.launch(name === "firefox"
      ? { browser: "firefox", executablePath: "/usr/bin/firefox-esr", headless: true, timeout: patienceMs, ...options }
      : { executablePath: "/usr/bin/chromium", headless: true, timeout: patienceMs, args: [...chromiumOptions, ...extraOptions], ...options });
    this.#browsers.push(browser);
    return browser;
  }

  async end() {
    for (const browser of this.#browsers) await browser.close().catch(() => undefined);
    for (const program of this.#programs) await program.end("SIGKILL");
    rmSync(this.folder, { recursive: true, force: true });
  }
}

/** A page of a telephone's size that fails the test when it says an error. */
export async function phonePage(browser, { width = 390, height = 844 } = {}) {
  const page = await browser.newPage();
  await page.setViewport({ width, height, deviceScaleFactor: 2 });
  page.setDefaultTimeout(patienceMs);
  page.faults = [];
  page.on("pageerror", (error) => page.faults.push(String(error.stack ?? error)));
  page.on("console", (message) => {
    if (message.type() === "error") page.faults.push(message.text());
  });
  return page;
}
