#include "TavroCore/mail/Keychain.h"

#include "Platform/SecItem.h"
#include "Platform/Text.h"

namespace Keychain {

namespace {

SecItem::Query item(const std::string& account) { return {.service = service, .account = account}; }

}  // namespace

KeychainError KeychainError::unexpectedStatus(std::int32_t status) {
  return KeychainError("keychain error " + std::to_string(status) + ": " +
                       SecItem::message(status).value_or("unknown"));
}

void setPassword(const std::string& password, const std::string& account) {
  SecItem::remove(item(account));
  const SecItem::Status status = SecItem::add(item(account), password);
  if (status != SecItem::success) throw KeychainError::unexpectedStatus(status);
}

std::optional<std::string> password(const std::string& account) {
  std::string secret;
  if (SecItem::copyMatching(item(account), &secret) != SecItem::success) return std::nullopt;
  return Text::decodeUTF8(std::move(secret));
}

bool hasPassword(const std::string& account) { return SecItem::copyMatching(item(account)) == SecItem::success; }

void deletePassword(const std::string& account) { SecItem::remove(item(account)); }

}  // namespace Keychain
