// What the module "secrets" does for SecItem.cpp: items of the Secret Service (freedesktop.org), by libsecret. It asks
// the person for nothing: a prompt that the service wants is dismissed, and a locked collection stays locked. Each call
// ends within 5 seconds; a service that let one wait so long is left alone for the next minute.
#pragma once

#include <string_view>

#include "Platform/SecItem.h"

namespace Keyring {

/// The service can't be used for this item as things stand: it is absent, silent, or wants the person first.
inline constexpr SecItem::Status notAvailable = -25291;  // errSecNotAvailable

/// Stores an item in the default collection: success or notAvailable. Looks for no item of that name beforehand.
using Add = SecItem::Status(const SecItem::Query& query, std::string_view secret);
inline constexpr const char* add = "tavroSecretsAdd";

/// Removes the items of every collection: success, itemNotFound, notAvailable, or interactionNotAllowed when one is
/// left.
using Remove = SecItem::Status(const SecItem::Query& query);
inline constexpr const char* remove = "tavroSecretsRemove";

/// As SecItem::copyMatching; interactionNotAllowed when the secret is wanted and locked.
using CopyMatching = SecItem::Status(const SecItem::Query& query, std::string* secret);
inline constexpr const char* copyMatching = "tavroSecretsCopyMatching";

}  // namespace Keyring
