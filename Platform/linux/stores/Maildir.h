// One mailbox on disk, a Maildir as Dovecot, mbsync and Postfix keep it (https://cr.yp.to/proto/maildir.html): a
// directory with tmp/, new/ and cur/, one message a file,
//
//   cur/1773480413.M20046P2137.host,S=4711:2,FS
//       `--------------- unique ---------' info
//
// Other programs rename, move and remove files at any time. So a message is known by the unique part of its name, and
// every operation looks the file up again when it isn't where it was. What follows the first comma of the unique part
// may change too, since mbsync adds its ",U=<number>" there; what stands before it tells a message from all others.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Dates.h"

class Maildir {
 public:
  // Flags, in capitals (D draft, F flagged, P passed on, R replied, S seen, T trashed); small letters are keywords,
  // whose names stand in the file `dovecot-keywords`.
  struct Entry {
    std::string unique;
    std::string info;    // what follows it in the file's name, ":2,SF" or nothing
    std::string flags;   // of the info; sorted, each once
    bool isNew = false;  // in new/: no program has shown it yet
  };

  /// Is there a cur/ in it? The other two may be missing: many a tool drops empty directories.
  static bool isMaildir(const std::filesystem::path& directory) noexcept;

  explicit Maildir(std::filesystem::path directory);
  const std::filesystem::path& directory() const { return directory_; }

  /// Makes the directories that are missing. Throws FileFailure.
  void create() const;

  /// Every message, in no order; each once, even when it is renamed while we read. Hidden names and what isn't a file
  /// are passed over. Throws FileFailure when a directory can't be read.
  std::vector<Entry> entries() const;
  /// The message as it is now; nothing when it is gone. Throws as `entries` does.
  std::optional<Entry> find(const std::string& unique) const;
  /// Where the message was when the entry was made. Whoever finds nothing there asks `find`.
  std::filesystem::path file(const Entry& entry) const;

  // Changes. Each finds a renamed file again; nothing (or false) when the message is gone. Throw FileFailure, with
  // EBUSY when other programs rename the message faster than we can follow.

  /// Writes a message as a whole: through tmp/, flushed, then renamed into cur/. Makes the mailbox when it is missing.
  /// Returns the message's entry.
  Entry deliver(std::string_view bytes, std::string_view flags, Dates::Instant received) const;
  /// Adds and removes flags by renaming. A message of new/ goes to cur/.
  std::optional<Entry> changeFlags(const Entry& entry, std::string_view added, std::string_view removed) const;
  /// Moves the message to another mailbox, which is made when it is missing, under a fresh unique name that keeps the
  /// delivery time (mbsync's ",U=" belongs to the old place). Its keywords keep their meaning; those that the
  /// destination has no letter left for are dropped. Onto another file system it is copied, flushed, then removed here.
  std::optional<Entry> moveTo(const Maildir& destination, const Entry& entry) const;
  bool remove(const Entry& entry) const;

  /// The flag letter of a keyword such as "$Junk", whatever its case; nothing when this mailbox has none for it. Reads
  /// `dovecot-keywords` anew.
  std::optional<char> keyword(std::string_view name) const;
  /// As `keyword`; a name without a letter gets the next free one. Nothing when all 26 are taken, or when the name has
  /// a blank or is empty.
  std::optional<char> keywordOrNew(std::string_view name) const;

 private:
  std::filesystem::path directory_;
};
