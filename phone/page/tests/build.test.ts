import assert from "node:assert/strict";
import { createHash } from "node:crypto";
import { readdirSync, readFileSync } from "node:fs";
import { join, relative } from "node:path";
import { test } from "node:test";
import { gzipSync } from "node:zlib";

const gzipped = (path: string) => gzipSync(readFileSync(join("dist", path)), { level: 9 }).length;
const addresses = (html: string) => [...html.matchAll(/(?:href|src)="\/orvik\/([^"]+\.(?:js|css|json))"/g)].map((match) => match[1] ?? "");
const kib = 1024;

test("the first view and each later part stay within their budgets", () => {
  const firstView = ["index.html", ...addresses(readFileSync("dist/index.html", "utf8"))];
  assert.ok(firstView.length >= 5);
  const bytes = firstView.reduce((sum, path) => sum + gzipped(path), 0);
  assert.ok(bytes <= 43_500, `${bytes} bytes in ${firstView.join(", ")}`);
  for (const [name, budget] of [["LastDay", 30], ["Add", 55], ["Details", 8], ["Alerts", 5], ["Computers", 5], ["de", 6], ["ar", 6], ["later", 5]] as const) {
    const parts = readdirSync("dist/a").filter((file) => new RegExp(`^${name}-[\\w-]{8}\\.(js|css)$`).test(file));
    assert.equal(parts.length, 1, `one part ${name}`);
    assert.ok(gzipped(`a/${parts[0] ?? ""}`) <= budget * kib, `${name}: ${gzipped(`a/${parts[0] ?? ""}`)}`);
  }
});

test("every file has the hash that stands in hashes.txt, and nothing needs to be inline", () => {
  for (const line of readFileSync("dist/hashes.txt", "utf8").trim().split("\n")) {
    const [hash, path] = line.split("  ");
    assert.equal(createHash("sha256").update(readFileSync(join("dist", path ?? ""))).digest("hex"), hash, path);
  }
  const html = readFileSync("dist/index.html", "utf8");
  assert.doesNotMatch(html, /<script(?![^>]*src=)|<style|\sstyle=|\son\w+=/);
});

/** What a folder may import, beside itself and packages. */
const mayImport: Readonly<Record<string, readonly string[]>> = {
  protocol: [], storage: ["protocol"], state: ["protocol", "storage"], worker: ["protocol", "storage", "words"], words: ["protocol", "state"],
  screens: ["words", "state", "protocol"], browser: ["state", "protocol"],
};

test("imports point one way, and storage or screens are never reached from below", () => {
  for (const [folder, allowed] of Object.entries(mayImport)) {
    for (const file of sources(folder)) {
      for (const [, path = ""] of readFileSync(file, "utf8").matchAll(/(?:from|import\()\s*"(\.[^"]+)"/g)) {
        const target = relative(".", join(file, "..", path)).split("/")[0] ?? "";
        assert.ok(target === folder || allowed.includes(target), `${file} imports ${path}`);
      }
    }
  }
});

function sources(folder: string): string[] {
  return readdirSync(folder, { withFileTypes: true }).flatMap((entry) => {
    const path = join(folder, entry.name);
    return entry.isDirectory() ? sources(path) : /\.tsx?$/.test(entry.name) ? [path] : [];
  });
}
