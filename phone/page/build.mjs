// Builds the page into the folder that is given, otherwise into dist/. The same sources and the same
// lock file give the same bytes.
import { createHash } from "node:crypto";
import { existsSync, mkdirSync, readdirSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { dirname, join, resolve } from "node:path";
import { fileURLToPath } from "node:url";
import commonjs from "@rollup/plugin-commonjs";
import { nodeResolve } from "@rollup/plugin-node-resolve";
import * as esbuild from "esbuild";
import { rollup } from "@rollup/wasm-node";

const here = dirname(fileURLToPath(import.meta.url));
const target = ["es2022", "chrome105", "firefox115", "safari16"];
const outdir = join(here, "dist/a");
const options = {
  absWorkingDir: here, bundle: true, minify: true, write: false, target, charset: "utf8", legalComments: "none",
  logLevel: "warning",
};

const files = new Map();
const hash = (content) => createHash("sha256").update(content).digest("hex");
const text = (name) => readFileSync(join(here, name), "utf8");
/** Puts a file under a name that tells its content; answers its address. */
function hashed(name, content) {
  const path = `a/${name.replace(/(\.\w+)$/, `-${hash(content).slice(0, 8).toUpperCase()}$1`)}`;
  files.set(path, content);
  return `/orvik/${path}`;
}

// Rollup leaves what the first view and later parts share in the first view. So the first view is two
// scripts, however many parts there are: browsers ask a server for six files at a time.
const bundle = await rollup({
  input: { start: join(here, "start.ts"), main: join(here, "main.tsx") },
  preserveEntrySignatures: false,
  plugins: [nodeResolve({ browser: true, extensions: [".ts", ".tsx", ".js", ".mjs"] }), commonjs(), typescript()],
  onwarn(warning) { if (warning.code !== "CIRCULAR_DEPENDENCY") throw new Error(warning.message); },
});
const { output } = await bundle.generate({
  dir: join(here, "dist/a"), format: "es", hoistTransitiveImports: false,
  entryFileNames: "[name]-[hash:8].js", chunkFileNames: "[name]-[hash:8].js",
});
for (const { fileName, code } of output) files.set(`a/${fileName}`, code);
const address = (fileName) => `/orvik/a/${fileName}`;
const outputOf = (name) => output.find((chunk) => chunk.isEntry && chunk.name === name).fileName;

/** A script and what it imports at once. */
function withImports(fileName, found = new Set()) {
  if (found.has(fileName)) return found;
  found.add(fileName);
  for (const each of output.find((chunk) => chunk.fileName === fileName).imports) withImports(each, found);
  return found;
}
const start = outputOf("start");
const main = outputOf("main");
const first = new Set([...withImports(start), ...withImports(main)]);

async function style(name, ...imports) {
  const contents = imports.map((path) => `@import "${path}";`).join("");
  const { outputFiles } = await esbuild.build({ ...options, stdin: { contents, loader: "css", resolveDir: here }, outdir });
  return hashed(name, outputFiles[0].contents);
}
const styleAddress = await style("style.css", "./screens/style.css", "./browser/old.css");
const laterStyle = await style("later.css", "./screens/later.css");

const icons = Object.fromEntries(readdirSync(join(here, "icons")).filter((name) => /\.(svg|png)$/.test(name)).sort()
  .map((name) => [name, hashed(name, readFileSync(join(here, "icons", name)))]));

const manifest = JSON.parse(text("manifest.json"));
manifest.icons = manifest.icons.map((icon) => ({ ...icon, src: icons[icon.src] }));
const { start_url: _, ...iosManifest } = manifest;
files.set("manifest.webmanifest", `${JSON.stringify(manifest, null, 1)}\n`);
files.set("manifest-ios.webmanifest", `${JSON.stringify(iosManifest, null, 1)}\n`);
files.set("licences.txt", licences());

const listed = () => [...files].sort(([a], [b]) => (a < b ? -1 : 1)).map(([path, content]) => `${hash(content)}  ${path}\n`);
const version = hash(listed().join("")).slice(0, 12);
const preloads = [...first].filter((output) => output !== start && output !== main).sort()
  .map((output) => `<link rel="modulepreload" href="${address(output)}">`).join("\n");
const values = { version, preloads, style: styleAddress, laterStyle, start: address(start), main: address(main), ...icons };
files.set("index.html", text("index.html").replace(/\{\{([^}]+)\}\}/g, (_all, name) => {
  if (values[name] === undefined) throw new Error(`index.html asks for ${name}, which is not there`);
  return values[name];
}));

// The page itself comes first: its address is /orvik/p.
const firstView = ["/orvik/p", styleAddress, ...[...first].map(address).sort()];
const isLoaded = (path) => path.startsWith("a/") && /\.(js|css)$/.test(path);
const laterParts = [...[...files.keys()].filter(isLoaded).map((path) => `/orvik/${path}`)
  .filter((path) => !firstView.includes(path)), ...Object.values(icons), "/orvik/manifest.webmanifest"].sort();
async function worker(ownVersion) {
  const define = {
    pageVersion: version, workerVersion: ownVersion, firstView, laterParts, notificationIcon: icons["icon-192.png"],
  };
  const { outputFiles } = await esbuild.build({
    ...options, entryPoints: ["worker/worker.ts"], outdir, format: "iife",
    define: Object.fromEntries(Object.entries(define).map(([name, value]) => [name, JSON.stringify(value)])),
  });
  return outputFiles[0].contents;
}
// Its version is of its own code too.
files.set("sw.js", await worker(hash(listed().join("") + hash(await worker(""))).slice(0, 12)));
// Whoever hosts the page may change this one file, so nothing else depends on it.
const hashes = listed().join("");
files.set("config.json", text("config.json"));
files.set("hashes.txt", hashes);

const folder = resolve(process.argv[2] ?? join(here, "dist"));
rmSync(folder, { recursive: true, force: true });
mkdirSync(join(folder, "a"), { recursive: true });
for (const [path, content] of files) writeFileSync(join(folder, path), content);
console.log(`page ${version}: ${files.size} files in ${folder}`);

/** TypeScript to JavaScript, and small. */
function typescript() {
  return {
    name: "typescript",
    resolveId(source, importer) {
      if (!source.startsWith(".") || importer === undefined || importer.includes("node_modules")) return null;
      const path = resolve(dirname(importer), source).replace(/\.js$/, "");
      return [`${path}.ts`, `${path}.tsx`].find(existsSync) ?? null;
    },
    async transform(code, id) {
      if (!/\.tsx?$/.test(id)) return null;
      const loader = id.endsWith("x") ? "tsx" : "ts";
      return (await esbuild.transform(code, { loader, target, jsx: "automatic", jsxImportSource: "preact", sourcemap: "external" }));
    },
    async renderChunk(code, { isEntry }) {
      const { code: small } = await esbuild.transform(code, { minify: true, target, charset: "utf8", legalComments: "none", format: "esm" });
      // Chromium then compiles all of it while it comes, beside the page's thread, and not piece by piece when it runs.
      return isEntry ? `//# allFunctionsCalledOnLoad\n${small}` : small;
    },
  };
}

/** The notices of what is bundled. */
function licences() {
  return ["preact", "@preact/signals", "@preact/signals-core", "uplot", "jsqr"].map((name) => {
    const folder = join(here, "node_modules", name);
    const file = readdirSync(folder).find((each) => /^licen[cs]e/i.test(each));
    return `${name}\n\n${file === undefined ? "" : readFileSync(join(folder, file), "utf8").trim()}\n`;
  }).join("\n---\n\n");
}
