// Mailboxes and their messages as one run of a script knows them.
//
// Scripts read a mailbox in bulk, one property of all messages after the other, and take item i of one list to belong
// to item i of the next. So a mailbox is listed once in a run, and each list comes from that listing, whatever other
// programs do meanwhile. It is listed anew only after the script itself has put a message there or taken one away, or
// asked for new mail. Whether a message is still there is found out when something is done to it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/linux/stores/MailIndex.h"
#include "Platform/linux/stores/MailStore.h"
#include "Platform/linux/stores/MimeCompose.h"
#include "Platform/linux/stores/MimeMessage.h"

namespace MailApplication {

struct Folder;

/// By their numbers, from 0 (red) on. On disk a color is a set of keywords, which other mail programs keep too.
inline constexpr int flagColors = 7;

/// A message of a listing. What is asked of its file and can't be done because it is gone throws ScriptError -1728
/// "Can’t get message id N of mailbox ...".
struct Letter {
  MailSummary summary;
  Folder* folder = nullptr;  // where it is now; it may have been moved since it was listed

  /// The same as long as the message stays in its mailbox; positive.
  std::int64_t id() const;
  std::string specifier() const;
  bool exists() const;

  bool has(char flag) const { return summary.entry.flags.find(flag) != std::string::npos; }
  bool isJunk() const;
  int flagIndex() const;  // 0 to 6; -1 when not flagged

  // All of these read the file.
  std::string headerBytes();
  std::string source();
  void copyTo(const std::filesystem::path& newFile);
  std::string text();
  std::vector<Mime::Attachment> attachments();
  std::string attachmentBytes(std::size_t index);
  std::vector<Mime::Outgoing::File> files();  // the attachments with their bytes

  // Changes; they throw FileFailure as well.
  void changeFlags(std::string_view added, std::string_view removed);
  void setJunk(bool isJunk);
  void setFlagIndex(int index);  // -1 unflags and leaves the color
  /// Throws ScriptError when the message is in `destination` already.
  void moveTo(Folder& destination);
  /// Moves it to `trash`, which is made when there is none; when it is there, removes it for good. Either way it can't
  /// be reached from here any more: deleting a message twice must not remove it for good.
  void remove(Folder& trash);

 private:
  [[noreturn]] void isGone() const;
  Maildir::Entry taken(Folder& destination);
  bool hasKeyword(std::string_view name) const;
  void changeKeywords(const std::vector<std::string_view>& added, const std::vector<std::string_view>& removed,
                      std::string flags);
  template <class Work>
  auto reading(Work work) -> decltype(work(std::filesystem::path()));
};
using Listing = std::vector<Letter>;
using LetterPtr = std::shared_ptr<Letter>;  // keeps the whole listing

struct Folder {
  explicit Folder(MailboxPlace where) : place(std::move(where)), maildir(place.directory) {}

  const MailboxPlace place;
  const Maildir maildir;

  std::string specifier() const;
  /// The messages, newest first. Throws FileFailure when the mailbox can't be read.
  std::shared_ptr<Listing> listing(const MailIndex& index);
  /// Lists anew the next time.
  void forget();

  /// The flag that stands for a keyword here, if one does.
  std::optional<char> keyword(std::string_view name);
  /// Throws ScriptError when the mailbox has no flag left for it.
  char keywordOrNew(std::string_view name);

 private:
  std::shared_ptr<Listing> listing_;
  std::map<std::string, std::optional<char>, std::less<>> keywords_;
};

}  // namespace MailApplication
