// Prints the messages of a recording as JSON: node read_mcap.mjs indexed|stream FILE
import { createRequire } from "node:module";
import { open, readFile } from "node:fs/promises";

const require = createRequire(process.env.KR_READERS + "/");
const { McapIndexedReader, McapStreamReader } = require("@mcap/core");
const protobuf = require("protobufjs");
const descriptor = require("protobufjs/ext/descriptor");

const [form, filename] = process.argv.slice(2);

async function* readIndexed() {
  const file = await open(filename);
  const { size } = await file.stat();
  const readable = {
    size: async () => BigInt(size),
    read: async (offset, length) => {
      const bytes = new Uint8Array(Number(length));
      await file.read(bytes, 0, bytes.length, Number(offset));
      return bytes;
    },
  };
  const reader = await McapIndexedReader.Initialize({ readable });
  for (const schema of reader.schemasById.values()) yield { type: "Schema", ...schema };
  for (const channel of reader.channelsById.values()) yield { type: "Channel", ...channel };
  for await (const message of reader.readMessages()) yield message;
  await file.close();
}

async function* readStream() {
  const reader = new McapStreamReader({ validateCrcs: true });
  reader.append(await readFile(filename));
  for (let record; (record = reader.nextRecord()); ) yield record;
  if (!reader.done()) throw new Error("the recording is not complete");
}

const types = new Map();
const channels = new Map();
const messages = [];
for await (const record of form === "indexed" ? readIndexed() : readStream()) {
  if (record.type === "Schema") {
    const root = protobuf.Root.fromDescriptor(descriptor.FileDescriptorSet.decode(record.data));
    types.set(record.id, root.lookupType(record.name));
  } else if (record.type === "Channel") {
    channels.set(record.id, record);
  } else if (record.type === "Message") {
    const channel = channels.get(record.channelId);
    const type = types.get(channel.schemaId);
    messages.push({
      seconds: Number(record.logTime) / 1e9,
      topic: channel.topic,
      values: type.toObject(type.decode(record.data)),
    });
  }
}
const facts = Object.fromEntries([...channels.values()].map((each) => [each.topic, Object.fromEntries(each.metadata)]));
process.stdout.write(JSON.stringify({ channels: facts, messages }));
