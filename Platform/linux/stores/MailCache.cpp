#include "Platform/linux/stores/MailCache.h"

#include <cstring>
#include <type_traits>

namespace MailCache {

namespace {

using std::string_view;

constexpr string_view version = "tavromc1";  // another layout gets another number

/// Finds damage, not forgery: who may write the cache may write the mail.
std::uint64_t checksum(string_view bytes) {
  std::uint64_t sum = bytes.size();
  for (std::uint64_t word = 0; !bytes.empty(); bytes.remove_prefix(std::min(sizeof word, bytes.size()))) {
    word = 0;
    std::memcpy(&word, bytes.data(), std::min(sizeof word, bytes.size()));
    sum = (sum ^ word) * 0x9E37'79B9'7F4A'7C15;
    sum ^= sum >> 29;
  }
  return sum;
}

class Writer {
 public:
  template <typename Number>
  requires std::is_integral_v<Number>
  void put(Number number) { bytes_.append(reinterpret_cast<const char*>(&number), sizeof number); }
  void put(string_view text) {
    put(static_cast<std::uint32_t>(text.size()));
    bytes_ += text;
  }
  std::string& bytes() { return bytes_; }

 private:
  std::string bytes_;
};

/// Gives zeros and empty texts from the first place on where the bytes can't be right.
class Reader {
 public:
  explicit Reader(string_view bytes) : rest_(bytes) {}

  template <typename Number>
  Number number() {
    Number value{};
    const auto bytes = take(sizeof value);
    if (isGood_) std::memcpy(&value, bytes.data(), sizeof value);
    return value;
  }
  string_view text() { return take(number<std::uint32_t>()); }

  bool isGood() const { return isGood_; }
  bool isAtEnd() const { return isGood_ && rest_.empty(); }
  std::size_t left() const { return rest_.size(); }

 private:
  string_view take(std::size_t size) {
    if (size > rest_.size()) isGood_ = false;
    if (!isGood_) return {};
    const auto taken = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return taken;
  }

  string_view rest_;
  bool isGood_ = true;
};

Dates::Instant instant(std::int64_t microseconds) { return Dates::Instant(std::chrono::microseconds(microseconds)); }

void put(Writer& writer, const Record& record) {
  const auto& [stamp, summary] = record;
  writer.put(summary.entry.unique);
  writer.put(stamp.inode);
  writer.put(stamp.size);
  writer.put(stamp.modified);
  writer.put(std::int64_t{summary.received.time_since_epoch().count()});
  writer.put(static_cast<std::uint8_t>(summary.sent.has_value()));
  if (summary.sent) writer.put(std::int64_t{summary.sent->time_since_epoch().count()});
  writer.put(summary.subject);
  writer.put(summary.sender);
  writer.put(summary.messageID);
  writer.put(static_cast<std::uint32_t>(summary.to.size()));
  for (const auto& address : summary.to) writer.put(address);
}

Record record(Reader& reader) {
  Record record;
  auto& [stamp, summary] = record;
  summary.entry.unique = reader.text();
  stamp.inode = reader.number<std::uint64_t>();
  stamp.size = summary.size = reader.number<std::uint64_t>();
  stamp.modified = reader.number<std::int64_t>();
  summary.received = instant(reader.number<std::int64_t>());
  if (reader.number<std::uint8_t>() != 0) summary.sent = instant(reader.number<std::int64_t>());
  summary.subject = reader.text();
  summary.sender = reader.text();
  summary.messageID = reader.text();
  for (auto count = reader.number<std::uint32_t>(); count > 0 && reader.isGood(); --count)
    summary.to.emplace_back(reader.text());
  return record;
}

}  // namespace

std::string encode(string_view mailbox, const std::vector<const Record*>& records) {
  Writer writer;
  writer.bytes() = version;
  writer.put(std::uint64_t{0});
  const auto begin = writer.bytes().size();
  writer.put(mailbox);
  writer.put(static_cast<std::uint32_t>(records.size()));
  for (const auto* record : records) put(writer, *record);
  const auto sum = checksum(string_view(writer.bytes()).substr(begin));
  std::memcpy(writer.bytes().data() + version.size(), &sum, sizeof sum);
  return std::move(writer.bytes());
}

std::vector<Record> decode(string_view mailbox, string_view bytes) {
  if (!bytes.starts_with(version)) return {};
  Reader reader(bytes.substr(version.size()));
  const auto sum = reader.number<std::uint64_t>();
  if (!reader.isGood() || sum != checksum(bytes.substr(bytes.size() - reader.left()))) return {};
  if (reader.text() != mailbox) return {};
  std::vector<Record> records;
  constexpr std::size_t smallest = 60;  // bytes of a record, so that a wrong count can't ask for much memory
  const auto count = reader.number<std::uint32_t>();
  if (count > reader.left() / smallest) return {};
  records.reserve(count);
  while (records.size() < count && reader.isGood()) records.push_back(record(reader));
  if (!reader.isAtEnd()) records.clear();
  return records;
}

}  // namespace MailCache
