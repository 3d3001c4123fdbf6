#include "Platform/linux/stores/Maildir.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <memory>

#include "Platform/Files.h"
#include "Platform/linux/stores/MailKeywords.h"
#include "Platform/linux/stores/MaildirName.h"

namespace fs = std::filesystem;

namespace {

using std::string_view;
using Entry = Maildir::Entry;

// Other programs may be faster than we are, but not for ever.
constexpr int mostReadings = 5;
constexpr int mostAttempts = 50;

// ---- Reading the directories while others rename in them.

/// A directory that is being listed, and whether anything in it has changed since.
class Listing {
 public:
  explicit Listing(const fs::path& directory)
      : path_(directory), number_(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (number_ < 0 && errno != ENOENT) throw FileFailure("list", path_, errno);
    clock_gettime(CLOCK_REALTIME, &opened_);
    changed_ = changed();
  }
  ~Listing() {
    if (number_ >= 0) ::close(number_);
  }
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;

  bool exists() const { return number_ >= 0; }

  /// Gives the names of the messages. One system call lists many thousands, and nothing is renamed within one.
  template <typename Take>
  void messages(Take take) const {
    constexpr std::size_t size = 1 << 20;
    const std::unique_ptr<char[]> buffer(new char[size]);  // not cleared: most of it stays untouched
    for (ssize_t count = 1; exists() && count > 0;) {
      count = ::getdents64(number_, buffer.get(), size);
      if (count < 0) throw FileFailure("list", path_, errno);
      for (ssize_t at = 0; at < count;) {
        const auto* entry = reinterpret_cast<const dirent64*>(buffer.get() + at);
        if (isMessage(*entry)) take(string_view(entry->d_name));
        at += entry->d_reclen;
      }
    }
  }

  /// A directory's time of change is some milliseconds coarse, so one that changed just before we came tells nothing.
  bool isUnchanged() const {
    constexpr long long coarseness = 20'000'000;
    if (!exists()) return true;
    return changed() == changed_ && nanoseconds(opened_) - changed_ > coarseness;
  }

 private:
  static long long nanoseconds(const timespec& time) { return time.tv_sec * 1'000'000'000LL + time.tv_nsec; }

  long long changed() const {
    struct stat status {};
    return exists() && ::fstat(number_, &status) == 0 ? nanoseconds(status.st_mtim) : 0;
  }

  bool isMessage(const dirent64& entry) const {
    if (string_view(".,:").find(entry.d_name[0]) != string_view::npos) return false;
    if (entry.d_type == DT_REG) return true;
    if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN) return false;
    struct stat status {};
    return ::fstatat(number_, entry.d_name, &status, 0) == 0 && S_ISREG(status.st_mode);
  }

  const fs::path& path_;
  int number_;
  timespec opened_{};
  long long changed_ = 0;
};

/// A name that was read, and in which reading last.
struct Sighting {
  std::string name;
  std::size_t baseSize = 0;
  bool isNew = false;
  int reading = 0;

