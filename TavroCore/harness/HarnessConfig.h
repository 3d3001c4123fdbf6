// The owner's settings, config.json in the home. Read afresh at each use; reading can't fail, because
// every field has a default and a bad field costs only itself.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/JsonNames.h"
#include "TavroCore/harness/AutonomyMode.h"

/// "This Mail account is to be archived over this IMAP server."
struct IMAPArchiveAccount {
  std::string mailAccountName;
  std::string email;  // the login, and the record's id
  std::string host;
  long long port = 993;
  bool operator==(const IMAPArchiveAccount&) const = default;
};

struct HarnessConfig {
  AutonomyMode autonomyMode = AutonomyMode::copilote;
  std::vector<IMAPArchiveAccount> imapAccounts = {};
  long long dailyMutationCap = 100;
  std::optional<std::string> vendryHome = std::nullopt;  // carried through; nothing reads it
  std::optional<std::string> terminalApp = std::nullopt;
  std::string notifyEmail;
  std::optional<std::string> notifyIMessageHandle = std::nullopt;
  std::string askChannel = "mail";
  std::string askCleanup = "archive";

  bool operator==(const HarnessConfig&) const = default;

  static HarnessConfig load() noexcept;
  /// Field by field; an absent or bad field gets its default.
  static HarnessConfig decode(const Json& object);
  OrderedJson encode() const;

  /// Writes config.json in place, so that a link to it stays a link. A failure is dropped.
  void save() const noexcept;
  /// As `save`, for the owner's programs, which tell of a failure. Throws FileFailure.
  void saveOrThrow() const;

  enum class AutonomyChange { applied, refusedHumanOnly };
  /// The only road by which an agent's request may change the mode, and it may only lower it. The
  /// change lives in this record until somebody saves it.
  AutonomyChange requestAutonomyFromAgent(AutonomyMode mode);
};
