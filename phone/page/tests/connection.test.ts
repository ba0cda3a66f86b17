import assert from "node:assert/strict";
import { test } from "node:test";
import { base64url } from "../protocol/base64.js";
import { Connection } from "../protocol/connection.js";
import { FakeClock, FakeRelay } from "./fakes.js";

function make() {
  const clock = new FakeClock();
  const relay = new FakeRelay();
  const states: string[] = [];
  const told: string[] = [];
  const connection = new Connection(relay.open, (last) => `AUTH ${last}`, clock);
  connection.observe({
    onState: (state) => states.push(state),
    onMac: (isConnected) => told.push(`mac ${isConnected}`),
    onEnvelope: (text, number) => told.push(number === undefined ? text : `${number}: ${text}`),
    onPush: (message) => told.push(message.type),
  });
  return { clock, relay, states, told, connection };
}

test("authenticates, says whether somebody looks, and rests without connection or timer", () => {
  const { clock, relay, states, told, connection } = make();
  connection.look(true);
  assert.ok(!connection.say("too early"));
  relay.last.accept();
  relay.last.say("pong");
  relay.last.say('{"v":1}');
  relay.last.say({ push: base64url(Uint8Array.of(4, ...new Array<number>(64).fill(0))) });
  assert.ok(connection.say("SUBSCRIBE"));
  relay.last.say({ alert: 7 });
  relay.last.say({ subscribed: `https://push.example/${"x".repeat(1000)}` });
  relay.last.say('{"v":2}');
  relay.last.say({ alert: -7 });
  connection.lastAlert = 7;
  connection.look(true);
  connection.look(false);
  connection.look(true);
  assert.deepEqual(relay.last.sent, ["AUTH 0", '{"active":true}', "SUBSCRIBE", '{"active":false}', '{"active":true}']);
  assert.deepEqual(told, ["mac true", '{"v":1}', "push", "subscribed", '7: {"v":2}', '{"alert":-7}']);
  const socket = relay.last;
  connection.rest();
  assert.equal(socket.sent.at(-1), '{"active":false}');
  assert.ok(socket.isClosed);
  assert.equal(clock.pending, 0);
  assert.deepEqual(states, ["connecting", "accepted", "idle"]);
  connection.look(true);
  assert.equal(relay.sockets.length, 2);
  relay.last.accept();
  assert.equal(relay.last.sent[0], "AUTH 7");
});

test("tries again after 1, 2, 4 … seconds, at once when the network is back, and never once refused", () => {
  const { clock, relay, states, connection } = make();
  connection.look(true);
  const waits = [1, 2, 4, 8, 16, 32, 60, 60].map((seconds, index) => {
    relay.last.end(1006);
    clock.advance(seconds * 1000 - 1);
    const before = relay.sockets.length;
    clock.advance(1);
    return before === index + 1 && relay.sockets.length === index + 2;
  });
  assert.ok(waits.every(Boolean), String(waits));
  relay.last.end(1006);
  const before = relay.sockets.length;
  connection.wake();
  assert.equal(relay.sockets.length, before + 1);
  relay.last.accept();
  relay.last.end(1001);
  assert.equal(states.at(-1), "connecting");
  clock.advance(999);
  assert.equal(relay.sockets.length, before + 1);
  // Spread, so that not all phones of a relay come back at once.
  clock.advance(1001);
  assert.equal(relay.sockets.length, before + 2);
  relay.last.onopen?.();
  relay.last.end(4403);
  assert.equal(states.at(-1), "replaced");
  clock.advance(3_600_000);
  connection.wake();
  connection.look(false);
  connection.rest();
  connection.look(true);
  assert.equal(relay.sockets.length, before + 2);
  assert.equal(clock.pending, 0);
});

test("gives up what does not open, what is silent after a ping, and sooner after a change of network", () => {
  const { clock, relay, states, connection } = make();
  connection.look(true);
  clock.advance(9_999);
  assert.equal(states.at(-1), "connecting");
  clock.advance(1);
  assert.equal(states.at(-1), "failing");
  clock.advance(1000);
  relay.last.onopen?.();
  clock.advance(3000);
  assert.equal(states.at(-1), "held");
  relay.last.say({ mac: false });
  assert.equal(states.at(-1), "accepted");
  clock.advance(27_000);
  assert.equal(relay.last.sent.at(-1), "ping");
  clock.advance(19_999);
  relay.last.say("pong");
  clock.advance(10_001);
  assert.equal(relay.last.sent.filter((text) => text === "ping").length, 2);
  clock.advance(20_000);
  assert.equal(states.at(-1), "connecting");
  clock.advance(1000);
  relay.last.accept();
  connection.wake();
  clock.advance(3_999);
  assert.equal(states.at(-1), "accepted");
  clock.advance(1);
  assert.equal(states.at(-1), "connecting");
});

test("a socket that was opened ahead of time is taken as far as it has got", () => {
  const accepted = ['{"mac":true}', "first"];
  for (const [has, sent, expected] of [
    [{ progress: "open" }, ["AUTH 0", '{"active":true}'], ["connecting", "held"]],
    [{ progress: "open", isGreeted: true }, [], ["connecting", "held"]],
    [{ progress: "open", isGreeted: true, early: accepted }, [], ["connecting", "accepted", "true", "first"]],
    [{ progress: "closed" }, [], ["connecting", "failing"]],
  ] as const) {
    const { clock, relay } = make();
    const socket = Object.assign(relay.open(), has, { early: [...("early" in has ? has.early : [])] });
    const taken = new Connection(() => socket, (last) => `AUTH ${last}`, clock);
    const seen: string[] = [];
    taken.observe({ onState: (s) => seen.push(s), onMac: (m) => seen.push(String(m)), onEnvelope: (e) => seen.push(e), onPush: (m) => seen.push(m.type) });
    taken.look(true);
    assert.deepEqual(socket.sent, sent);
    clock.advance(has.progress === "open" ? 3000 : 0);
    assert.deepEqual(seen, expected);
  }
});
