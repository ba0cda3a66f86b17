// The built page as a later version of it would be: every hashed file under another name, the pieces
// of the old version gone.

import { cpSync, readdirSync, readFileSync, renameSync, writeFileSync } from "node:fs";
import { join } from "node:path";

const reversed = (text) => [...text].reverse().join("");

/** Makes the version in `folder`; its number, as the page tells it. */
export function makeNextVersion(page, folder) {
  cpSync(page, folder, { recursive: true });
  const hashes = readdirSync(join(folder, "a")).map((name) => /-([\w-]{8})\.\w+$/.exec(name)[1]);
  const version = /name="version" content="(\w+)"/.exec(readFileSync(join(page, "index.html"), "utf8"))[1];
  const workerVersion = /orvik \$\{"(\w{12})"\}|orvik (\w{12})/.exec(readFileSync(join(page, "sw.js"), "utf8")).slice(1).find(Boolean);
  const changed = (text) => [...hashes, version, workerVersion].reduce((all, each) => all.replaceAll(each, reversed(each)), text);
  for (const name of readdirSync(folder, { recursive: true }).filter((each) => /\.\w+$/.test(each))) {
    const path = join(folder, name);
    if (/\.(js|css|html|txt|webmanifest|svg)$/.test(name)) writeFileSync(path, changed(readFileSync(path, "utf8")));
    if (name.startsWith("a/")) renameSync(path, join(folder, changed(name)));
  }
  return reversed(version);
}
