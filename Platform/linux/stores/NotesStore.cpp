#include "Platform/linux/stores/NotesStore.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <functional>

#include "Platform/Files.h"
#include "Platform/Text.h"
#include "Platform/linux/stores/FileNames.h"
#include "Platform/linux/stores/HtmlText.h"
#include "Platform/linux/stores/StoreLock.h"

namespace fs = std::filesystem;

namespace {

using std::string_view;

// ---- The file: our line, then a document or a fragment.

constexpr string_view createdBegin = "<!-- created ";
constexpr string_view createdEnd = " -->";
constexpr string_view charset = "<meta charset=\"utf-8\">";

struct NoteFile {
  std::optional<Dates::Instant> created;
  string_view line;  // ours, with its line feed; may be empty
  string_view head;  // of a document, to the end of <body>
  string_view body;
  string_view tail;  // of a document, from </body>
};

std::string createdLine(Dates::Instant created, string_view marks) {
  return std::string(createdBegin) + Dates::iso8601(created) + std::string(createdEnd) + std::string(marks) + "\n";
}

void takeCreatedLine(NoteFile& file, string_view bytes) {
  constexpr std::size_t longest = 200;
  if (!bytes.starts_with(createdBegin)) return;
  const auto feed = bytes.substr(0, longest).find('\n');
  const auto end = bytes.substr(0, longest).find(createdEnd);
  if (feed == string_view::npos || end > feed) return;
  const auto marks = bytes.substr(end + createdEnd.size(), feed - end - createdEnd.size());
  if (marks != charset && !marks.empty()) return;
  file.created = Dates::parseISO8601(bytes.substr(createdBegin.size(), end - createdBegin.size()));
  if (file.created) file.line = bytes.substr(0, feed + 1);
}

bool startsWithTag(string_view text, string_view tag) {
  return text.size() > tag.size() &&
         std::equal(tag.begin(), tag.end(), text.begin(),
                    [&](char expected, char c) { return c == expected || (c | 0x20) == expected; }) &&
         !std::isalnum(static_cast<unsigned char>(text[tag.size()]));
}

/// Where `<body` or `</body` begins, from `at` on, or npos.
std::size_t findTag(string_view text, string_view tag, std::size_t at = 0) {
  while ((at = text.find('<', at)) != string_view::npos && !startsWithTag(text.substr(at), tag)) ++at;
  return at;
}

NoteFile parse(string_view bytes) {
  NoteFile file;
  takeCreatedLine(file, bytes);
  const auto page = file.body = bytes.substr(file.line.size());
  const auto start = page.substr(std::min(page.find_first_not_of(" \t\r\n"), page.size()));
  if (!startsWithTag(start, "<!doctype") && !startsWithTag(start, "<html")) return file;
  const auto open = findTag(page, "<body");
  const auto begin = open == string_view::npos ? open : page.find('>', open);
  if (begin == string_view::npos) return file;
  const auto end = std::min(findTag(page, "</body", begin), page.size());
  file.head = page.substr(0, begin + 1);
  file.body = page.substr(begin + 1, end - begin - 1);
  file.tail = page.substr(end);
  return file;
}

// ---- Directories and single files.

std::vector<std::string> entries(const fs::path& directory,
                                 const std::function<bool(const fs::directory_entry&)>& wanted) {
  std::vector<std::string> names;
  std::error_code failure;
  // The directory tells the kind of an entry, so this asks the file system nothing more.
  for (fs::directory_iterator at(directory, failure), end; !failure && at != end; at.increment(failure)) {
    auto name = at->path().filename().string();
    if (name.front() != '.' && wanted(*at)) names.push_back(std::move(name));
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool isDirectory(const fs::directory_entry& entry) {
  std::error_code ignored;
  return entry.is_directory(ignored);
}

bool isNoteFile(const fs::directory_entry& entry) {
  std::error_code ignored;
  const auto extension = entry.path().extension();
  return (extension == ".html" || extension == ".htm") && entry.is_regular_file(ignored);
}

std::vector<std::string> below(const std::string& parent, std::vector<std::string> names) {
  for (auto& name : names) name.insert(0, parent + "/");
  return names;
}

std::string readWhole(const fs::path& path) {
  auto bytes = Files::read(path);
  if (!bytes) throw FileFailure("read", path, ENOENT);
  return std::move(*bytes);
}

/// Up to `size` bytes from the file's start; nothing when it can't be read.
std::optional<std::string> readBeginning(const fs::path& path, std::size_t size) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return std::nullopt;
  std::string bytes(size, '\0');
  const auto count = ::read(file, bytes.data(), bytes.size());
  ::close(file);
  if (count < 0) return std::nullopt;
  bytes.resize(static_cast<std::size_t>(count));
  return bytes;
}

Dates::Instant instant(std::int64_t seconds, std::int64_t nanoseconds) {
  return Dates::Instant(std::chrono::seconds(seconds) + std::chrono::microseconds(nanoseconds / 1000));
}

struct Times {
  Dates::Instant born;  // as the file system tells it, else the modification
  Dates::Instant modified;
};

Times times(const fs::path& path) {
  struct statx info = {};
  if (::statx(AT_FDCWD, path.c_str(), 0, STATX_MTIME | STATX_BTIME, &info) != 0)
    throw FileFailure("read the dates of", path, errno);
  const auto modified = instant(info.stx_mtime.tv_sec, info.stx_mtime.tv_nsec);
  const bool knowsBirth = info.stx_mask & STATX_BTIME;
  return {knowsBirth ? std::min(modified, instant(info.stx_btime.tv_sec, info.stx_btime.tv_nsec)) : modified, modified};
}

std::size_t mark(const std::string& bytes) { return std::hash<std::string>()(bytes); }

std::string account(const std::string& path) { return path.substr(0, path.find('/')); }
std::string folderOf(const std::string& note) { return note.substr(0, note.rfind('/')); }

}  // namespace

NotesStore::NotesStore(fs::path root) : root_(std::move(root)) {}

std::vector<std::string> NotesStore::accounts() const { return entries(root_, isDirectory); }

std::vector<std::string> NotesStore::folders(const std::string& parent) const {
  return below(parent, entries(file(parent), isDirectory));
}

std::vector<std::string> NotesStore::notes(const std::string& folder) const {
  return below(folder, entries(file(folder), isNoteFile));
}

bool NotesStore::isFolder(const std::string& path) const { return Files::isDirectory(file(path)); }
bool NotesStore::isNote(const std::string& path) const {
  std::error_code ignored;
  return fs::is_regular_file(file(path), ignored);
}

std::string NotesStore::name(const std::string& note) const {
  constexpr std::size_t enoughForMost = 4096;
  if (auto bytes = readBeginning(file(note), enoughForMost)) {
    const bool isBeginning = bytes->size() == enoughForMost;
    auto title = HtmlText::firstLine(parse(*bytes).body, isBeginning);
    if (!title && isBeginning)
      if (bytes = Files::readIfPossible(file(note)); bytes) title = HtmlText::firstLine(parse(*bytes).body);
    if (title) return *title;
  }
  return Text::repairUTF8(file(note).stem().string());
}

std::string NotesStore::body(const std::string& note) const {
  const auto bytes = readWhole(file(note));
  seen_[note] = mark(bytes);
  return std::string(parse(bytes).body);
}

std::string NotesStore::plaintext(const std::string& note) const {
  const auto bytes = readWhole(file(note));
  return HtmlText::plain(parse(bytes).body);
}

std::vector<std::string> NotesStore::pictures(const std::string& note) const {
  const auto bytes = readWhole(file(note));
  return HtmlText::pictures(parse(bytes).body);
}

Dates::Instant NotesStore::created(const std::string& note) const {
  constexpr std::size_t enoughForTheLine = 256;
  const auto bytes = readBeginning(file(note), enoughForTheLine);
  const auto created = bytes ? parse(*bytes).created : std::nullopt;
  return created ? *created : times(file(note)).born;
}

Dates::Instant NotesStore::modified(const std::string& note) const { return times(file(note)).modified; }

void NotesStore::setBody(const std::string& note, string_view html) {
  const auto path = file(note);
  const StoreLock lock(root_.parent_path() / ".notes.lock");
  const auto bytes = readWhole(path);
  if (const auto seen = seen_.find(note); seen != seen_.end() && seen->second != mark(bytes))
    throw Error("The note file " + path.string() +
                " was changed by another program since it was read; nothing was written to it. Run the script again.");
  const auto old = parse(bytes);
  std::string text(old.line);
  if (text.empty()) text = createdLine(times(path).born, old.head.empty() ? charset : "");
  text.append(old.head).append(html).append(old.tail);
  Files::replace(path, text);
  seen_[note] = mark(text);
}

std::string NotesStore::createNote(const std::string& folder, string_view html) {
  Files::createDirectories(file(folder));
  const auto text = createdLine(Dates::now(), charset) + std::string(html);
  const auto title = HtmlText::firstLine(html).value_or("New Note");
  const auto path = folder + "/" + FileNames::firstFree(title, ".html", [&](const std::string& name) {
                      return Files::createNew(file(folder + "/" + name), text);
                    });
  seen_.erase(path);  // of a note that another program took away
  return path;
}

std::string NotesStore::createFolder(const std::string& parent, string_view name) {
  auto path = parent + "/" + FileNames::safe(name);
  Files::createDirectories(file(path));
  return path;
}

std::string NotesStore::moveNote(const std::string& note, const std::string& folder) {
  if (folder == folderOf(note)) return note;
  seen_.erase(note);  // its name may be another's soon
  const auto from = file(note);
  if (!isNote(note)) throw FileFailure("move", from, ENOENT);
  Files::createDirectories(file(folder));
  return folder + "/" +
         FileNames::firstFree(from.stem().string(), from.extension().string(), [&](const std::string& name) {
           if (Files::moveToNewName(from, file(folder + "/" + name))) return true;
           if (!Files::exists(from)) throw FileFailure("move", from, ENOENT);
           return false;
         });
}

std::optional<std::string> NotesStore::removeNote(const std::string& note) {
  const auto trash = account(note) + "/" + std::string(trashFolder);
  if (folderOf(note) != trash) return moveNote(note, trash);
  seen_.erase(note);
  if (!Files::remove(file(note))) throw FileFailure("remove", file(note), ENOENT);
  return std::nullopt;
}

void NotesStore::removeFolder(const std::string& folder) {
  std::error_code ignored;
  if (!fs::is_symlink(file(folder), ignored)) {  // of a link only the link goes: what it leads to isn't ours to move
    for (const auto& inner : folders(folder)) removeFolder(inner);
    for (const auto& note : notes(folder)) removeNote(note);
  }
  fs::remove(file(folder), ignored);  // one with files of other programs stays
}

std::string NotesStore::defaultAccount() const {
  const auto all = accounts();
  return all.empty() ? "On My Computer" : all.front();
}

std::string NotesStore::defaultFolder(const std::string& account) const {
  auto usual = account + "/Notes";
  const auto all = folders(account);
  if (std::find(all.begin(), all.end(), usual) != all.end()) return usual;
  const auto first = std::find_if(all.begin(), all.end(), [](const auto& folder) {
    return !folder.ends_with(std::string("/") + std::string(trashFolder));
  });
  return first == all.end() ? usual : *first;
}
