// The person's keychain: small secrets by service and account, generic-password items. On Linux, the Secret Service
// of the session bus where one answers without asking the person for anything, else one owner-only file an item
// under the desktop's keychain/. A secret that either holds is found; the file counts when both do. No call waits for a
// keyring longer than 5 seconds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace SecItem {

/// The keychain's own numbers (OSStatus).
using Status = std::int32_t;
inline constexpr Status success = 0;
inline constexpr Status ioFailure = -36;                 // errSecIO
inline constexpr Status duplicateItem = -25299;          // errSecDuplicateItem
inline constexpr Status itemNotFound = -25300;           // errSecItemNotFound
inline constexpr Status interactionNotAllowed = -25308;  // errSecInteractionNotAllowed

/// Names one item.
struct Query {
  std::string service;
  std::string account;
};

/// Stores a new item; duplicateItem when there is one that can be read. `secret` may hold any bytes.
Status add(const Query& query, std::string_view secret) noexcept;
/// Removes every item of the query; interactionNotAllowed when one is left in a locked keyring.
Status remove(const Query& query) noexcept;
/// Is there an item? With `secret`, its bytes go there; those of a locked one can't (interactionNotAllowed).
Status copyMatching(const Query& query, std::string* secret = nullptr) noexcept;

/// The system's words for a status; nothing when it has none.
std::optional<std::string> message(Status status);

}  // namespace SecItem
