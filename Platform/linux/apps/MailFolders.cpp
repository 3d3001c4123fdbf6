#include "Platform/linux/apps/MailFolders.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>

#include "Platform/Files.h"
#include "Platform/Text.h"
#include "Platform/linux/apps/DesktopApplication.h"
#include "Platform/linux/stores/MaildirName.h"

namespace fs = std::filesystem;
using namespace AppleScript;

namespace MailApplication {

namespace {

// Keywords that mail programs share (IMAP's registry of them, and the flags of Apple's and others' programs).
constexpr std::string_view junkKeyword = "$Junk";
constexpr std::string_view notJunkKeyword = "$NotJunk";
constexpr std::array<std::string_view, 3> colorBits = {"$MailFlagBit0", "$MailFlagBit1", "$MailFlagBit2"};

/// FNV-1a, the same on each run and machine, cut to what a number of the language holds exactly.
std::int64_t numberOf(std::string_view text) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  return static_cast<std::int64_t>(hash >> 12) + 1;
}

/// The end of the header, behind its empty line, in `bytes`; nothing when it isn't there from `from` on.
std::optional<std::size_t> headerEnd(std::string_view bytes, std::size_t from) {
  if (bytes.starts_with("\n") || bytes.starts_with("\r\n")) return 0;
  for (auto at = bytes.find('\n', from); at != std::string_view::npos; at = bytes.find('\n', at + 1)) {
    const auto rest = bytes.substr(at + 1);
    if (rest.starts_with("\n") || rest.starts_with("\r\n")) return at + 1;
  }
  return std::nullopt;
}

std::string headerOf(const fs::path& file) {
  constexpr std::size_t longest = 16U << 20U;  // what goes on longer is no header
  constexpr std::size_t chunk = 64U << 10U;
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw FileFailure("read", file, errno);
  std::string bytes;
  while (stream && bytes.size() < longest) {
    const auto before = bytes.size();
    bytes.resize(before + chunk);
    stream.read(bytes.data() + before, chunk);
    bytes.resize(before + static_cast<std::size_t>(stream.gcount()));
    // The empty line may stand across two chunks.
    if (const auto end = headerEnd(bytes, before < 2 ? 0 : before - 2)) {
      bytes.resize(*end);
      break;
    }
  }
  return bytes;
}

}  // namespace

// ---- Letters.

/// A program that uploads a message adds to its unique name (",U=5"), so the part before that counts.
std::int64_t Letter::id() const { return numberOf(MaildirName::base(summary.entry.unique)); }

std::string Letter::specifier() const { return "message id " + std::to_string(id()) + " of " + folder->specifier(); }

void Letter::isGone() const { throw ScriptError(ErrorNumber::noSuchObject, "Can’t get " + specifier() + "."); }

bool Letter::exists() const { return folder->maildir.find(summary.entry.unique).has_value(); }

/// `work(file)`. Where another program has renamed or moved the file meanwhile, it is looked for again.
template <class Work>
auto Letter::reading(Work work) -> decltype(work(fs::path())) {
  for (int tries = 0; tries < 5; ++tries) {
    try {
      return work(folder->maildir.file(summary.entry));
    } catch (const FileFailure& failure) {
      if (failure.errorNumber() != ENOENT) throw;
    }
    const auto found = folder->maildir.find(summary.entry.unique);
    if (!found) break;
    summary.entry = *found;
  }
  isGone();
}

std::string Letter::headerBytes() { return reading(headerOf); }

std::string Letter::source() {
  return reading([](const fs::path& file) {
    auto bytes = Files::read(file);
    if (!bytes) throw FileFailure("read", file, ENOENT);
    return *std::move(bytes);
  });
}

void Letter::copyTo(const fs::path& newFile) {
  reading([&](const fs::path& file) { Files::copy(file, newFile); });
}

std::string Letter::text() {
  return reading([](const fs::path& file) { return Mime::Message(file).text(); });
}

std::vector<Mime::Attachment> Letter::attachments() {
  return reading([](const fs::path& file) { return Mime::Message(file).attachments(); });
}

std::string Letter::attachmentBytes(std::size_t index) {
  return reading([&](const fs::path& file) { return Mime::Message(file).attachmentBytes(index); });
}

