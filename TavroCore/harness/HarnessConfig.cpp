#include "TavroCore/harness/HarnessConfig.h"

#include <cmath>
#include <limits>

#include "Platform/Files.h"
#include "Platform/Json.h"
#include "TavroCore/harness/ConfigDir.h"

namespace {

std::filesystem::path file() { return ConfigDir::url() / "config.json"; }

/// The value under `key`, or null.
const Json& at(const Json& object, const char* key) {
  static const Json absent;
  const auto found = object.find(key);
  return found == object.end() ? absent : *found;
}

std::optional<std::string> text(const Json& value) {
  if (!value.is_string()) return std::nullopt;
  return value.get<std::string>();
}

std::optional<bool> boolean(const Json& value) {
  if (!value.is_boolean()) return std::nullopt;
  return value.get<bool>();
}

/// A whole number of 64 bits; one that is written as 5.0 is whole too.
std::optional<long long> integer(const Json& value) {
  if (value.is_number_unsigned()) {
    const auto number = value.get<std::uint64_t>();
    if (number > static_cast<std::uint64_t>(std::numeric_limits<long long>::max())) return std::nullopt;
    return static_cast<long long>(number);
  }
  if (value.is_number_integer()) return value.get<long long>();
  if (!value.is_number_float()) return std::nullopt;
  const double number = value.get<double>();
  const bool fits = number >= -0x1p63 && number < 0x1p63;
  if (!fits || std::trunc(number) != number) return std::nullopt;
  return static_cast<long long>(number);
}

std::optional<IMAPArchiveAccount> account(const Json& value) {
  const auto name = text(at(value, "mailAccountName"));
  const auto email = text(at(value, "email"));
  const auto host = text(at(value, "host"));
  const auto port = integer(at(value, "port"));
  if (!name || !email || !host || !port) return std::nullopt;
  return IMAPArchiveAccount{*name, *email, *host, *port};
}

/// All accounts or none: one bad entry makes the whole field bad.
std::vector<IMAPArchiveAccount> accounts(const Json& value) {
  std::vector<IMAPArchiveAccount> all;
  if (!value.is_array()) return all;
  for (const Json& entry : value) {
    auto decoded = account(entry);
    if (!decoded) return {};
    all.push_back(std::move(*decoded));
  }
  return all;
}

/// A mode that isn't known is looked up under the boolean that an earlier version wrote.
AutonomyMode mode(const Json& object) {
  if (const auto raw = text(at(object, "autonomyMode"))) {
    if (const auto known = AutonomyModes::fromRawValue(*raw)) return *known;
  }
  return boolean(at(object, "yoloMode")).value_or(false) ? AutonomyMode::yolo : AutonomyMode::copilote;
}

OrderedJson encodeAccounts(const std::vector<IMAPArchiveAccount>& accounts) {
  OrderedJson array = OrderedJson::array();
  for (const auto& entry : accounts) {
    array.push_back({{"mailAccountName", entry.mailAccountName},
                     {"email", entry.email},
                     {"host", entry.host},
                     {"port", entry.port}});
  }
  return array;
}

}  // namespace

HarnessConfig HarnessConfig::decode(const Json& object) {
  const HarnessConfig defaults;
  return {
      .autonomyMode = mode(object),
      .imapAccounts = accounts(at(object, "imapAccounts")),
      .dailyMutationCap = integer(at(object, "dailyMutationCap")).value_or(defaults.dailyMutationCap),
      .vendryHome = text(at(object, "vendryHome")),
      .terminalApp = text(at(object, "terminalApp")),
      .notifyEmail = text(at(object, "notifyEmail")).value_or(defaults.notifyEmail),
      .notifyIMessageHandle = text(at(object, "notifyIMessageHandle")),
      .askChannel = text(at(object, "askChannel")).value_or(defaults.askChannel),
      .askCleanup = text(at(object, "askCleanup")).value_or(defaults.askCleanup),
  };
}

HarnessConfig HarnessConfig::load() noexcept try {
  const auto bytes = Files::readIfPossible(file());
  const auto object = bytes ? JsonText::parseObject(*bytes) : std::nullopt;
  return object ? decode(*object) : HarnessConfig{};
} catch (const std::exception&) {
  return {};
}

OrderedJson HarnessConfig::encode() const {
  OrderedJson json;
  json["autonomyMode"] = AutonomyModes::rawValue(autonomyMode);
  json["imapAccounts"] = encodeAccounts(imapAccounts);
  json["dailyMutationCap"] = dailyMutationCap;
  if (vendryHome) json["vendryHome"] = *vendryHome;
  if (terminalApp) json["terminalApp"] = *terminalApp;
  json["notifyEmail"] = notifyEmail;
  if (notifyIMessageHandle) json["notifyIMessageHandle"] = *notifyIMessageHandle;
  json["askChannel"] = askChannel;
  json["askCleanup"] = askCleanup;
  return json;
}

void HarnessConfig::saveOrThrow() const {
  const auto path = file();
  Files::createDirectories(path.parent_path());
  Files::overwrite(path, JsonText::write(encode()));
}

void HarnessConfig::save() const noexcept try { saveOrThrow(); } catch (const std::exception&) {
}

HarnessConfig::AutonomyChange HarnessConfig::requestAutonomyFromAgent(AutonomyMode requested) {
  if (AutonomyModes::rank(requested) > AutonomyModes::rank(autonomyMode)) return AutonomyChange::refusedHumanOnly;
  autonomyMode = requested;
  return AutonomyChange::applied;
}
