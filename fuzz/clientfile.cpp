// An agent client's configuration of any bytes: what can be entered stays entered, and everything else stays.
#include <unistd.h>

#include <algorithm>
#include <string>

#include "Platform/Environment.h"
#include "Platform/Error.h"
#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Text.h"
#include "TavroCore/automations/MCPConfigWriter.h"
#include "fuzz/Check.h"

namespace {

std::filesystem::path fileOf(std::string_view bytes) {
  static const auto file = Environment::temporaryDirectory() / ("tavro-fuzz-client-" + std::to_string(::getpid()));
  Files::replace(file, bytes);
  return file;
}

/// Entered twice is entered once.
template <typename Merged>
std::string entered(const Merged& merged, std::string_view bytes) {
  const std::string once = merged(fileOf(bytes), "/bin/tavro-mcp", "tavro").after;
  CHECK(merged(fileOf(once), "/bin/tavro-mcp", "tavro").after == once);
  return once;
}

void checkJSON(std::string_view bytes) {
  const auto before = JsonText::parseObject(bytes).value_or(Json::object());
  auto after = *JsonText::parseObject(entered(MCPConfigWriter::mergedJSON, bytes));
  CHECK(after["mcpServers"]["tavro"] == Json({{"command", "/bin/tavro-mcp"}}));
  for (const auto& [key, value] : before.items()) CHECK(key == "mcpServers" || after[key] == value);
}

/// One line goes at most, and what stands around it stays.
void checkTOML(std::string_view bytes) {
  const std::string after = entered(MCPConfigWriter::mergedTOML, bytes);
  CHECK(after.find("[mcp_servers.tavro]") != after.npos);
  CHECK(after.find("command = \"/bin/tavro-mcp\"") != after.npos);
  const auto old = Text::split(bytes, '\n'), now = Text::split(after, '\n');
  const auto [oldEnd, nowEnd] = std::ranges::mismatch(old, now);
  const auto tail = std::min(old.end() - oldEnd, now.end() - nowEnd);
  const auto same = std::mismatch(old.rbegin(), old.rbegin() + tail, now.rbegin()).first - old.rbegin();
  CHECK(old.end() - oldEnd - same <= 1);
}

template <typename Work>
void attempt(const Work& work) {
  try {
    work();
  } catch (const Error&) {  // refused, and kept as it is
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  attempt([&] { checkJSON(bytes); });
  attempt([&] { checkTOML(bytes); });
  return 0;
}
