import assert from "node:assert/strict";
import { test } from "node:test";
import fc from "fast-check";
import { bytesFromBase64 } from "../protocol/base64.js";
import { openEnvelope } from "../protocol/envelope.js";
import { deriveKeys } from "../protocol/keys.js";
import { readLink } from "../protocol/link.js";
import { readMessage } from "../protocol/messages.js";
import { readAlert } from "../protocol/readAlert.js";
import { longestHistory, readSample } from "../protocol/readSample.js";
import { longestList, longestText, text } from "../protocol/readers.js";
import { sealed } from "./sealed.js";

/*
 * What strangers send, made up by a machine: whatever it is, it is read or refused within its bounds,
 * and nothing throws. A failure prints the seed and the smallest value that fails.
 */
const runs = { numRuns: Number(process.env["BORDER_RUNS"] ?? 1000) };

/** Values near those that are sent: a reader that looks at a member's type alone does not notice. */
const odd = fc.oneof(
  fc.jsonValue({ maxDepth: 3 }) as fc.Arbitrary<unknown>, fc.double(), fc.integer(), fc.string({ unit: "binary" }),
  fc.constantFrom(null, "", -1, 0, 1e308, NaN, Infinity, 2 ** 53, "__proto__", "x".repeat(100_000), [], {},
    "\u202eevil", "\ud800", "<img src=x onerror=alert(1)>", "\u0000\u001b[31m", "raised", "temp_high", 1_800_000_000_000));
const names = [
  "epoch", "epoch_ms", "procs", "connections", "volumes", "usb", "displays", "bluetooth", "network", "mac_info",
  "history", "name", "temp_cpu", "cpu_pct", "battery_min", "load", "error", "kind", "state", "value", "t0", "dm", "cpu", "temp",
  "w", "product_name", "model_id", "chip", "macos", "icon_png", "battery_pct", "battery_condition", "size_bytes", "protocol",
  "maker", "speed", "volume", "link", "gateway", "router", "tm_disk_name", "width", "refresh_hz", "__proto__", "toString",
];
const { nested } = fc.letrec<{ nested: unknown }>((tie) => ({
  nested: fc.oneof(
    { maxDepth: 4, withCrossShrink: true }, odd, fc.array(tie("nested"), { maxLength: 80 }),
    fc.dictionary(fc.oneof(fc.constantFrom(...names), fc.string()), tie("nested"), { maxKeys: 12 })),
}));
const time = fc.record({ epoch: fc.integer({ min: 1_000_000_000, max: 253_402_300_799 }) });

/** Every text, list and number within what screens are made for. */
function bounded(value: unknown, path = ""): void {
  if (typeof value === "number") assert.ok(Number.isFinite(value) && Math.abs(value) <= 1e18, path);
  if (typeof value === "string" && !path.endsWith(".picture")) {
    assert.ok(value.length > 0 && value.length <= longestText && text(value) === value, `${path}: ${value}`);
  }
  if (Array.isArray(value)) assert.ok(value.length <= (path.startsWith(".history") ? longestHistory : longestList), path);
  if (typeof value === "object" && value !== null) {
    for (const [key, member] of Object.entries(value)) bounded(member, `${path}.${key}`);
  }
}

test("any sample, with any history in it, is read within bounds or not at all", () => {
  fc.assert(fc.property(nested, time, (value, when) => {
    bounded(readSample(value));
    const object = typeof value === "object" && value !== null && !Array.isArray(value) ? value : { history: value };
    bounded(readSample({ ...object, ...when }));
    bounded(readSample({ ...when, history: object, connections: object, mac_info: object, procs: [object] }));
  }), runs);
  fc.assert(fc.property(odd, time, (value, when) => {
    const all = Object.fromEntries(names.map((name) => [name, value]));
    // Without a name, what is connected is left out.
    const each = [all, { ...all, name: "x" }];
    const connections = { volumes: each, usb: each, displays: each, bluetooth: each, network: all };
    bounded(readSample({ ...all, procs: [[value, "x"], [1, value]], mac_info: all, connections, ...when }));
  }), runs);
});

test("any history is as long as a day at most, goes forward, and has as many of everything", () => {
  const minute = fc.nat(4_000_000_000).map((number) => 60 * number);
  const shaped = fc.nat(longestHistory + 3).chain((length) => {
    const curve = fc.array(fc.oneof(fc.double({ min: 0, max: 130 }), fc.constant(null), odd), {
      minLength: length, maxLength: length, size: "max" });
    const steps = fc.array(fc.oneof({ weight: 999, arbitrary: fc.integer({ min: 1, max: 3 }) }, odd), {
      minLength: length, maxLength: length, size: "max" });
    return fc.record({ t0: minute, dm: steps.map(([, ...rest]) => [0, ...rest]), cpu: curve, temp: curve, w: curve });
  });
  let read = 0;
  fc.assert(fc.property(fc.oneof(shaped, nested), time, fc.constantFrom("", "t0", "dm", "cpu"), odd,
    (value, when, member, other) => {
      const history = readSample({ ...when, history: member ? { ...(value as object), [member]: other } : value })?.history;
      if (history === undefined) return;
      read += 1;
      bounded({ history });
      const { minutes } = history;
      assert.ok(minutes.every((at, index) => index === 0 || at > minutes[index - 1]!));
      for (const curve of [history.cpu, history.celsius, history.watts]) assert.equal(curve.length, minutes.length);
    }), { numRuns: runs.numRuns / 5 });
  assert.ok(read > 0, "some are histories");
});

test("any alert, message of a relay and link is read or refused", () => {
  fc.assert(fc.property(nested, fc.string({ unit: "binary" }), (value, line) => {
    bounded(readAlert(value));
    const said = readMessage(typeof value === "string" ? value : JSON.stringify(value));
    assert.ok(said.type !== "number" || Number.isSafeInteger(said.number));
    for (const link of [line, `https://a/orvik/p#1.${line}`, `https://a/orvik/p#${line}`]) {
      const read = readLink(link);
      assert.ok(typeof read === "string" || read.name.length <= longestText);
    }
  }), runs);
});

test("nothing opens that was not sealed, and what was sealed opens as it was", async () => {
  const secret = new Uint8Array(32).fill(7);
  const macId = "AAECAwQFBgcICQoLDA0ODw";
  const keys = await deriveKeys(macId, secret);
  const base64 = fc.uint8Array({ maxLength: 64 }).map((bytes) => Buffer.from(bytes).toString("base64url"));
  const member = fc.oneof(base64, odd);
  const near = fc.record(
    { v: fc.oneof(fc.constant(1), odd), t: fc.oneof(fc.constantFrom("s", "a", "c"), odd), n: member, c: member },
    { requiredKeys: [] });
  await fc.assert(fc.asyncProperty(fc.oneof(near, nested), fc.string(), async (envelope, line) => {
    for (const message of [JSON.stringify(envelope), line]) {
      assert.ok("failure" in await openEnvelope(message ?? "", keys));
    }
    const kind = line.length % 2 === 0 ? "s" : "a";
    assert.deepEqual(await openEnvelope(await sealed(kind, line, bytesFromBase64(macId)!, secret), keys), { kind, payload: line });
  }), runs);
});
