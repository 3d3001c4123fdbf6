// The files and the guard over them; CalendarEvents.cpp and CalendarReminders.cpp tell what is in them.
#include "Platform/linux/stores/CalendarStore.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "Platform/Files.h"
#include "Platform/Text.h"
#include "Platform/linux/stores/CalendarItems.h"
#include "Platform/linux/stores/StoreLock.h"

namespace fs = std::filesystem;

namespace {

std::size_t mark(const std::string& bytes) { return std::hash<std::string>()(bytes); }

bool hasItems(const ICalendar::Document& document) {
  return std::any_of(document.calendars.begin(), document.calendars.end(), [](const auto& calendar) {
    return !calendar->components("VEVENT").empty() || !calendar->components("VTODO").empty() ||
           !calendar->components("VJOURNAL").empty();
  });
}

}  // namespace

CalendarStore::CalendarStore(const fs::path& root) : calendars_(root / "calendars"), lists_(root / "reminders") {}

fs::path CalendarStore::file(const Event& event) const {
  return calendars_.root() / event.place.collection / event.place.file;
}

fs::path CalendarStore::file(const Reminder& reminder) const {
  return lists_.root() / reminder.place.collection / reminder.place.file;
}

void CalendarStore::eachFile(const CalendarCollections& folders, const std::string& collection,
                             const std::function<bool(std::string_view)>& isWanted,
                             const std::function<void(const Place&, const ICalendar::Document&)>& take) {
  const auto directory = folders.root() / collection;
  for (const auto& name : Files::listIfPossible(directory)) {
    const auto path = directory / name;
    if (name.front() == '.' || path.extension() != ".ics") continue;
    const auto bytes = Files::readIfPossible(path);
    if (!bytes || !isWanted(*bytes)) continue;
    const auto document = ICalendar::parse(*bytes);
    if (!document) continue;
    seen_[path] = mark(*bytes);
    take({.collection = collection, .file = name, .uid = {}}, *document);
  }
}

/// The bytes of a file that is as it was when we saw it last. Throws.
std::string CalendarStore::unchanged(const fs::path& path) const {
  auto bytes = Files::read(path);
  if (!bytes)
    throw Error("The calendar file " + path.string() + " was removed by another program; nothing was changed.");
  const auto seen = seen_.find(path);
  if (seen == seen_.end() || seen->second != mark(*bytes)) CalendarItems::refuse(path);
  return std::move(*bytes);
}

/// What becomes of the file; empty when nothing is left to keep.
std::string CalendarStore::changed(const fs::path& path, const Change& change) const {
  auto document = ICalendar::parse(unchanged(path));
  if (!document) CalendarItems::refuse(path);
  change(*document);
  return hasItems(*document) ? document->bytes() : "";
}

/// To replace a file needs no leave of the file's own, but who took that away meant this file.
void CalendarStore::requireWritable(const fs::path& path) {
  if (::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0) throw FileFailure("write", path, errno);
}

void CalendarStore::write(const fs::path& path, const std::string& bytes) {
  requireWritable(path);
  if (bytes.empty()) {
    Files::remove(path);
    seen_.erase(path);
  } else if (const auto marked = mark(bytes); seen_[path] != marked) {
    Files::replace(path, bytes);
    seen_[path] = marked;
  }
}

void CalendarStore::write(const fs::path& path, const Change& change) {
  const auto& folders = path.parent_path().parent_path() == calendars_.root() ? calendars_ : lists_;
  const StoreLock lock(folders.lockFile());
  write(path, changed(path, change));
}

/// Puts an item into a file of its own, which defines its zones. The caller may hold the lock; nobody else can want
/// the name.
CalendarStore::Place CalendarStore::create(const CalendarCollections& folders, const std::string& collection,
                                           const Component::Pointer& item, const ICalendar::Document& document) {
  const auto uid = CalendarItems::uidOf(*item);
  Place place{.collection = collection, .file = uid + ".ics", .uid = uid};
  const auto path = folders.root() / collection / place.file;
  zones_.define(*document.calendars.front());
  // What was copied from another file may come with other line ends.
  const auto bytes = Text::replaceAll(Text::replaceAll(document.bytes(), "\r\n", "\n"), "\n", "\r\n");
  if (!Files::createNew(path, bytes)) throw FileFailure("create", path, EEXIST);
  seen_[path] = mark(bytes);
  return place;
}
