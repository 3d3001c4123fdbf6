#include "Platform/linux/stores/MailIndex.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <functional>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <unordered_set>

#include "Platform/Files.h"
#include "Platform/linux/stores/MailCache.h"
#include "Platform/linux/stores/MaildirName.h"
#include "Platform/linux/stores/MimeHeaders.h"

namespace fs = std::filesystem;

namespace {

using MailCache::Record;
using std::string_view;

/// A message on its way to the caller.
struct Item : Record {
  bool isThere = false;
  bool isKnown = false;    // its header is read, or was cached
  bool isReadable = true;  // else it is tried again next time
};

// ---- Which messages there are.

void setStamp(Item& item, const struct stat& status) {
  item.stamp = {.inode = status.st_ino,
                .size = static_cast<std::uint64_t>(status.st_size),
                .modified = status.st_mtim.tv_sec * 1'000'000'000LL + status.st_mtim.tv_nsec};
  item.summary.size = item.stamp.size;
}

bool takeStamp(const Maildir& mailbox, Item& item) {
  struct stat status {};
  if (::stat(mailbox.file(item.summary.entry).c_str(), &status) != 0) return false;
  setStamp(item, status);
  return true;
}

/// Gives those that were renamed since they were listed the names of a new listing. Who is renamed again stays without
/// a stamp, and is looked for when it is read.
void renameVanished(const Maildir& mailbox, std::vector<Item>& items) {
  std::unordered_set<std::string> listed;  // by messages that are still there under their names
  for (const auto& item : items)
    if (item.isThere) listed.insert(item.summary.entry.unique);
  std::unordered_map<std::string, Maildir::Entry> entries;
  for (auto& entry : mailbox.entries()) {
    if (listed.contains(entry.unique)) continue;
    auto base = std::string(MaildirName::base(entry.unique));
    entries.insert_or_assign(std::move(base), std::move(entry));
  }
  for (auto& item : items) {
    if (item.isThere) continue;
    const auto found = entries.find(std::string(MaildirName::base(item.summary.entry.unique)));
    if (found == entries.end() || !MaildirName::mayBeOne(found->second.unique, item.summary.entry.unique)) continue;
    item.summary.entry = found->second;
    item.isThere = true;
    takeStamp(mailbox, item);
  }
}

bool isThere(const Item& item) { return item.isThere; }

std::vector<Item> itemsOf(const Maildir& mailbox) {
  std::vector<Item> items;
  for (auto& entry : mailbox.entries()) {
    auto& item = items.emplace_back();
    item.summary.entry = std::move(entry);
    item.isThere = takeStamp(mailbox, item);
  }
  if (!std::all_of(items.begin(), items.end(), isThere)) renameVanished(mailbox, items);
  std::erase_if(items, std::not_fn(isThere));
  std::sort(items.begin(), items.end(),
            [](const Item& a, const Item& b) { return a.summary.entry.unique < b.summary.entry.unique; });
  return items;
}

// ---- What the cache knows of them.

fs::path cacheFile(const fs::path& directory, const std::string& mailbox) {
  std::uint64_t hash = 0xCBF2'9CE4'8422'2325;  // FNV-1a; two mailboxes of one hash would take turns, no more
  for (const unsigned char c : mailbox) hash = (hash ^ c) * 0x100'0000'01B3;
  return directory / fmt::format("{:016x}", hash);
}

/// Both are sorted by unique name.
void takeKnown(std::vector<Item>& items, std::vector<Record> known) {
  auto next = known.begin();
  for (auto& item : items) {
    auto& entry = item.summary.entry;
    while (next != known.end() && next->summary.entry.unique < entry.unique) ++next;
    if (next == known.end() || next->summary.entry.unique != entry.unique || next->stamp != item.stamp) continue;
    next->summary.entry = std::move(entry);
    item.summary = std::move(next->summary);
    item.isKnown = true;
    ++next;
  }
}

/// A few messages are sooner read again than a large cache is written.
bool isWorthWriting(std::size_t read, std::size_t cached, std::size_t all) {
  constexpr std::size_t many = 20;
  return read >= many || (read > 0 && read * many >= all) || cached > 2 * all + many;
}

/// Another process finds the old cache or the new one. It isn't flushed: after a power cut the checksum tells.
void write(const fs::path& target, const std::string& bytes) {
  try {
    Files::createDirectories(target.parent_path());
    const auto part = Files::temporaryName(target.parent_path(), target.filename().native(), "part");
    Files::createNew(part, bytes, 0600, Files::Durability::unflushed);
    if (::rename(part.c_str(), target.c_str()) != 0) ::unlink(part.c_str());
  } catch (const FileFailure&) {  // the next caller takes as long as this one
  }
}

// ---- Reading headers.

/// Is the end of the header in `bytes`? What stands before `from` was looked through already.
bool hasWholeHeader(string_view bytes, std::size_t from) {
  from = from < 3 ? 0 : from - 3;
  return bytes.starts_with("\n") || bytes.starts_with("\r\n") || bytes.find("\n\n", from) != string_view::npos ||
         bytes.find("\n\r\n", from) != string_view::npos;
}

/// The beginning of a file, with the whole header unless that is beyond measure. False leaves the reason in errno.
bool readHeader(const fs::path& path, std::string& bytes, struct stat& status) {
  constexpr std::size_t enoughForMost = 4096;
  constexpr std::size_t most = 2 << 20;
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return false;
  ::fstat(file, &status);
  ssize_t count = 0;
  std::size_t filled = 0;
  std::size_t seen = 0;
  bytes.clear();
  do {
    seen = filled;
    bytes.resize(std::max(2 * filled, enoughForMost));
    count = ::read(file, bytes.data() + filled, bytes.size() - filled);
    if (count > 0) filled += static_cast<std::size_t>(count);
  } while (count > 0 && filled < most && !hasWholeHeader(string_view(bytes).substr(0, filled), seen));
  const int failure = errno;
  ::close(file);
  bytes.resize(filled);
  errno = failure;
  return count >= 0;
}

std::string cut(std::string text) {
  constexpr std::size_t most = 16 << 10;
  if (text.size() <= most) return text;
  auto end = most;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;  // not within a character
  text.resize(end);
  text.shrink_to_fit();
  return text;
}

Dates::Instant modified(const Item& item) {
  return Dates::Instant(std::chrono::microseconds(item.stamp.modified / 1000));
}

void takeHeaders(Item& item, string_view bytes) {
  auto headers = Mime::headers(bytes);
  auto& summary = item.summary;
  summary.received =
      MaildirName::delivered(summary.entry.unique).value_or(headers.lastReceived.value_or(modified(item)));
  summary.sent = headers.date;
  summary.subject = cut(std::move(headers.subject));
  summary.sender = cut(std::move(headers.from));
  summary.messageID = std::move(headers.messageID);
  for (auto& to : headers.to) summary.to.push_back(std::move(to.address));
}

/// Reads the message's header, wherever its file is now.
void read(const Maildir& mailbox, Item& item, std::string& buffer) {
  constexpr int mostAttempts = 20;
  struct stat status {};
  for (int attempt = 0; attempt < mostAttempts; ++attempt) {
    item.isReadable = readHeader(mailbox.file(item.summary.entry), buffer, status);
    if (item.isReadable || errno != ENOENT) break;
    auto now = mailbox.find(item.summary.entry.unique);
    if (!now) return void(item.isThere = false);
    item.summary.entry = std::move(*now);
  }
  if (item.isReadable) setStamp(item, status);
  takeHeaders(item, item.isReadable ? string_view(buffer) : string_view());
}

/// Reads on all processors: the first reading of many thousands of messages keeps somebody waiting.
void readAll(const Maildir& mailbox, const std::vector<Item*>& items) {
  constexpr std::size_t worthAThread = 32;
  constexpr std::size_t mostThreads = 8;
  std::atomic<std::size_t> next = 0;
  const auto work = [&] {
    std::string buffer;
    for (auto at = next++; at < items.size(); at = next++) {
      try {
        read(mailbox, *items[at], buffer);
      } catch (const std::exception&) {
        items[at]->isReadable = false;
        items[at]->summary.received = modified(*items[at]);
      }
    }
  };
  const auto count =
      std::min<std::size_t>({std::thread::hardware_concurrency(), items.size() / worthAThread, mostThreads});
  std::vector<std::jthread> others;
  try {
    for (std::size_t i = 1; i < count; ++i) others.emplace_back(work);
  } catch (const std::system_error&) {  // those that started, and this one, do it all
  }
  work();
}

std::vector<Item*> unknown(std::vector<Item>& items) {
  std::vector<Item*> unknown;
  for (auto& item : items)
    if (!item.isKnown) unknown.push_back(&item);
  return unknown;
}

std::vector<const Record*> worthKeeping(const std::vector<Item>& items) {
  std::vector<const Record*> records;
  for (const auto& item : items)
    if (item.isThere && item.isReadable) records.push_back(&item);
  return records;
}

}  // namespace

MailIndex::MailIndex(fs::path directory) : directory_(std::move(directory)) {}

std::vector<MailSummary> MailIndex::messages(const Maildir& mailbox) const {
  auto items = itemsOf(mailbox);
  const auto path = mailbox.directory().native();
  const auto file = cacheFile(directory_, path);
  auto cached = MailCache::decode(path, Files::readIfPossible(file).value_or(""));
  const auto cachedCount = cached.size();
  takeKnown(items, std::move(cached));
  const auto toRead = unknown(items);
  readAll(mailbox, toRead);
  if (isWorthWriting(toRead.size(), cachedCount, items.size()))
    write(file, MailCache::encode(path, worthKeeping(items)));

  std::erase_if(items, std::not_fn(isThere));  // gone while they were read
  std::vector<MailSummary> messages;
  messages.reserve(items.size());
  for (auto& item : items) messages.push_back(std::move(item.summary));
  std::stable_sort(messages.begin(), messages.end(),
                   [](const auto& a, const auto& b) { return a.received > b.received; });
  return messages;
}
