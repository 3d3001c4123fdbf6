#include "TavroMCP/Server.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "Platform/Text.h"
#include "TavroCore/harness/HarnessRunner.h"
#include "TavroMCP/Waiting.h"

namespace {

using ShallowJson::Kind;
using ShallowJson::quote;

constexpr std::string_view serverName = "tavro";
constexpr std::string_view serverVersion = "0.1.0";
constexpr std::string_view defaultProtocolVersion = "2025-06-18";
constexpr std::size_t parseErrorExcerpt = 200;  // characters

constexpr int methodNotFound = -32601;
constexpr int invalidParams = -32602;

/// False when nobody reads any more.
bool writeAll(int handle, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = waiting(handle, POLLOUT, [&] { return write(handle, bytes.data(), bytes.size()); });
    if (count < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

/// A tool's name in MCP: its id with "_" for ".".
std::string mcpName(std::string_view toolID) {
  std::string name(toolID);
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
}

std::string toolDescriptors(const std::vector<Tool>& tools) {
  std::string descriptors;
  for (const Tool& tool : tools) {
    if (!descriptors.empty()) descriptors += ',';
    descriptors += fmt::format(
        R"({{"name":{},"description":{},"inputSchema":{{"type":"object","properties":{{}},"additionalProperties":{{"type":"string"}}}}}})",
        quote(mcpName(tool.id)), quote(tool.summary));
  }
  return "[" + descriptors + "]";
}

std::string toolResult(std::string_view text, bool isError) {
  return fmt::format(R"({{"content":[{{"type":"text","text":{}}}],"isError":{}}})", quote(text), isError);
}

std::string pendingText(const HarnessRunner::Pending& pending) {
  std::string text = fmt::format("⏸ Destructive action queued for human approval (id={}).\n", pending.id);
  if (pending.preview) text += fmt::format("Impact: {}\n", *pending.preview);
  return text + "It will NOT run until a human approves it in the Tavro cockpit (menu bar).";
}

std::string toolResult(const HarnessRunner::Result& result) {
  if (const auto* executed = std::get_if<HarnessRunner::Executed>(&result))
    return toolResult(executed->output.empty() ? "✅ ok" : executed->output, false);
  if (const auto* pending = std::get_if<HarnessRunner::Pending>(&result))
    return toolResult(pendingText(*pending), false);
  return toolResult("❌ " + std::get<HarnessRunner::Failed>(result).message, true);
}

// The decimal text of a JSON number. A whole number of any length stays as it was written.
std::string decimalText(const std::string& number) {
  if (number.find_first_of(".eE") == std::string::npos) return number;
  const auto value = Text::parseReal(number);
  return value ? Text::decimal(*value) : number;
}

std::string argumentText(const ShallowJson::Member& member) {
  if (member.kind == Kind::string) return member.text;
  return member.kind == Kind::number ? decimalText(member.json) : member.json;
}

ShallowJson::Object objectMember(const ShallowJson::Object& object, std::string_view key) {
  const ShallowJson::Member* member = ShallowJson::find(object, key, Kind::object);
  return member ? ShallowJson::parse(member->json).value_or(ShallowJson::Object{}) : ShallowJson::Object{};
}

}  // namespace

Arguments stringArgs(const ShallowJson::Object& arguments) {
  Arguments args;
  for (const auto& [key, member] : arguments) args.emplace(key, argumentText(member));
  return args;
}

Server::Server(const std::vector<Tool>& tools, std::filesystem::path configDirURL, int stdoutHandle, int stderrHandle)
    : configDirURL_(std::move(configDirURL)), stdoutHandle_(stdoutHandle), stderrHandle_(stderrHandle) {
  for (const Tool& tool : tools)
    if (!toolsByMCPName_.emplace(mcpName(tool.id), &tool).second)
      throw std::logic_error("two tools share the name " + mcpName(tool.id));
  toolsListResult_ = fmt::format(R"({{"tools":{}}})", toolDescriptors(tools));
}

void Server::logStart() {
  log(fmt::format("started — {} tools, configDir={}", toolsByMCPName_.size(), configDirURL_.string()));
}

void Server::handleLine(std::string line) {
  const std::string repaired = Text::repairUTF8(std::move(line));
  const std::string_view trimmed = Text::trim(repaired);
  if (trimmed.empty()) return;
  const auto request = ShallowJson::parse(trimmed);
  if (!request) return log(fmt::format("parse error: {}", Text::firstCharacters(trimmed, parseErrorExcerpt)));

  const auto idMember = request->find("id");
  if (idMember == request->end()) return;  // a notification: none of them asks for anything
  const std::string& id = idMember->second.json;
  const ShallowJson::Member* methodMember = ShallowJson::find(*request, "method", Kind::string);
  const std::string method = methodMember ? methodMember->text : "<nil>";

  if (method == "initialize") return initialize(id, objectMember(*request, "params"));
  if (method == "notifications/initialized") return;
  if (method == "ping") return reply(id, "{}");
  if (method == "tools/list") return reply(id, toolsListResult_);
  if (method == "tools/call") return handleToolCall(id, objectMember(*request, "params"));
  replyError(id, methodNotFound, "method not found: " + method);
}

void Server::initialize(const std::string& id, const ShallowJson::Object& params) {
  const ShallowJson::Member* version = ShallowJson::find(params, "protocolVersion", Kind::string);
  reply(id,
        fmt::format(
            R"({{"protocolVersion":{},"capabilities":{{"tools":{{}}}},"serverInfo":{{"name":"{}","version":"{}"}}}})",
            quote(version ? std::string_view(version->text) : defaultProtocolVersion), serverName, serverVersion));
}

void Server::handleToolCall(const std::string& id, const ShallowJson::Object& params) {
  const ShallowJson::Member* name = ShallowJson::find(params, "name", Kind::string);
  if (!name) return replyError(id, invalidParams, "missing tool name");
  const auto tool = toolsByMCPName_.find(name->text);
  if (tool == toolsByMCPName_.end()) return reply(id, toolResult("❌ unknown tool: " + name->text, true));
  const Arguments args = stringArgs(objectMember(params, "arguments"));
  reply(id, toolResult(HarnessRunner::run(*tool->second, args, "mcp", configDirURL_)));
}

void Server::reply(const std::string& id, std::string_view result) {
  send(fmt::format(R"({{"jsonrpc":"2.0","id":{},"result":{}}})", id, result));
}

void Server::replyError(const std::string& id, int code, std::string_view message) {
  send(fmt::format(R"({{"jsonrpc":"2.0","id":{},"error":{{"code":{},"message":{}}}}})", id, code, quote(message)));
}

void Server::send(const std::string& response) {
  hasReader_ = writeAll(stdoutHandle_, response) && writeAll(stdoutHandle_, "\n");
}

void Server::log(std::string_view message) { writeAll(stderrHandle_, fmt::format("tavro-mcp: {}\n", message)); }