  string_view base() const { return string_view(name).substr(0, baseSize); }
  string_view unique() const { return MaildirName::split(name).unique; }
  fs::path below(const fs::path& mailbox) const { return mailbox / (isNew ? "new" : "cur") / name; }
};

struct Reading {
  int number = 0;
  bool isQuiet = false;  // nothing changed meanwhile
};

/// One reading of new/ and then cur/, the way that messages go. False when something changed meanwhile, so that a
/// message may have slipped by.
template <typename Wanted>
bool readOnce(const fs::path& mailbox, int reading, const Wanted& wanted, std::vector<Sighting>& sightings) {
  const auto freshPath = mailbox / "new";
  const auto currentPath = mailbox / "cur";
  const Listing fresh(freshPath);
  const Listing current(currentPath);
  if (!current.exists()) throw FileFailure("list", currentPath, ENOENT);
  for (const auto* listing : {&fresh, &current})
    listing->messages([&](string_view name) {
      if (wanted(name))
        sightings.push_back({.name = std::string(name),
                             .baseSize = MaildirName::base(name).size(),
                             .isNew = listing == &fresh,
                             .reading = reading});
    });
  return fresh.isUnchanged() && current.isUnchanged();
}

Entry entryOf(const Sighting& sighting) {
  const auto [unique, info] = MaildirName::split(sighting.name);
  return {.unique = std::string(unique),
          .info = std::string(info),
          .flags = MaildirName::flags(info),
          .isNew = sighting.isNew};
}

/// Of the names that one message, or several of a base, was seen under, those that are still there. One look isn't
/// enough: a message that is renamed between two names' turns shows under both.
std::vector<Sighting> present(std::vector<Sighting> names, const fs::path& mailbox) {
  constexpr int looks = 4;
  for (int look = 0; look < looks; ++look)
    std::erase_if(names, [&](const auto& sighting) { return !Files::exists(sighting.below(mailbox)); });
  return names;
}

/// The entries of the messages that were seen under the names of one base. Usually that is one name.
void settle(std::vector<Sighting> names, const Reading& last, const fs::path& mailbox, std::vector<Entry>& entries) {
  const auto sameName = [](const auto& a, const auto& b) { return a.name == b.name && a.isNew == b.isNew; };
  names.erase(std::unique(names.begin(), names.end(), sameName), names.end());
  const auto latest =
      *std::max_element(names.begin(), names.end(), [](const auto& a, const auto& b) { return a.reading < b.reading; });
  if (names.size() > 1 || latest.reading < last.number) names = present(std::move(names), mailbox);
  // Renamed at each look, or gone: only a reading that nothing disturbed can tell. Whoever opens a message that is gone
  // finds out, but nobody finds one that we kept quiet about.
  if (names.empty() && (!last.isQuiet || latest.reading == last.number)) names = {latest};
  std::stable_sort(names.begin(), names.end(), [](const auto& a, const auto& b) { return a.unique() < b.unique(); });
  for (const auto& name : names)
    if (&name == &names.front() || name.unique() != (&name - 1)->unique()) entries.push_back(entryOf(name));
}

/// By base; a base's names so that equal ones meet, those of cur/ first, each in its last reading first.
bool comesBefore(const Sighting& a, const Sighting& b) {
  if (const auto order = a.base().compare(b.base()); order != 0) return order < 0;
  if (a.isNew != b.isNew) return b.isNew;
  if (a.name != b.name) return a.name < b.name;
  return a.reading > b.reading;
}

/// The messages whose names are wanted. The directories are read until nothing changes meanwhile, `isEnough` says so,
/// or often enough.
template <typename Wanted, typename IsEnough>
std::vector<Entry> readMessages(const fs::path& mailbox, const Wanted& wanted, const IsEnough& isEnough) {
  std::vector<Sighting> sightings;
  Reading last;
  do {
    ++last.number;
    last.isQuiet = readOnce(mailbox, last.number, wanted, sightings);
  } while (!last.isQuiet && !isEnough(sightings) && last.number < mostReadings);
  std::sort(sightings.begin(), sightings.end(), comesBefore);
  std::vector<Entry> entries;
  entries.reserve(sightings.size());
  for (auto begin = sightings.begin(); begin != sightings.end();) {
    const auto end =
        std::find_if(begin, sightings.end(), [&](const auto& next) { return next.base() != begin->base(); });
    settle({std::make_move_iterator(begin), std::make_move_iterator(end)}, last, mailbox, entries);
    begin = end;
  }
  return entries;
}

// ---- Changing one file.

/// Renames, but never over another file. False when `from` isn't there, or when `to` is.
bool renameTo(const fs::path& from, const fs::path& to) {
  if (from == to) return Files::exists(from);
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  int failure = errno;
  if (failure == EINVAL || failure == ENOSYS) {  // this file system has no such flag
    const bool isLinked = ::link(from.c_str(), to.c_str()) == 0;
    if (isLinked && ::unlink(from.c_str()) == 0) return true;
    failure = errno;
    if (isLinked) ::unlink(to.c_str());  // or the message would be there twice
  }
  if (failure == ENOENT || failure == EEXIST) return false;
  throw FileFailure("rename", from, failure);
}

/// Has `change` done to the message's file, which other programs may rename at any time: `change` says false when it
/// doesn't find the file, and then gets the name that it has now. Returns whether there was such a message.
template <typename Change>
bool follow(const Maildir& mailbox, Entry entry, const Change& change) {
  for (int attempt = 0; attempt < mostAttempts; ++attempt) {
    if (change(entry)) return true;
    auto now = mailbox.find(entry.unique);
    if (!now) return false;
    entry = std::move(*now);
  }
  throw FileFailure("keep up with other programs' changes of", mailbox.file(entry), EBUSY);
}

/// A file in tmp/ that goes unless it was renamed.
class Unfinished {
 public:
  Unfinished(const Maildir& mailbox, const Entry& entry) : path_(mailbox.directory() / "tmp" / entry.unique) {}
  ~Unfinished() { ::unlink(path_.c_str()); }
  Unfinished(const Unfinished&) = delete;
  Unfinished& operator=(const Unfinished&) = delete;

  const fs::path& path() const { return path_; }
  void finish(const fs::path& target) const {
    if (!Files::moveToNewName(path_, target)) throw FileFailure("write", target, EEXIST);
  }

