#include "Platform/linux/stores/MailStore.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <deque>
#include <set>
#include <utility>

#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Text.h"
#include "Platform/linux/stores/MimeAddress.h"
#include "Platform/linux/stores/ModifiedUtf7.h"

namespace fs = std::filesystem;

namespace {

using std::string_view;

// ---- account.json.

/// None of them when there is no file; nothing when the file holds none.
std::optional<Json> fields(const fs::path& account) {
  const auto file = account / "account.json";
  if (!Files::exists(file)) return Json::object();
  return JsonText::parseObject(Files::readIfPossible(file).value_or(""));
}

Json settings(const fs::path& account) { return fields(account).value_or(Json::object()); }

std::string text(const Json& object, const char* field) {
  const auto found = object.find(field);
  if (found == object.end() || !found->is_string()) return "";
  const auto value = found->get<std::string>();
  return std::string(Text::trim(value));
}

int port(const Json& object) {
  const auto found = object.find("port");
  if (found == object.end() || !found->is_number_integer()) return 0;
  const auto number = found->get<long long>();
  return number > 0 && number <= 65535 ? static_cast<int>(number) : 0;
}

struct Person {
  std::string name;
  std::string address;
};

/// Of "Ann Lee <ann@work.example>", or an address alone.
Person person(string_view text) {
  text = Text::trim(text);
  const auto open = text.rfind('<');
  if (open == string_view::npos || !text.ends_with('>')) return {.name = "", .address = std::string(text)};
  auto name = Text::trim(text.substr(0, open));
  if (name.size() > 1 && name.starts_with('"') && name.ends_with('"')) name = name.substr(1, name.size() - 2);
  return {.name = std::string(name), .address = std::string(Text::trim(text.substr(open + 1, text.size() - open - 2)))};
}

std::vector<Person> people(const Json& object, const std::string& directory) {
  std::vector<Person> people;
  if (const auto found = object.find("emails"); found != object.end())
    for (const auto& value : found->is_array() ? *found : Json::array({*found}))
      if (value.is_string())
        if (auto one = person(value.get<std::string>()); Mime::isAddress(one.address)) people.push_back(std::move(one));
  if (people.empty() && Mime::isAddress(directory)) people.push_back({.name = "", .address = directory});
  return people;
}

MailAccount readAccount(const fs::path& path) {
  const auto readable = fields(path);
  const auto object = readable.value_or(Json::object());
  MailAccount account;
  account.isBroken = !readable;
  account.directory = path.filename().string();
  const auto either = [](const std::string& told, const std::string& other) { return told.empty() ? other : told; };
  account.name = either(text(object, "name"), Text::repairUTF8(account.directory));
  const auto owners = people(object, account.directory);
  for (const auto& owner : owners) account.emails.push_back(owner.address);
  const auto first = owners.empty() ? Person() : owners.front();
  account.fullName = either(text(object, "fullName"), first.name);
  account.userName = either(text(object, "userName"), first.address);
  account.server = text(object, "server");
  account.port = port(object);
  account.send = either(text(object, "send"), std::string(MailStore::defaultSend));
  account.isSample = object.contains("sample") && object["sample"] == true;
  return account;
}

/// As one name below a directory, and no way out of it.
bool isPlainName(string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find_first_of(string_view("/\0", 2)) == string_view::npos;
}

// ---- Names of mailboxes.

/// One line, whatever a server or a disk calls it.
std::string readable(std::string_view name) {
  auto text = ModifiedUtf7::decode(name).value_or(std::string(name));
  for (char& c : text)
    if ((c >= 0 && c < ' ') || c == 127) c = ' ';
  return Text::repairUTF8(std::move(text));
}

/// Of ".Archive.2025": "Archive/2025".
std::string readableMaildirPlusPlus(string_view name) {
  auto parts = Text::split(name.substr(1), '.');
  if (std::any_of(parts.begin(), parts.end(), [](const auto& part) { return part.empty(); })) return readable(name);
  for (auto& part : parts) part = readable(part);
  return Text::join(parts, "/");
}

bool isInbox(string_view name) { return Text::equalIgnoringCase(name, "INBOX"); }

/// The name below `parent`; the inbox has one spelling.
std::string nameBelow(const std::string& parent, const std::string& entry) {
  auto name = entry.front() == '.' ? readableMaildirPlusPlus(entry) : readable(entry);
  if (!parent.empty()) return parent + "/" + name;
  const auto first = std::min(name.find('/'), name.size());
  return isInbox(name.substr(0, first)) ? "INBOX" + name.substr(first) : name;
}

// ---- The walk through an account's directories.

class Walk {
 public:
  explicit Walk(std::string account, const fs::path& root) : account_(std::move(account)) {
    const auto path = root / account_;
    visit({.path = path, .name = "", .depth = 0});
    // Links come last, so that a mailbox is named by the place where it lies.
    while (!links_.empty()) {
      const auto link = std::move(links_.front());
      links_.pop_front();
      visit(link);
    }
  }

