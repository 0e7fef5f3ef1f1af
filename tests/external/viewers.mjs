// Compares exported MCAP files with the legacy logs of the same flight, value by value.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { crc32 } from "@foxglove/crc";
import { parse } from "@foxglove/rosmsg";
import { MessageReader } from "@foxglove/rosmsg2-serialization";
import { McapIndexedReader, McapStreamReader } from "@mcap/core";
import { decompress } from "fzstd";

const decompressHandlers = { zstd: (bytes, size) => decompress(bytes, new Uint8Array(Number(size))) };
const DATA_END_BYTES = 13;

/** The header's lists of values by key, and the numbers behind the header. */
function readLegacy(file) {
  const bytes = readFileSync(file);
  const start = bytes.indexOf("-- Data\n") + "-- Data\n".length;
  const lines = bytes.toString("utf8", 0, start).split("\n").map((line) => line.split(" : "));
  const header = Object.fromEntries(lines.map(([key, values]) => [key, values?.split(", ")]));
  return { ...header, numbers: new Float64Array(new Uint8Array(bytes.subarray(start)).buffer) };
}

/** A function that decodes messages: into their values by the names that the log has for them. */
function decoder({ encoding, name, data }) {
  assert.equal(encoding, "ros2msg");
  assert.match(name, /^ostrel\/msg\/[A-Z][A-Za-z0-9]*$/);
  const definition = new TextDecoder().decode(data);
  const reader = new MessageReader(parse(definition, { ros2: true }));
  const fields = [...definition.matchAll(/^\S+ ([a-z](?:[a-z0-9]|_(?=[a-z0-9]))*)(?: # (.*))?$/gm)];
  assert.equal(fields.length, definition.trim().split("\n").length);
  const names = new Map(fields.map(([, field, original]) => [field, original ?? field]));
  return (message) => new Map(Object.entries(reader.readMessage(message)).map(([field, value]) => [names.get(field), value]));
}

/** All messages of a file, which must be indexed and without a flaw. */
async function readMcap(file) {
  const bytes = readFileSync(file);
  const readable = { size: async () => BigInt(bytes.length), read: async (at, size) => bytes.subarray(Number(at), Number(at + size)) };
  const reader = await McapIndexedReader.Initialize({ readable, decompressHandlers });
  assert.equal(reader.dataSectionCrc, crc32(bytes.subarray(0, Number(reader.footer.summaryStart) - DATA_END_BYTES)));
  const [channels, schemas] = [[...reader.channelsById.values()], [...reader.schemasById.values()]];
  assert.equal(new Set(channels.map(({ topic }) => topic)).size, channels.length);
  assert.equal(new Set(schemas.map(({ name }) => name)).size, channels.length);
  const decoders = new Map(channels.map(({ id, schemaId }) => [id, decoder(reader.schemasById.get(schemaId))]));
  const messages = [];
  for await (const { channelId, logTime, data } of reader.readMessages())
    messages.push({ topic: reader.channelsById.get(channelId).topic, time: logTime, values: decoders.get(channelId)(data) });

  // Once more from the start of the file, without the indexes, for what those claim.
  const stream = new McapStreamReader({ decompressHandlers, validateCrcs: true, includeChunks: true });
  stream.append(bytes);
  const chunks = [], counts = new Map();
  let streamed = 0;
  for (let record; (record = stream.nextRecord()); ) {
    if (record.type === "Chunk") chunks.push({ ...record, times: [] });
    if (record.type !== "Message") continue;
    const count = counts.get(record.channelId) ?? 0;
    assert.equal(record.sequence, count);
    counts.set(record.channelId, count + 1);
    chunks.at(-1).times.push(record.logTime);
    ++streamed;
  }
  assert.ok(stream.done());
  const range = (times) => [times.reduce((a, b) => (a < b ? a : b)), times.reduce((a, b) => (a > b ? a : b))];
  for (const { messageStartTime, messageEndTime, times } of chunks)
    assert.deepEqual([messageStartTime, messageEndTime], range(times));
  const indexed = reader.chunkIndexes.map((chunk) => [chunk.messageStartTime, chunk.messageEndTime]);
  assert.deepEqual(indexed.sort(), chunks.map(({ times }) => range(times)).sort());
  const { messageCount, channelMessageCounts, chunkCount, messageStartTime, messageEndTime } = reader.statistics;
  assert.deepEqual([messageCount, chunkCount, streamed], [BigInt(messages.length), chunks.length, messages.length]);
  assert.deepEqual([messageStartTime, messageEndTime], range(messages.map(({ time }) => time)));
  for (const [channel, count] of counts) assert.equal(channelMessageCounts.get(channel), BigInt(count));
  for (const { metadata } of channels) assert.match(metadata.get("time"), /^(stamps of the samples|index \/ 200 Hz)$/);
  assert.match(reader.header.library, /^ostrelLog \d+\.\d+/);
  for (const [opcode, { groupStart, groupLength }] of reader.summaryOffsetsByOpcode) {
    let at = Number(groupStart);
    for (const end = at + Number(groupLength); at !== end; at += 9 + Number(bytes.readBigUInt64LE(at + 1)))
      assert.equal(bytes[at], opcode);
  }
  console.log(`${file}: ${channels.length} topics, ${streamed} messages, ${reader.chunkIndexes.length} chunks`);
  return messages;
}

/** Compares each number of the log with the message that has it. `stored` is what the exported log made of it. */
async function compareSamples(file, log, timeOf, stored) {
  const { titles, numbers } = readLegacy(log);
  const rest = new Map(Array.from(numbers, (number, at) => [at, number]));
  for (const { time, values } of await readMcap(file)) {
    if (values.has("api")) continue;
    const start = Number(values.get("index")) * titles.length;
    assert.equal(time, timeOf((title) => BigInt(numbers[start + titles.indexOf(title)])));
    for (const [name, value] of values) {
      const at = start + titles.indexOf(name);
      if (at < start) continue;
      assert.ok(Object.is(Number(value), stored(numbers[at], value)), `${file}: ${name} at ${at}: ${value}`);
      rest.delete(at);
    }
  }
  assert.equal(rest.size, 0);
  console.log(`${file}: ${numbers.length} values are those of ${log}`);
}

const stamp = "inputs.sensors.imu.timestamp[0].tv_";
const stampOf = (value) => value(stamp + "sec") * 1000000000n + value(stamp + "nsec");
const same = (number) => number;
// As a float, or as a whole number, which has no -0.
const replayed = (number, value) => (Object.is(Number(value), number) ? number : Number.isInteger(number) ? number + 0 : Math.fround(number));
await compareSamples("flight.mcap", "flight.cont", stampOf, same);
await compareSamples("plain.mcap", "flight.cont", stampOf, same);
await compareSamples("replay.mcap", "flight.cont", stampOf, replayed);
await compareSamples("back.mcap", "flight.cont", stampOf, same);
await compareSamples("odd.mcap", "odd.cont", () => 0n, same);

const { titles, argList, argNb, numbers } = readLegacy("flight.events");
const calls = [];
for (let at = 0; at < numbers.length; at += numbers[at] / 8) {
  const id = numbers[at + 2];
  // An API without arguments takes one place in the list all the same.
  const first = argNb.slice(0, id).reduce((sum, count) => sum + Math.max(1, Number(count)), 0);
  const count = Number(argNb[id]);
  const values = numbers.slice(at + 3, at + 3 + count);
  calls.push({ index: BigInt(numbers[at + 1]), api: titles[id], arguments: argList.slice(first, first + count), values });
}
const messages = (await readMcap("flight.mcap")).filter(({ topic }) => topic === "/calls");
assert.deepEqual(messages.map(({ values }) => Object.fromEntries(values)), calls);
console.log(`flight.mcap: ${calls.length} calls are those of flight.events`);
