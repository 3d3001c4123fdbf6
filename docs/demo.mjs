// A conversation with tavro-mcp, played over its pipes on a sample desktop and shown as it goes. Started by
// ./dev demo with the directory of the programs; leaves nothing behind.
import { spawn, spawnSync } from "node:child_process";
import { mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join, resolve } from "node:path";
import { createInterface } from "node:readline";

const bundle = resolve(process.argv[2]);
const scratch = mkdtempSync(join(tmpdir(), "tavro-demo-"));
const env = { ...process.env, HOME: scratch, TAVRO_HOME: join(scratch, "tavro"), TAVRO_DESKTOP: join(scratch, "desktop"), XDG_CONFIG_HOME: join(scratch, "config") };
for (const name of ["TAVRO_CONFIG_DIR", "VENDRY_RUN", "TAVRO_PLATFORM_BIN"]) delete env[name];

const colour = (code, text) => (process.stdout.isTTY && !process.env.NO_COLOR ? `\x1b[${code}m${text}\x1b[0m` : text);
const indent = (text) => text.trimEnd().split("\n").map((line) => `      ${line}`).join("\n");
const heading = (text) => console.log(`\n${colour(1, text)}`);

function owner(...args) {
  console.log(colour(33, `  owner  $ tavro ${args.join(" ")}`));
  const run = spawnSync(join(bundle, "tavro"), args, { env, encoding: "utf8" });
  const shown = [run.stderr, run.stdout].filter((text) => text.trim()).join("");
  if (shown) console.log(indent(shown));
  if (run.status !== 0) throw new Error(`tavro ${args.join(" ")} ended with status ${run.status}`);
  return run.stdout;
}

const server = spawn(join(bundle, "tavro-mcp"), { env, stdio: ["pipe", "pipe", "pipe"] });
server.stderr.on("data", (text) => console.log(colour(2, indent(String(text)))));
const replies = createInterface({ input: server.stdout })[Symbol.asyncIterator]();
let lastId = 0;

async function ask(method, params) {
  const line = JSON.stringify({ jsonrpc: "2.0", id: ++lastId, method, params });
  console.log(colour(36, `  agent  → ${line}`));
  server.stdin.write(`${line}\n`);
  const { value, done } = await replies.next();
  if (done) throw new Error("tavro-mcp ended without a reply");
  return JSON.parse(value).result;
}

async function call(name, args) {
  const result = await ask("tools/call", { name, arguments: args });
  const text = result.content[0].text;
  console.log(colour(result.isError ? 31 : 32, `  server ← ${result.isError ? "error" : "result"}`));
  console.log(indent(text));
  return text;
}

try {
  heading("0. A desktop with a little mail, events, reminders, notes and contacts, in a temporary directory");
  owner("desktop", "init", "--sample");

  heading("1. The agent's client starts tavro-mcp and shakes hands");
  const hello = await ask("initialize", { protocolVersion: "2025-06-18", clientInfo: { name: "demo", version: "1" } });
  console.log(colour(32, "  server ← result"));
  console.log(indent(JSON.stringify(hello)));
  const { tools } = await ask("tools/list");
  console.log(colour(32, `  server ← ${tools.length} tools`));
  console.log(indent(tools.map((tool) => tool.name).join(" ")));

  heading("2. A read runs at once, in every mode");
  await call("mail_search", { from: "Mira", limit: "3" });
  await call("mail_body", { account: "Sample", mailbox: "INBOX", subjectContains: "release notes" });
  await call("contact_find", { query: "an", limit: "3" });
  await call("cal_find", { days: "3" });

  heading("3. A create runs in the mode copilote");
  await call("note_add", { title: "Trip to Lisbon", body: "<ul><li>Tickets</li><li>Rooms</li></ul>" });
  await call("note_read", { name: "lisbon" });
  await call("cal_add", { calendar: "Home", summary: "Pack for Lisbon", days: "1", hour: "18" });
  await call("reminder_add", { name: "Print the tickets", list: "Errands" });
  await call("cal_find", { days: "3", contains: "lisbon" });

  heading("4. A destructive action waits for the owner, with what it would touch");
  const queued = await call("mail_move", { account: "Sample", mailbox: "INBOX", dest: "Archive", from: "Orchard Books" });
  const id = queued.match(/id=([0-9A-F]{8})/)[1];
  console.log("\n  Nothing has happened yet:");
  await call("mail_search", { from: "Orchard Books", mailbox: "INBOX" });

  heading("5. The owner looks at the queue and lets it run (--yes, since nobody is at a terminal here)");
  owner("pending");
  owner("approve", id, "--yes");
  await call("mail_search", { from: "Orchard Books", mailbox: "Archive" });

  heading("6. A rule of the owner holds from the next call on");
  owner("rule", "add", "--tool", "contact.*", "--decision", "deny", "--yes");
  await call("contact_find", { query: "an" });

  heading("7. An automation: work that runs by itself, and passes the same gate");
  await call("auto_add", { name: "agenda", at: "7:30", command: "tavro run cal.find days=2" });
  await call("auto_run", { name: "agenda" });
  let log = "";
  for (let i = 0; i < 100 && !log.includes("done (exit"); i++) {
    await new Promise((resolve) => setTimeout(resolve, 100));
    log = spawnSync(join(bundle, "tavro"), ["auto", "log", "agenda"], { env, encoding: "utf8" }).stdout;
  }
  await call("auto_log", { name: "agenda" });
  await call("auto_list", {});
  owner("auto", "disable", "agenda");

  heading("8. The audit has a line for every decision, newest first");
  owner("audit");
} finally {
  server.stdin.end();
  rmSync(scratch, { recursive: true, force: true });
}
