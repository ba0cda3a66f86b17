import assert from "node:assert/strict";
import { test } from "node:test";
import { readLink } from "../protocol/link.js";
import { base64url } from "../protocol/base64.js";
import { readMessage } from "../protocol/messages.js";
import { readPushMessage, subscribe, unsubscribe } from "../protocol/push.js";
import { readAlert } from "../protocol/readAlert.js";
import { readSample } from "../protocol/readSample.js";
import { configuredRelay } from "../protocol/relayAddress.js";
import { cryptoFailures } from "./cryptoCases.js";
import { vectors } from "./vectors.js";

test("envelopes, keys and published vectors", async () => {
  const { failures, cases } = await cryptoFailures(vectors());
  assert.deepEqual(failures, []);
  assert.ok(cases > 400);
});

const id = "AAECAwQFBgcICQoLDA0ODw";
const secret = "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8";

test("a link is read, or refused as damaged or newer", () => {
  const at = "https://host.example:8443/orvik/p#";
  const table: [string, string][] = [
    [`${at}1.${id}.${secret}.a%2eb.c%20`, "a.b.c"],
    [`  http://localhost/orvik/p#1.${id}.${secret}.\n`, ""],
    [`${at}1.${id}.${secret}.%FF%41%00%E2%80%AEx%`, "\ufffdA x%"],
    [`${at}1.${id}.${secret}`, "damaged"],
    [`${at}1.${id}.${secret.slice(0, -1)}9.x`, "damaged"],
    [`${at}1.${id}A.${secret}.x`, "damaged"],
    [`${at}1.${id}.${secret}=.x`, "damaged"],
    [`${at}2.${id}.${secret}.x`, "newer"],
    [`${at}17.anything`, "newer"],
    [`${at}0.${id}.${secret}.x`, "damaged"],
    [`https://host.example/orvik/q#1.${id}.${secret}.x`, "damaged"],
    [`ftp://host.example/orvik/p#1.${id}.${secret}.x`, "damaged"],
    [`${at}1.${id}.${secret}.${"x".repeat(4096)}`, "damaged"],
    ["", "damaged"],
  ];
  for (const [link, wanted] of table) {
    const read = readLink(link);
    assert.equal(typeof read === "string" ? read : read.name, wanted, link.slice(0, 90));
  }
});

test("messages of the relay are told apart", () => {
  const table: [unknown, string][] = [
    ["pong", "pong"], ['{"mac":true}', "mac"], [' {"x":[],"mac":false}', "mac"], ['{"mac":1}', "envelope"],
    ['{"v":1}', "envelope"], ["rubbish", "envelope"], [new ArrayBuffer(4), "unreadable"],
    ["x".repeat(1024 * 1024 + 1), "unreadable"],
  ];
  for (const [data, wanted] of table) assert.equal(readMessage(data).type, wanted);
});

test("what a relay says of pushing is read, or nothing of it", () => {
  const key = base64url(new Uint8Array(65).fill(4));
  const endpoint = `https://push.example/${"a".repeat(900)}`;
  const table: [object | string, object | undefined][] = [
    [{ push: key }, { type: "push", key: new Uint8Array(65).fill(4) }], [{ subscribed: endpoint }, { type: "subscribed", endpoint }],
    [{ notSubscribed: "full" }, { type: "notSubscribed", why: "full" }],
    [{ push: key.slice(4) }, undefined], [{ push: base64url(new Uint8Array(65)) }, undefined], [{ push: 4 }, undefined], [{ push: "é" }, undefined],
    [{ subscribed: endpoint.repeat(2) }, undefined], [{ subscribed: [endpoint] }, undefined], [{ notSubscribed: "because" }, undefined],
    [{ mac: true }, undefined], [[{ push: key }], undefined], ["{", undefined], [{ push: key, rest: "x".repeat(2000) }, undefined],
  ];
  for (const [data, wanted] of table) assert.deepEqual(readPushMessage(typeof data === "string" ? data : JSON.stringify(data)), wanted);
  const target = { endpoint: "https://push.example/1", p256dh: new Uint8Array(65).fill(4), auth: new Uint8Array(16) };
  const said = { endpoint: target.endpoint, p256dh: key, auth: base64url(target.auth) };
  assert.deepEqual(JSON.parse(subscribe(target)), { subscribe: said });
  assert.deepEqual(JSON.parse(subscribe(target, "https://old")), { subscribe: { ...said, replaces: "https://old" } });
  assert.deepEqual(JSON.parse(unsubscribe("https://old")), { unsubscribe: "https://old" });
});

test("a configuration names a relay or none", () => {
  const table: [string, string | undefined][] = [
    ['{"relay":"wss://relay.example/prefix/"}', "wss://relay.example/prefix"], ['{"relay":""}', undefined],
    ['{"relay":"https://relay.example"}', undefined], ['{"relay":"wss://a?b"}', undefined], ["{", undefined],
  ];
  for (const [configuration, wanted] of table) assert.equal(configuredRelay(configuration), wanted);
});

