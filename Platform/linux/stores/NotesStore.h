// Notes on disk: notes/<account>/<folder>/<name>.html, one note a file, so that an editor, a browser and
// a synchronizer can work on them beside us.
//
// A note is named by its path below notes/, which stays the same when the note is edited, whatever its
// title becomes. A file is a whole HTML document or a fragment. The line in front, which we write and
// other programs needn't, keeps what a file system forgets when a file is replaced:
//
//   <!-- created 2026-03-14T09:26:53Z --><meta charset="utf-8">
//   <div><b>Groceries</b></div><div>Bread</div>
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Platform/Dates.h"

class NotesStore {
 public:
  /// Where deleted notes wait, a folder of each account.
  static constexpr std::string_view trashFolder = "Recently Deleted";

  explicit NotesStore(std::filesystem::path root);

  // Listings read directories only, never a file. Hidden entries are passed over; what can't be read, or
  // has vanished since it was listed, is empty. Sorted bytewise.

  /// The names of the accounts.
  std::vector<std::string> accounts() const;
  /// The paths of the folders right below an account or a folder.
  std::vector<std::string> folders(const std::string& parent) const;
  /// The paths of the .html and .htm files of a folder.
  std::vector<std::string> notes(const std::string& folder) const;

  bool isFolder(const std::string& path) const;
  bool isNote(const std::string& path) const;

  // A note's parts. All but `name` throw FileFailure when the file is gone or can't be read.

  /// The first line of the text, or the file's name when there is none. Reads the beginning of the file,
  /// and the rest only when the line is longer.
  std::string name(const std::string& note) const;
  /// The HTML of the page's body, as it stands in the file.
  std::string body(const std::string& note) const;
  std::string plaintext(const std::string& note) const;
  std::vector<std::string> pictures(const std::string& note) const;
  Dates::Instant created(const std::string& note) const;
  Dates::Instant modified(const std::string& note) const;

  // Changes: each is seen by other programs as a whole or not at all. Throw FileFailure.

  /// Keeps what stands around the body, and when the note was created. Throws Error, and leaves the file
  /// as it is, when another program has written it since this store gave its body.
  void setBody(const std::string& note, std::string_view html);
  /// A new file, named after the title. Makes the folder when it is missing.
  std::string createNote(const std::string& folder, std::string_view html);
  std::string createFolder(const std::string& parent, std::string_view name);
  /// Moves the note and returns its new path. A file of the same name there stays; the moved one gets
  /// another name.
  std::string moveNote(const std::string& note, const std::string& folder);
  /// Moves the note to its account's trash and returns its new path; from there, removes it for good and
  /// returns nothing.
  std::optional<std::string> removeNote(const std::string& note);
  /// Removes every note of the folder and of those in it, and then the directories that are empty.
  /// Of a symbolic link only the link goes.
  void removeFolder(const std::string& folder);

  /// Where a note goes that nobody said a folder for: the first account, its folder "Notes" or else its
  /// first folder. Neither needs to exist yet.
  std::string defaultAccount() const;
  std::string defaultFolder(const std::string& account) const;

  std::filesystem::path file(const std::string& path) const { return root_ / path; }

 private:
  std::filesystem::path root_;
  mutable std::unordered_map<std::string, std::size_t> seen_;  // by note: a hash of its file as last given or written
};
