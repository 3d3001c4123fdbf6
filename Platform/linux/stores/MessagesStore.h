// Messages on disk: ~/Library/Messages/chat.db, a SQLite database with a table of messages and one of handles, the
// phone numbers and mail addresses that they went to and came from. Where a program that fetches messages keeps that
// file, what the owner sends is recorded among the rest, in those columns that its tables have.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// messages/account.json of the desktop: who the owner is, and what carries messages out. Both may be empty.
struct MessagesAccount {
  std::string handle;
  std::string send;  // a shell line

  /// Without the file, neither is known. Throws Error for a file that holds no JSON object, or no texts in it.
  static MessagesAccount read(const std::filesystem::path& file);
};

class MessagesStore {
 public:
  explicit MessagesStore(std::filesystem::path file) : file_(std::move(file)) {}

  /// A phone number or a mail address, as handles are written: "+49 (170) 123-45" is "+4917012345". Nothing for a text
  /// that is neither.
  static std::optional<std::string> handle(std::string_view text);

  /// All that the file knows, the latest first; none when there is no file. Throws Error.
  std::vector<std::string> handles() const;

  /// Records a message of the owner's, and its handle where that is new, both or neither. A file that is missing, or
  /// has no tables yet, is made, for the owner alone. Throws Error that says why the file can't take it.
  void record(const std::string& handle, std::string_view text) const;
  /// Throws as `record` would, but records nothing: for what can't be taken back once it is sent.
  void rehearse(const std::string& handle, std::string_view text) const;

 private:
  std::filesystem::path file_;
};
