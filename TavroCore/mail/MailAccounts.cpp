#include "TavroCore/mail/MailAccounts.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "Platform/Text.h"
#include "TavroCore/mail/MailScripts.h"
#include "TavroCore/scripting/OSAScript.h"

namespace MailAccounts {

namespace {

/// The parts of a line at its first two tabs; the third keeps any further ones.
std::vector<std::string_view> fieldsOf(std::string_view line) {
  std::vector<std::string_view> fields;
  for (std::size_t tab; fields.size() < 2 && (tab = line.find('\t')) != line.npos; line.remove_prefix(tab + 1))
    fields.push_back(line.substr(0, tab));
  fields.push_back(line);
  return fields;
}

std::optional<Info> parsed(std::vector<std::string_view> fields) {
  if (fields.size() != 3 || fields[0].empty()) return std::nullopt;
  return Info{std::string(fields[0]), std::string(Text::trim(fields[1])), std::string(Text::trim(fields[2]))};
}

}  // namespace

bool Info::isGmail() const {
  const std::string host = Text::lowercase(server);
  return host.find("imap.gmail.com") != host.npos || host.find("googlemail") != host.npos ||
         Text::lowercase(email).ends_with("@gmail.com");
}

std::vector<Info> all() {
  const auto script = OSAScript::run(MailScripts::mailAccountsInfoScript, {});
  if (!script.ok) return {};
  std::vector<Info> accounts;
  const auto lines = Text::split(script.output, '\n', /*dropEmpty=*/true);
  for (const auto& line : lines) {
    auto fields = fieldsOf(line);
    if (&line == &lines.back()) fields.resize(3);  // its empty fields went when the output was trimmed
    if (auto account = parsed(fields)) accounts.push_back(std::move(*account));
  }
  return accounts;
}

std::vector<Info> gmail() {
  auto accounts = all();
  std::erase_if(accounts, [](const Info& account) { return !account.isGmail(); });
  return accounts;
}

}  // namespace MailAccounts
