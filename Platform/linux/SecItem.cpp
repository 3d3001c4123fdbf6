// Two places, one keychain. An item goes to the Secret Service where that takes it, else to a file; it is looked for in
// the files first. Both hold one only when the service was locked while an old item was to be replaced, and then the
// file is the newer: an item is stored in the service only after the query was removed from both.
#include "Platform/SecItem.h"

#include <sys/stat.h>
#include <unistd.h>

#include "Platform/Desktop.h"
#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/linux/Keyring.h"
#include "Platform/linux/PlugIn.h"

namespace SecItem {

namespace {

namespace fs = std::filesystem;

// ---- The Secret Service

/// Only a bus that is there: without an address the libraries would start one of their own.
bool hasSessionBus() {
  if (const auto address = Environment::value("DBUS_SESSION_BUS_ADDRESS")) return !address->starts_with("autolaunch:");
  const auto directory = Environment::value("XDG_RUNTIME_DIR");
  struct stat entry {};
  return directory && ::stat((fs::path(*directory) / "bus").c_str(), &entry) == 0 && S_ISSOCK(entry.st_mode) &&
         entry.st_uid == ::geteuid();
}

template <typename Operation, typename... Arguments>
Status ask(const char* operation, Arguments&&... arguments) {
  if (!hasSessionBus()) return Keyring::notAvailable;
  try {
    return reinterpret_cast<Operation*>(PlugIn::function("secrets", operation))(arguments...);
  } catch (const std::exception&) {  // a computer without libsecret has the files
    return Keyring::notAvailable;
  }
}

// ---- The files

bool isPlain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' || c == '-' || c == '_' || c == '@';
}

/// Percent-encoded, capital letters as well, since not every file system tells them from small ones. A name too long
/// for one entry goes on in directories, whose "~" no encoded text has.
void encode(std::string_view text, std::string& name, std::size_t& entry) {
  constexpr std::size_t longestEntry = 180;
  for (const char c : text) {
    if (name.size() - entry > longestEntry) {
      name += "~/~";
      entry = name.size();
    }
    constexpr std::string_view digits = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    const bool wouldHide = c == '.' && name.size() == entry;
    if (isPlain(c) && !wouldHide) {
      name += c;
    } else {
      name.append({'%', digits[byte >> 4U], digits[byte & 15U]});
    }
  }
}

fs::path fileOf(const Query& query) {
  std::string name;
  std::size_t entry = 0;
  encode(query.service, name, entry);
  name += ',';
  encode(query.account, name, entry);
  return Desktop::root() / "keychain" / name;
}

Status addFile(const Query& query, std::string_view secret) {
  const fs::path file = fileOf(query);
  Files::createDirectories(file.parent_path());
  return Files::createNew(file, secret) ? success : duplicateItem;
}

Status readFile(const Query& query, std::string* secret) {
  auto bytes = Files::read(fileOf(query));
  if (!bytes) return itemNotFound;
  if (secret != nullptr) *secret = std::move(*bytes);
  return success;
}

Status removeFile(const Query& query) { return Files::remove(fileOf(query)) ? success : itemNotFound; }

template <typename Work>
Status guarded(const Work& work) noexcept {
  try {
    return work();
  } catch (const std::exception&) {
    return ioFailure;
  }
}

}  // namespace

Status add(const Query& query, std::string_view secret) noexcept {
  return guarded([&] {
    std::string present;  // one that is locked away doesn't hinder: the file will be found before it
    if (copyMatching(query, &present) == success) return duplicateItem;
    const Status status = ask<Keyring::Add>(Keyring::add, query, secret);
    return status == Keyring::notAvailable ? addFile(query, secret) : status;
  });
}

Status remove(const Query& query) noexcept {
  return guarded([&] {
    const Status file = removeFile(query);
    const Status service = ask<Keyring::Remove>(Keyring::remove, query);
    if (service == Keyring::notAvailable || service == itemNotFound) return file;
    return service;
  });
}

Status copyMatching(const Query& query, std::string* secret) noexcept {
  return guarded([&] {
    const Status file = readFile(query, secret);
    if (file != itemNotFound) return file;
    const Status service = ask<Keyring::CopyMatching>(Keyring::copyMatching, query, secret);
    return service == Keyring::notAvailable ? itemNotFound : service;
  });
}

std::optional<std::string> message(Status status) {
  switch (status) {
    case success:
      return "no error";
    case ioFailure:
      return "the keychain's files can't be read or written";
    case duplicateItem:
      return "the keychain has this item already";
    case itemNotFound:
      return "the keychain has no such item";
    case interactionNotAllowed:
      return "the keychain is locked and would have to ask its owner";
    default:
      return std::nullopt;
  }
}

}  // namespace SecItem
