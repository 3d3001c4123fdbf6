// Drives tavro-mcp as an agent's client does, with the official MCP client, on a desktop of its own.
// Guards the whole road: handshake, catalogue, a read, a create, the queue, the owner's approval, a rule.
import assert from "node:assert/strict";
import { execFileSync, spawnSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, before, test } from "node:test";

import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";

const bundle = process.env.TAVRO_BUNDLE;
assert.ok(bundle, "TAVRO_BUNDLE names the directory that holds tavro-mcp");

const scratch = mkdtempSync(join(tmpdir(), "tavro-protocol-"));
const env = {
  ...process.env,
  HOME: scratch,
  TAVRO_HOME: join(scratch, "home"),
  TAVRO_DESKTOP: join(scratch, "desktop"),
};
delete env.TAVRO_CONFIG_DIR;
delete env.VENDRY_RUN;
const owner = (...args) => spawnSync(join(bundle, "tavro"), args, { env, encoding: "utf8" });
const client = new Client({ name: "protocol-check", version: "1" });

async function call(name, args) {
  const result = await client.callTool({ name, arguments: args });
  assert.equal(result.content.length, 1);
  return { text: result.content[0].text, isError: result.isError };
}

before(async () => {
  execFileSync(join(bundle, "tavro"), ["desktop", "init", "--sample"], { env });
  await client.connect(new StdioClientTransport({ command: join(bundle, "tavro-mcp"), env, stderr: "inherit" }));
});

after(async () => {
  await client.close();
  rmSync(scratch, { recursive: true, force: true });
});

test("the handshake names the server and its tools", async () => {
  assert.deepEqual(client.getServerVersion(), { name: "tavro", version: "0.1.0" });
  assert.deepEqual(client.getServerCapabilities(), { tools: {} });
  await client.ping();
});

test("neither guide leaves a tool out", async () => {
  const { tools } = await client.listTools();
  const forAgents = (await call("how_it_works", {})).text;
  const forOwners = readFileSync(join(bundle, "Contents/Resources/user-guide.md"), "utf8");
  for (const { name } of tools) {
    const id = name === "how_it_works" ? name : name.replace("_", ".");
    const words = new RegExp(`(?<![\\w.])${id.replace(".", "\\.")}(?![\\w.]*\\w)`);
    assert.match(forAgents, words);
    assert.match(forOwners, words);
  }
});

test("the catalogue is offered in order with one schema", async () => {
  const { tools } = await client.listTools();
  const names = tools.map((tool) => tool.name);
  assert.equal(new Set(names).size, names.length);
  assert.deepEqual(names, [
    "mail_accounts", "mail_headers", "mail_audit", "mail_search", "mail_body", "mail_open", "mail_messageId",
    "mail_draft", "mail_send", "mail_notify", "imessage_notify", "mail_reply", "mail_replyAll", "mail_forward",
    "mail_delete", "mail_move", "mail_archive", "mail_flag", "mail_junk",
    "cal_find", "cal_update", "cal_add", "cal_delete",
    "reminder_lists", "reminder_find", "reminder_add", "reminder_addList", "reminder_renameList", "reminder_update",
    "reminder_complete", "reminder_delete", "reminder_deleteList", "reminder_clearCompleted",
    "note_list", "note_find", "note_read", "note_add", "note_open", "note_update", "note_delete",
    "contact_find", "contact_add", "imessage_send", "imessage_read", "finder_reveal", "app_quit", "how_it_works",
    "auto_list", "auto_log", "auto_add", "auto_edit", "auto_enable", "auto_disable", "auto_run", "auto_rm",
    "ask", "ask_answer", "ask_answers", "ask_harvest", "feedback_tell", "feedback_rm",
  ]);
  for (const tool of tools) {
    assert.deepEqual(tool.inputSchema, { type: "object", properties: {}, additionalProperties: { type: "string" } });
    assert.ok(tool.description.length > 20);
  }
});

test("a create runs, a read finds it, and numbers arrive as text", async () => {
  const added = await call("note_add", { title: "Protocol “check” 🎉", body: "first line\nsecond line" });
  assert.deepEqual(added, { text: "OK note: Protocol “check” 🎉", isError: false });
  const found = await call("note_find", { name: "protocol “CHECK", limit: 5 });
  assert.match(found.text, /\|\| Protocol “check” 🎉 \|\| /);
  const read = await call("note_read", { name: "Protocol" });
  assert.match(read.text, /^Protocol “check” 🎉\n----\n[^]*first line\nsecond line$/);
});

test("a destructive action waits for the owner and runs once approved", async () => {
  const queued = await call("note_delete", { name: "Protocol" });
  assert.equal(queued.isError, false);
  const [, id] = queued.text.match(/^⏸ Destructive action queued for human approval \(id=([0-9A-F]{8})\)\.\n/);
  assert.match(queued.text, /\nImpact: 1 note\(s\): Protocol “check” 🎉\nIt will NOT run until a human approves it/);
  assert.match((await call("note_read", { name: "Protocol" })).text, /first line/);

  const refused = owner("approve", id);
  assert.equal(refused.status, 2, "no terminal and no --yes");
  const approved = owner("approve", id, "--yes");
  assert.equal(approved.status, 0, approved.stderr);
  assert.match(approved.stdout, /OK deleted 1 note\(s\)/);
  assert.equal((await call("note_read", { name: "Protocol" })).text, "(no matching note)");
  assert.equal(owner("approve", id, "--yes").status, 1, "a second approval finds nothing");
});

test("errors are tool results, and only protocol faults are JSON-RPC errors", async () => {
  assert.deepEqual(await call("note.add", {}), { text: "❌ unknown tool: note.add", isError: true });
  assert.deepEqual(await call("note_add", {}), { text: "❌ missing required argument: title", isError: true });
  await assert.rejects(client.request({ method: "tools/approve" }, { parse: (value) => value }), { code: -32601 });
});

test("the owner's deny rule holds at the next call, for reads too", async () => {
  const added = owner("rule", "add", "--tool", "contact.*", "--decision", "deny", "--yes");
  assert.equal(added.status, 0, added.stderr);
  const denied = await call("contact_find", { query: "a" });
  assert.equal(denied.isError, true);
  assert.match(denied.text, /^❌ blocked by deny-rule \(.+\)$/);
  const audit = JSON.parse(owner("audit", "--json").stdout);
  assert.deepEqual([audit[0].action, audit[0].outcome, audit[0].actor], ["contact.find", "denied", "mcp"]);
});