const png = (width: number) => {
  const head = Buffer.from("89504e470d0a1a0a0000000d49484452", "hex");
  const size = Buffer.alloc(32);
  size.writeUInt32BE(width, 0);
  size.writeUInt32BE(128, 4);
  return Buffer.concat([head, size]).toString("base64");
};

test("a sample keeps what is right, and of the rest nothing", () => {
  const at = { epoch_ms: 1_800_000_000_123 };
  const of = (members: object) => readSample({ ...at, ...members });
  const table: [object, string, unknown][] = [
    [{ cpu_pct: 3.1 }, "cpuPercent", 3.1],
    [{ cpu_pct: 100.04 }, "cpuPercent", 100],
    [{ cpu_pct: 1e300 }, "cpuPercent", undefined],
    [{ cpu_pct: "3" }, "cpuPercent", undefined],
    [{ cpu_pct: 0 }, "cpuPercent", 0],
    [{ temp_cpu: 0 }, "cpuCelsius", undefined],
    [{ power_w: 0 }, "powerWatts", undefined],
    [{ pcpu_mhz: 0 }, "pCoreMhz", undefined],
    [{ uptime_h: 0 }, "uptimeHours", undefined],
    [{ gpu_pct: 4 }, "gpuOff", true],
    [{ gpu_pct: 4, temp_gpu: 0 }, "gpuOff", true],
    [{ gpu_pct: 4, temp_gpu: 40 }, "gpuPercent", 4],
    [{ gpu_off: true, gpu_pct: 4, temp_gpu: 40 }, "gpuCelsius", undefined],
    [{ error: "macmon indisponible" }, "sensorsFailed", true],
    [{ battery_pct: null }, "batteryPercent", undefined],
    [{ battery_state: "exploding" }, "batteryState", undefined],
    [{ load: [1, 2] }, "load", undefined],
    [{ load: [1, 2, 3, 4] }, "load", [1, 2, 3]],
    [{ procs: [[5, "a"], [1], "x", [-1, "b"], [2, "\u202e"]] }, "processes", [{ name: "a", percent: 5 }]],
    [{ connections: [] }, "volumes", []],
    [{ connections: { network: null } }, "network", undefined],
    [{ connections: { volumes: [{ name: "a", size_bytes: 10, free_bytes: 20 }] } }, "volumes",
      [{ name: "a", isTimeMachine: false, sizeBytes: 10, freeBytes: 10 }]],
    [JSON.parse('{"__proto__":{"cpu_pct":5}}') as object, "cpuPercent", undefined],
    [{ mac_info: { icon_png: png(128) } }, "macInfo", { picture: `data:image/png;base64,${png(128)}` }],
    [{ mac_info: { icon_png: png(50_000) } }, "macInfo", {}],
    [{ mac_info: { icon_png: Buffer.alloc(60).toString("base64") } }, "macInfo", {}],
  ];
  for (const [members, name, wanted] of table) {
    const sample = of(members);
    assert.deepEqual(Object.entries(sample ?? {}).find(([key]) => key === name)?.[1], wanted, JSON.stringify(members).slice(0, 80));
  }
  assert.equal(readSample({ cpu_pct: 3 }), undefined);
  assert.equal(readSample({ epoch: 1_800_000_000 })?.epochMs, 1_800_000_000_000);
});

test("a history is whole, or is none", () => {
  const history = (change: object) => readSample({
    epoch: 1_800_000_000,
    history: { t0: 1_799_999_940, dm: [0, 1, 3], cpu: [12.5, 1e9, null], temp: [0, null, 41], w: [1, 2, 3], ...change },
  })?.history;
  assert.deepEqual(history({}), {
    minutes: [29999999, 30000000, 30000003], cpu: [12.5, null, null], celsius: [null, null, 41], watts: [1, 2, 3],
  });
  const million = new Array<number>(1e6).fill(1);
  const wrong: object[] = [
    { t0: 30 }, { t0: "0" }, { dm: [1, 1, 1] }, { dm: [0, 0, 1] }, { dm: [0, 1.5, 1] }, { dm: [0, 1, -3] }, { cpu: [1, 2] },
    { w: {} }, { dm: [] }, { dm: [0, 1e300, 1] }, { dm: million, cpu: million, temp: million, w: million },
  ];
  for (const change of wrong) assert.equal(history(change), undefined, JSON.stringify(change).slice(0, 60));
});

test("an alert needs kind, state and time", () => {
  const alert = { kind: "disk_full", state: "raised", epoch_ms: 1_800_000_000_000, value: 91.5, threshold: 90, disk_free_gb: 43 };
  assert.deepEqual(readAlert(alert), {
    kind: "disk_full", state: "raised", epochMs: 1_800_000_000_000, value: 91.5, threshold: 90, diskFreeGb: 43,
  });
  for (const change of [{ kind: "new" }, { kind: "__proto__" }, { state: 1 }, { epoch_ms: null }, { epoch_ms: 1e20 }]) {
    assert.equal(readAlert({ ...alert, ...change }), undefined);
  }
});