 private:
  fs::path path_;
};

/// The flags with the letters that the destination has for the same keywords.
std::string translated(const std::string& flags, const Maildir& source, const Maildir& destination) {
  std::string kept;
  const auto names = MailKeywords::read(source.directory());
  for (const char flag : flags) {
    if (flag < 'a') {
      kept += flag;
    } else if (const auto& name = names[static_cast<std::size_t>(flag - 'a')]; !name.empty()) {
      if (const auto letter = destination.keywordOrNew(name)) kept += *letter;
    }
  }
  return kept;
}

Entry entryInCur(std::string unique, string_view flags, string_view info = {}) {
  auto sorted = MaildirName::changedFlags(flags, "", "");
  return {.unique = std::move(unique), .info = MaildirName::infoWithFlags(info, sorted), .flags = sorted};
}

/// Copies the file to the other file system, with its permissions and its time. False when it is gone.
bool copyTo(const fs::path& from, const Maildir& destination, const Entry& moved) {
  const Unfinished copy(destination, moved);
  std::error_code ignored;
  const auto time = fs::last_write_time(from, ignored);
  try {
    Files::copy(from, copy.path());
  } catch (const FileFailure&) {
    if (Files::exists(from)) throw;
    return false;
  }
  fs::last_write_time(copy.path(), time, ignored);
  copy.finish(destination.file(moved));
  return true;
}

/// Copies, and removes the original. A copy is taken back whose original stays, because its directory may not be
/// written to, or has meanwhile been taken away by somebody else.
bool carryOver(const Maildir& source, const Entry& entry, const Maildir& destination, const Entry& moved) {
  if (!copyTo(source.file(entry), destination, moved)) return false;
  try {
    if (source.remove(entry)) return true;
  } catch (const FileFailure&) {
    ::unlink(destination.file(moved).c_str());
    throw;
  }
  ::unlink(destination.file(moved).c_str());
  return false;
}

}  // namespace

bool Maildir::isMaildir(const fs::path& directory) noexcept { return Files::isDirectory(directory / "cur"); }

Maildir::Maildir(fs::path directory) : directory_(std::move(directory)) {}

void Maildir::create() const {
  for (const char* part : {"tmp", "new", "cur"}) Files::createDirectories(directory_ / part);
}

std::vector<Entry> Maildir::entries() const {
  return readMessages(
      directory_, [](string_view) { return true; }, [](const auto&) { return false; });
}

std::optional<Entry> Maildir::find(const std::string& unique) const {
  const auto base = MaildirName::base(unique);
  auto found = readMessages(
      directory_, [&](string_view name) { return MaildirName::base(name) == base; },
      [](const auto& sightings) { return !sightings.empty(); });
  for (auto& entry : found)
    if (entry.unique == unique) return std::move(entry);
  // Of several none is surely the one that was meant.
  const bool isSure = found.size() == 1 && MaildirName::mayBeOne(found.front().unique, unique);
  return isSure ? std::optional(std::move(found.front())) : std::nullopt;
}

fs::path Maildir::file(const Entry& entry) const {
  return directory_ / (entry.isNew ? "new" : "cur") / (entry.unique + entry.info);
}

Entry Maildir::deliver(string_view bytes, string_view flags, Dates::Instant received) const {
  create();
  auto entry = entryInCur(MaildirName::fresh(received, ",S=" + std::to_string(bytes.size())), flags);
  const Unfinished file(*this, entry);
  if (!Files::createNew(file.path(), bytes)) throw FileFailure("write", file.path(), EEXIST);
  file.finish(this->file(entry));
  return entry;
}

std::optional<Entry> Maildir::changeFlags(const Entry& entry, string_view added, string_view removed) const {
  Entry changed;
  const bool isThere = follow(*this, entry, [&](const Entry& now) {
    changed = entryInCur(now.unique, MaildirName::changedFlags(now.flags, added, removed), now.info);
    return renameTo(file(now), file(changed));
  });
  return isThere ? std::optional(std::move(changed)) : std::nullopt;
}

std::optional<Entry> Maildir::moveTo(const Maildir& destination, const Entry& entry) const {
  destination.create();
  Entry moved;
  const bool isThere = follow(*this, entry, [&](const Entry& now) {
    if (!Files::exists(file(now))) return false;  // or it would cost the destination keyword letters in vain
    const auto unique = MaildirName::fresh(MaildirName::delivered(now.unique), MaildirName::sizeParameters(now.unique));
    moved = entryInCur(unique, translated(now.flags, *this, destination), now.info);
    try {
      return renameTo(file(now), destination.file(moved));
    } catch (const FileFailure& failure) {
      if (failure.errorNumber() != EXDEV) throw;
      return carryOver(*this, now, destination, moved);
    }
  });
  return isThere ? std::optional(std::move(moved)) : std::nullopt;
}

bool Maildir::remove(const Entry& entry) const {
  return follow(*this, entry, [&](const Entry& now) {
    if (::unlink(file(now).c_str()) == 0) return true;
    if (errno != ENOENT) throw FileFailure("remove", file(now), errno);
    return false;
  });
}

std::optional<char> Maildir::keyword(string_view name) const {
  return MailKeywords::letter(MailKeywords::read(directory_), name);
}

std::optional<char> Maildir::keywordOrNew(string_view name) const {
  const auto names = MailKeywords::read(directory_);
  if (const auto known = MailKeywords::letter(names, name)) return known;
  if (std::none_of(names.begin(), names.end(), [](const auto& one) { return one.empty(); })) return std::nullopt;
  std::string used;  // by messages, though nobody says for what: another program's, or the file was lost
  for (const auto& entry : entries()) used += entry.flags;
  return MailKeywords::letterOrNew(directory_, name, used);
}
