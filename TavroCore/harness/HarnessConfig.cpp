#include "TavroCore/harness/HarnessConfig.h"

#include "Platform/Files.h"
#include "Platform/Json.h"
#include "TavroCore/harness/ConfigDir.h"
#include "TavroCore/harness/RecordFields.h"

namespace {

using namespace RecordFields;

std::filesystem::path file() { return ConfigDir::url() / "config.json"; }

std::optional<IMAPArchiveAccount> account(const Json& entry) {
  const auto name = text(entry, "mailAccountName");
  const auto email = text(entry, "email");
  const auto host = text(entry, "host");
  const auto port = integer(entry, "port");
  if (!name || !email || !host || !port) return std::nullopt;
  return IMAPArchiveAccount{*name, *email, *host, *port};
}

/// All accounts or none: one bad entry makes the whole field bad.
std::vector<IMAPArchiveAccount> accounts(const Json& array) {
  std::vector<IMAPArchiveAccount> all;
  if (!array.is_array()) return all;
  for (const Json& entry : array) {
    auto decoded = account(entry);
    if (!decoded) return {};
    all.push_back(std::move(*decoded));
  }
  return all;
}

/// A mode that isn't known is looked up under the boolean that an earlier version wrote.
AutonomyMode mode(const Json& object) {
  if (const auto raw = text(object, "autonomyMode")) {
    if (const auto known = AutonomyModes::fromRawValue(*raw)) return *known;
  }
  return boolean(object, "yoloMode").value_or(false) ? AutonomyMode::yolo : AutonomyMode::copilote;
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
      .imapAccounts = accounts(value(object, "imapAccounts")),
      .dailyMutationCap = integer(object, "dailyMutationCap").value_or(defaults.dailyMutationCap),
      .vendryHome = text(object, "vendryHome"),
      .terminalApp = text(object, "terminalApp"),
      .notifyEmail = text(object, "notifyEmail").value_or(defaults.notifyEmail),
      .notifyIMessageHandle = text(object, "notifyIMessageHandle"),
      .askChannel = text(object, "askChannel").value_or(defaults.askChannel),
      .askCleanup = text(object, "askCleanup").value_or(defaults.askCleanup),
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