std::vector<Mime::Outgoing::File> Letter::files() {
  return reading([](const fs::path& file) {
    const Mime::Message message(file);
    std::vector<Mime::Outgoing::File> files;
    for (auto& attachment : message.attachments())
      files.push_back({.name = std::move(attachment.name),
                       .type = std::move(attachment.type),
                       .charset = std::move(attachment.charset),
                       .bytes = message.attachmentBytes(files.size())});
    return files;
  });
}

bool Letter::hasKeyword(std::string_view name) const {
  const auto flag = folder->keyword(name);
  return flag && has(*flag);
}

/// What is in the junk mailbox is junk unless it is marked otherwise.
bool Letter::isJunk() const {
  return hasKeyword(junkKeyword) || (folder->place.role == MailboxRole::junk && !hasKeyword(notJunkKeyword));
}

int Letter::flagIndex() const {
  if (!has('F')) return -1;
  int index = 0;
  for (std::size_t bit = 0; bit < colorBits.size(); ++bit)
    if (hasKeyword(colorBits[bit])) index |= 1 << bit;
  return std::min(index, flagColors - 1);
}

void Letter::changeFlags(std::string_view added, std::string_view removed) {
  const auto changed = folder->maildir.changeFlags(summary.entry, added, removed);
  if (!changed) isGone();
  summary.entry = *changed;
}

/// All in one renaming. A keyword that this mailbox has no flag for needn't be removed.
void Letter::changeKeywords(const std::vector<std::string_view>& added, const std::vector<std::string_view>& removed,
                            std::string flags) {
  std::string gone;
  for (const auto name : added) flags += folder->keywordOrNew(name);
  for (const auto name : removed)
    if (const auto flag = folder->keyword(name)) gone += *flag;
  changeFlags(flags, gone);
}

void Letter::setJunk(bool isJunk) {
  if (isJunk)
    changeKeywords({junkKeyword}, {notJunkKeyword}, "");
  else
    changeKeywords({notJunkKeyword}, {junkKeyword}, "");
}

void Letter::setFlagIndex(int index) {
  if (index < 0) return changeFlags("", "F");
  std::vector<std::string_view> set, clear;
  for (std::size_t bit = 0; bit < colorBits.size(); ++bit) (index >> bit & 1 ? set : clear).push_back(colorBits[bit]);
  changeKeywords(set, clear, "F");
}

/// Takes the message to another mailbox. Returns its entry there.
Maildir::Entry Letter::taken(Folder& destination) {
  const auto moved = folder->maildir.moveTo(destination.maildir, summary.entry);
  folder->forget();
  destination.forget();
  if (!moved) isGone();
  return *moved;
}

/// A move to where it is would be counted as one that took it away.
void Letter::moveTo(Folder& destination) {
  if (&destination == folder)
    throw ScriptError(ErrorNumber::handlerFailed, "Can’t move " + specifier() + ". It is in that mailbox already.");
  summary.entry = taken(destination);
  folder = &destination;
}

void Letter::remove(Folder& trash) {
  if (&trash != folder) {
    taken(trash);
    return;
  }
  folder->forget();
  if (!folder->maildir.remove(summary.entry)) isGone();
}

// ---- Folders.

std::string Folder::specifier() const {
  return "mailbox " + DesktopValues::quoted(place.name) + " of account id " +
         DesktopValues::quoted(Text::repairUTF8(place.account));
}

std::shared_ptr<Listing> Folder::listing(const MailIndex& index) {
  if (listing_) return listing_;
  auto fresh = std::make_shared<Listing>();
  for (auto& summary : index.messages(maildir)) fresh->push_back({.summary = std::move(summary), .folder = this});
  return listing_ = std::move(fresh);
}

void Folder::forget() {
  listing_ = nullptr;
  keywords_.clear();
}

std::optional<char> Folder::keyword(std::string_view name) {
  if (const auto known = keywords_.find(name); known != keywords_.end()) return known->second;
  return keywords_[std::string(name)] = maildir.keyword(name);
}

char Folder::keywordOrNew(std::string_view name) {
  const auto flag = maildir.keywordOrNew(name);
  if (!flag)
    throw ScriptError(ErrorNumber::handlerFailed,
                      "Can’t mark a message of " + specifier() + ": all of its 26 keywords are in use.");
  keywords_[std::string(name)] = flag;
  return *flag;
}

}  // namespace MailApplication
