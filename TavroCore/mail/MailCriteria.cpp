#include "TavroCore/mail/MailCriteria.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

#include "Platform/Text.h"
#include "TavroCore/mail/MailScripts.h"
#include "TavroCore/scripting/OSAScript.h"

namespace MailCriteria {
namespace {

// In the order of the scripts' items 3 to 13.
constexpr std::array<const char*, 11> keys = {"from",         "to",      "before",  "after",           "olderThan",
                                              "minSize",      "maxSize", "subject", "subjectContains", "status",
                                              "hasAttachment"};

bool isSize(std::string_view key) { return key == "minSize" || key == "maxSize"; }

/// A number of any form that C writes, hexadecimal and "inf" too, with nothing around it.
std::optional<double> readWhole(const std::string& text) {
  if (text.empty() || Text::trim(text).size() != text.size()) return std::nullopt;
  char* end = nullptr;
  const double number = std::strtod(text.c_str(), &end);
  if (end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// Megabytes as the bytes that scripts compare. What is no number fails in the script, which says so.
std::string bytesOfMegabytes(const std::string& key, const std::string& value) {
  constexpr double tooLarge = 9223372036854775808.0;  // 2^63
  const auto megabytes = readWhole(value);
  if (!megabytes) return value;
  const double bytes = std::trunc(*megabytes * 1048576);
  if (!(std::fabs(bytes) < tooLarge))
    throw ToolError::badArg(key + " must be a number of megabytes whose bytes fit in 64 bits - got \"" + value + "\"");
  return std::to_string(static_cast<long long>(bytes));
}

}  // namespace

std::vector<std::string> criteriaArgv(const Arguments& args) {
  std::vector<std::string> argv;
  for (const char* key : keys) {
    const std::string& value = argument(args, key);
    argv.push_back(isSize(key) ? bytesOfMegabytes(key, value) : value);
  }
  return argv;
}

std::vector<std::string> criteriaCall(const Arguments& args, const std::string& defaultMailbox) {
  std::vector<std::string> argv = {argument(args, "account"),
                                   args.contains("mailbox") ? argument(args, "mailbox") : defaultMailbox};
  for (std::string& value : criteriaArgv(args)) argv.push_back(std::move(value));
  return argv;
}

void requireFilter(const Arguments& args) {
  const bool any = std::ranges::any_of(keys, [&](const char* key) { return !argument(args, key).empty(); });
  if (!any) throw ToolError::missingArg("at least one filter: " + std::string(filters));
}

void requireSubjectSelector(const Arguments& args) {
  if (argument(args, "subject").empty() && argument(args, "subjectContains").empty())
    throw ToolError::missingArg("subject or subjectContains");
}

std::string attachmentsArg(const Arguments& args) {
  std::vector<std::string> paths;
  for (const std::string& piece : Text::split(argument(args, "attachments"), ',', /*dropEmpty=*/true)) {
    const auto path = Text::trimBlanks(piece);
    if (!path.empty()) paths.emplace_back(path);
  }
  return Text::join(paths, "\n");
}

std::string flagColorIndex(const std::string& color) {
  struct Color {
    const char* name;
    const char* index;
  };
  static constexpr std::array<Color, 8> colors = {{{"red", "0"},
                                                   {"orange", "1"},
                                                   {"yellow", "2"},
                                                   {"green", "3"},
                                                   {"blue", "4"},
                                                   {"purple", "5"},
                                                   {"gray", "6"},
                                                   {"grey", "6"}}};
  const std::string wanted = Text::lowercase(color);
  for (const auto& [name, index] : colors)
    if (wanted == name) return index;
  return "";
}

std::optional<std::string> formatImpact(std::string_view raw, const std::string& suffix) {
  const auto pieces = Text::split(raw, '|', /*dropEmpty=*/true);
  if (pieces.size() != 2) return std::nullopt;
  const auto count = Text::parseInteger(pieces[0]);
  const auto kilobytes = Text::parseInteger(pieces[1]);
  if (!count || !kilobytes) return std::nullopt;
  return fmt::format("{} message(s), {:.1f} MB{}", *count, static_cast<double>(*kilobytes) / 1024, suffix);
}

std::optional<std::string> impact(const Arguments& args, const std::string& defaultMailbox, const std::string& suffix) {
  const auto result = OSAScript::run(MailScripts::countScript, criteriaCall(args, defaultMailbox));
  return result.ok ? formatImpact(result.output, suffix) : std::nullopt;
}

MessageIDs mailMatchingMessageIDs(const std::string& account, const std::string& mailbox, const Arguments& criteria) {
  std::vector<std::string> argv = {account, mailbox};
  for (std::string& value : criteriaArgv(criteria)) argv.push_back(std::move(value));
  const auto result = OSAScript::run(MailScripts::messageIDsScript, argv);
  if (!result.ok) return {.ok = false, .ids = {}, .error = result.error};
  MessageIDs found{.ok = true, .ids = {}, .error = ""};
  for (const std::string& line : Text::split(result.output, '\n')) {
    const auto id = Text::trim(line);
    if (!id.empty()) found.ids.emplace_back(id);
  }
  return found;
}

}  // namespace MailCriteria
