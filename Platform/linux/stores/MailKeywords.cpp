#include "Platform/linux/stores/MailKeywords.h"

#include <algorithm>

#include "Platform/Files.h"
#include "Platform/Text.h"
#include "Platform/linux/stores/MimeText.h"
#include "Platform/linux/stores/StoreLock.h"

namespace fs = std::filesystem;

namespace MailKeywords {

namespace {

using std::string_view;

fs::path file(const fs::path& mailbox) { return mailbox / "dovecot-keywords"; }

bool isName(string_view name) {
  return !name.empty() &&
         std::none_of(name.begin(), name.end(), [](char c) { return (c >= 0 && c <= ' ') || c == 127; });
}

void takeLine(Names& names, string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  const auto blank = line.find(' ');
  if (blank == string_view::npos || !isName(line.substr(blank + 1))) return;
  const auto number = Text::parseInteger(line.substr(0, blank));
  if (!number || *number < 0 || *number >= static_cast<long long>(names.size())) return;
  auto& name = names[static_cast<std::size_t>(*number)];
  if (name.empty()) name = line.substr(blank + 1);
}

Names parse(string_view bytes) {
  Names names;
  while (!bytes.empty()) {
    const auto end = std::min(bytes.find('\n'), bytes.size());
    takeLine(names, bytes.substr(0, end));
    bytes.remove_prefix(std::min(end + 1, bytes.size()));
  }
  return names;
}

std::optional<char> freeLetter(const Names& names, string_view used) {
  for (char letter = 'a'; letter <= 'z'; ++letter)
    if (names[static_cast<std::size_t>(letter - 'a')].empty() && used.find(letter) == string_view::npos) return letter;
  return std::nullopt;
}

}  // namespace

Names read(const fs::path& mailbox) noexcept { return parse(Files::readIfPossible(file(mailbox)).value_or("")); }

std::optional<char> letter(const Names& names, string_view name) {
  if (name.empty()) return std::nullopt;
  for (std::size_t number = 0; number < names.size(); ++number)
    if (Mime::equalIgnoringAsciiCase(names[number], name)) return static_cast<char>('a' + number);
  return std::nullopt;
}

std::optional<char> letterOrNew(const fs::path& mailbox, string_view name, string_view used) {
  if (!isName(name)) return std::nullopt;
  const StoreLock lock(mailbox / ".keywords.lock");
  auto bytes = Files::read(file(mailbox)).value_or("");
  const auto names = parse(bytes);
  if (const auto known = letter(names, name)) return known;
  const auto chosen = freeLetter(names, used);
  if (!chosen) return std::nullopt;
  if (!bytes.empty() && !bytes.ends_with('\n')) bytes += '\n';
  bytes += std::to_string(*chosen - 'a') + " " + std::string(name) + "\n";
  Files::replace(file(mailbox), bytes);
  return chosen;
}

}  // namespace MailKeywords
