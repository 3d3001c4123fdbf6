#include "TavroCore/harness/Tool.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "Platform/Process.h"
#include "Platform/Text.h"

namespace {

constexpr std::array<std::string_view, 3> effectNames = {"read", "create", "destructive"};

}  // namespace

std::string_view rawValue(Effect effect) { return effectNames[static_cast<std::size_t>(effect)]; }

std::optional<Effect> effectFromRawValue(std::string_view text) {
  for (std::size_t i = 0; i < effectNames.size(); ++i) {
    if (effectNames[i] == text) return static_cast<Effect>(i);
  }
  return std::nullopt;
}

ToolError ToolError::missingArg(const std::string& name) { return ToolError("missing required argument: " + name); }

ToolError ToolError::badArg(const std::string& message) { return ToolError(message); }

Script buildScript(const Tool& tool, const Arguments& args) {
  Script script = tool.build(args);
  if (!tool.nativeRun) refuseTooLong(args);
  return script;
}

void refuseTooLong(const Arguments& args) {
  for (const auto& [key, value] : args) {
    if (value.size() <= Process::longestArgument) continue;
    throw ToolError::badArg(
        fmt::format("{} is {} bytes long, and at most {} fit{}", key, value.size(), Process::longestArgument,
                    key == "body" ? "; a longer text can go as a file, where a tool takes attachments" : ""));
  }
}

std::function<Script(const Arguments&)> requiring(std::vector<std::string> keys) {
  return [keys = std::move(keys)](const Arguments& args) {
    for (const auto& key : keys) requiredArgument(args, key);
    return Script{};
  };
}

const std::string& argument(const Arguments& args, const std::string& key) {
  static const std::string absent;
  const auto found = args.find(key);
  return found == args.end() ? absent : found->second;
}

std::optional<std::string> nonEmptyArgument(const Arguments& args, const std::string& key) {
  const std::string& value = argument(args, key);
  return value.empty() ? std::nullopt : std::optional(value);
}

const std::string& requiredArgument(const Arguments& args, const std::string& key) {
  const std::string& value = argument(args, key);
  if (value.empty()) throw ToolError::missingArg(key);
  return value;
}

std::string integerArgument(const Arguments& args, const std::string& key, long long fallback) {
  constexpr long long largest = 536'870'911;  // of the script language's integers
  const long long number = Text::parseInteger(argument(args, key)).value_or(fallback);
  return std::to_string(std::clamp(number, -largest, largest));
}
