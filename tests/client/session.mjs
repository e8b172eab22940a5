// A session of the protocol's official client with the tool server: every tool is called once, and both what the server
// says of a tool and what it answers are checked as that client checks them.
//
//   node tests/client/session.mjs path/to/vesk-mcp        (vesk_sample lies beside it)

import { execFileSync } from "node:child_process";
import { existsSync, mkdirSync, mkdtempSync, readFileSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { dirname, join, resolve } from "node:path";
import { fileURLToPath } from "node:url";

import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";
import { CallToolResultSchema } from "@modelcontextprotocol/sdk/types.js";
import { Ajv } from "ajv";

// In the order in which they are made; the later ones need what the earlier ones left.
const calls = readFileSync(join(dirname(fileURLToPath(import.meta.url)), "calls.jsonl"), "utf8")
  .trim()
  .split("\n")
  .map((line) => JSON.parse(line));

function check(isRight, sentence) {
  if (!isRight) throw new Error(sentence);
}

// Starts the server over a sample of its own in the folder.
async function connect(server, folder) {
  execFileSync(join(dirname(server), "vesk_sample"), [folder]);
  for (const name of ["home", "data"]) mkdirSync(join(folder, name));
  const transport = new StdioClientTransport({
    command: server,
    env: {
      HOME: join(folder, "home"),
      XDG_DATA_HOME: join(folder, "data"),
      VESK_SUPPORT_DIR: join(folder, "support"),
    },
    stderr: "pipe",
  });
  const client = new Client({ name: "session", version: "1.0.0" });
  const complaints = [];
  transport.stderr.on("data", (chunk) => complaints.push(chunk));
  client.onerror = (failure) => complaints.push(failure);
  await client.connect(transport);
  return { client, complaints };
}

function checkContent({ content, isError }) {
  check(isError === undefined, content[0]?.text ?? "failed without a sentence");
  check(content.length === 1, "gave more than one item");
  const [item] = content;
  if (item.type === "image") check(item.mimeType === "image/jpeg" && item.data.startsWith("/9j/"), "gave no JPEG file");
  else check(item.type === "text" && item.text.trim() !== "", "gave no text");
}

// Without its arguments the call has to fail, in words that the assistant can read, and leave the session going.
async function checkRefusal(client, tool) {
  const { content, isError } = await client.callTool({ name: tool.name }, CallToolResultSchema);
  check(isError === true && /^[A-Z].*\.$/s.test(content[0].text), `took a call without arguments: ${content[0].text}`);
}

async function play(client, tool, given) {
  const accepts = new Ajv({ strict: true, allErrors: true }).compile(tool.inputSchema);
  check(accepts(given), `its schema refuses the call: ${JSON.stringify(accepts.errors)}`);
  check(!accepts({ ...given, unheard_of: 1 }), "its schema takes any argument");
  if (tool.inputSchema.required.length > 0) {
    check(!accepts({}), "its schema takes a call without arguments");
    await checkRefusal(client, tool);
  }
  checkContent(await client.callTool({ name: tool.name, arguments: given }, CallToolResultSchema));
}

async function playAll(client) {
  const { tools } = await client.listTools();
  const waiting = new Map(tools.map((tool) => [tool.name, tool]));
  check(waiting.size === tools.length, "two tools have one name");
  for (const { name, arguments: given } of calls) {
    const tool = waiting.get(name);
    check(tool, `${name}: the server has no such tool, or it was called before`);
    try {
      await play(client, tool, given);
    } catch (failure) {
      throw new Error(`${name}: ${failure.message}`);
    }
    waiting.delete(name);
  }
  check(waiting.size === 0, `no call for ${[...waiting.keys()].join(", ")}`);
  return tools.length;
}

async function session(server, folder) {
  const { client, complaints } = await connect(server, folder);
  let count = 0;
  try {
    count = await playAll(client);
  } finally {
    await client.close();
    for (const complaint of complaints) console.error(`${complaint}`);
  }
  check(complaints.length === 0, "the server or its client complained");
  console.log(`${count} tools called`);
}

const server = resolve(process.argv[2] ?? "");
if (process.argv.length !== 3 || !existsSync(join(dirname(server), "vesk_sample"))) {
  console.error("usage: node session.mjs path/to/vesk-mcp (with vesk_sample beside it)");
  process.exit(2);
}
const folder = mkdtempSync(join(tmpdir(), "vesk-client-"));
process.on("exit", () => rmSync(folder, { recursive: true, force: true }));
for (const signal of ["SIGINT", "SIGTERM"]) process.on(signal, () => process.exit(1));
try {
  await session(server, folder);
} catch (failure) {
  console.error(failure.message);
  process.exitCode = 1;
}