  std::vector<MailboxPlace> places() && { return std::move(places_); }

 private:
  struct Directory {
    fs::path path;
    std::string name;
    int depth = 0;
  };

  // A link may lead to the whole disk.
  static constexpr int deepest = 12;
  static constexpr std::size_t mostDirectories = 10'000;

  bool isFirstVisit(const fs::path& path) {
    struct stat status {};
    if (visited_.size() >= mostDirectories || ::stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
      return false;
    return visited_.insert({status.st_dev, status.st_ino}).second;
  }

  void visit(const Directory& directory) {
    if (!isFirstVisit(directory.path)) return;
    const bool isMailbox = Maildir::isMaildir(directory.path);
    if (isMailbox) add(directory);
    if (directory.depth == deepest) return;
    for (const auto& name : Files::listIfPossible(directory.path))
      if (!isMailbox || (name != "cur" && name != "new" && name != "tmp")) enter(directory, name);
  }

  void enter(const Directory& parent, const std::string& name) {
    const auto path = parent.path / name;
    std::error_code ignored;
    const auto kind = fs::symlink_status(path, ignored).type();
    if (kind != fs::file_type::directory && kind != fs::file_type::symlink) return;
    if (name.front() == '.' && !Maildir::isMaildir(path)) return;
    Directory child = {.path = path, .name = nameBelow(parent.name, name), .depth = parent.depth + 1};
    if (kind == fs::file_type::symlink)
      links_.push_back(std::move(child));
    else
      visit(child);
  }

  void add(const Directory& directory) {
    auto name = directory.name.empty() ? std::string("INBOX") : directory.name;
    for (int number = 2; !names_.insert(Text::folded(name)).second; ++number)
      name = directory.name + " " + std::to_string(number);
    places_.push_back({.account = account_, .name = name, .directory = directory.path, .role = std::nullopt});
  }

  std::string account_;
  std::set<std::pair<dev_t, ino_t>> visited_;
  std::set<std::string> names_;  // folded: scripts compare without regard to case
  std::deque<Directory> links_;
  std::vector<MailboxPlace> places_;
};

// ---- Roles.

struct RoleNames {
  MailboxRole role;
  const char* field;                     // of account.json
  std::array<const char*, 6> customary;  // as Mail, Thunderbird, Outlook and Gmail have them; the best first
};
constexpr std::array<RoleNames, 5> roles = {{
    {MailboxRole::inbox, nullptr, {"INBOX"}},
    {MailboxRole::drafts, "drafts", {"Drafts", "Draft", "[Gmail]/Drafts"}},
    {MailboxRole::sent, "sent", {"Sent", "Sent Messages", "Sent Items", "Sent Mail", "[Gmail]/Sent Mail"}},
    {MailboxRole::trash,
     "trash",
     {"Trash", "Deleted Messages", "Deleted Items", "Bin", "[Gmail]/Trash", "[Gmail]/Bin"}},
    {MailboxRole::junk, "junk", {"Junk", "Spam", "Junk E-mail", "[Gmail]/Spam"}},
}};

bool usesMaildirPlusPlus(const fs::path& account, const std::vector<MailboxPlace>& places) {
  return std::any_of(places.begin(), places.end(), [&](const auto& place) {
    return place.directory == account || place.directory.filename().native().front() == '.';
  });
}

/// Where a mailbox of that name lies, once it is there; nothing when the name leads out of the account.
std::optional<fs::path> placeFor(const fs::path& account, const std::string& name, bool inMaildirPlusPlus) {
  if (inMaildirPlusPlus && isInbox(name)) return account;
  fs::path nested;
  std::string flat;
  for (const auto& part : Text::split(name, '/')) {
    if (!isPlainName(part) || part.front() == '.') return std::nullopt;
    nested /= ModifiedUtf7::encode(part);
    flat += "." + ModifiedUtf7::encode(part);
  }
  return account / (inMaildirPlusPlus ? fs::path(flat) : nested);
}

/// What the role's mailbox is called in this account, the surest name first.
std::vector<std::string> namesOf(const RoleNames& role, const Json& object, bool inMaildirPlusPlus) {
  if (role.field)
    if (auto told = text(object, role.field); placeFor("", told, false))
      return {inMaildirPlusPlus ? Text::replaceAll(told, ".", "/") : told};  // there, a dot is a slash
  std::vector<std::string> names;
  for (const char* name : role.customary)
    if (name) names.emplace_back(name);
  return names;
}

void assign(MailboxRole role, const std::vector<std::string>& names, std::vector<MailboxPlace>& places) {
  for (const auto& name : names)
    for (auto& place : places)
      if (!place.role && Text::equalIgnoringCase(place.name, name)) {
        place.role = role;
        return;
      }
}

}  // namespace

MailStore::MailStore(fs::path root) : root_(std::move(root)) {}

std::vector<MailAccount> MailStore::accounts() const {
  std::vector<MailAccount> accounts;
  std::set<std::string> names;
  for (const auto& name : Files::listIfPossible(root_)) {
    const auto path = root_ / name;
    if (name.front() == '.' || !Files::isDirectory(path)) continue;
    if (Files::exists(path / "account.json") || !mailboxes(name).empty()) {
      auto account = readAccount(path);
      const auto told = account.name;
      for (int number = 2; !names.insert(Text::folded(account.name)).second; ++number)
        account.name = told + " " + std::to_string(number);
      accounts.push_back(std::move(account));
    }
  }
  std::stable_partition(accounts.begin(), accounts.end(), [](const MailAccount& account) { return !account.isSample; });
  return accounts;
}

std::vector<MailboxPlace> MailStore::mailboxes(const std::string& account) const {
  if (!isPlainName(account)) return {};
  auto places = Walk(account, root_).places();
  std::sort(places.begin(), places.end(), [](const auto& a, const auto& b) {
    return std::pair(a.name != "INBOX", string_view(a.name)) < std::pair(b.name != "INBOX", string_view(b.name));
  });
  const auto object = settings(root_ / account);
  const bool inMaildirPlusPlus = usesMaildirPlusPlus(root_ / account, places);
  for (const auto& role : roles) assign(role.role, namesOf(role, object, inMaildirPlusPlus), places);
  return places;
}

MailboxPlace MailStore::special(const std::string& account, MailboxRole role) const {
  if (!isPlainName(account)) throw Error("There is no mail account \"" + Text::repairUTF8(account) + "\".");
  const auto places = mailboxes(account);
  for (const auto& place : places)
    if (place.role == role) return place;
  const auto path = root_ / account;
  const auto& row = *std::find_if(roles.begin(), roles.end(), [&](const auto& one) { return one.role == role; });
  const bool inMaildirPlusPlus = usesMaildirPlusPlus(path, places);
  const auto name = namesOf(row, settings(path), inMaildirPlusPlus).front();
  return {.account = account,
          .name = name,
          .directory = placeFor(path, name, inMaildirPlusPlus).value_or(path / name),
          .role = role};
}
