#include "Platform/linux/stores/MimeMessage.h"

#include <algorithm>
#include <utility>

#include "Platform/Text.h"
#include "Platform/linux/stores/HtmlText.h"
#include "Platform/linux/stores/MimeFields.h"
#include "Platform/linux/stores/MimeFlowed.h"
#include "Platform/linux/stores/MimeStructure.h"
#include "Platform/linux/stores/MimeText.h"

namespace {

using Mime::Part;
using Parts = std::vector<Part>;
using std::string_view;

// ---- Which parts are the text. A part stands behind its parent in the list, so one pass backwards and one forwards
// do, however deep the parts lie.

/// How well a part can be read; of alternatives the best one is, and of equal ones the last (the richest).
enum class Reading { none, otherText, html, plain };

bool isPlainOrHtml(const Part& part) { return part.type == "text/plain" || part.type == "text/html"; }

Reading ownReading(const Part& part, bool mayBeNamed) {
  if (part.isAttached || part.isBlank || !part.type.starts_with("text/")) return Reading::none;
  if (!part.name.empty() && !(mayBeNamed && isPlainOrHtml(part))) return Reading::none;
  return part.type == "text/plain" ? Reading::plain : part.type == "text/html" ? Reading::html : Reading::otherText;
}

/// Parts of which one speaks for all: the best alternative, the text that pictures belong to, what was signed.
bool showsOne(const Part& part) {
  return part.type == "multipart/alternative" || part.type == "multipart/related" || part.type == "multipart/signed";
}

class Reader {
 public:
  explicit Reader(const Parts& parts) : parts_(parts) {}

  /// The places of the parts that are the text, in order. Calendars and the like don't stand beside plain text or HTML.
  std::vector<std::size_t> textParts() {
    read(false);
    if (readings_.front() == Reading::none) read(true);
    const auto least = std::max(Reading::otherText, std::min(readings_.front(), Reading::html));
    std::vector<bool> isShown(parts_.size());
    isShown.front() = readings_.front() >= least;
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < parts_.size(); ++i) {
      const auto parent = parts_[i].parent;
      if (parent != Part::none)
        isShown[i] = isShown[parent] && readings_[i] >= least && (!showsOne(parts_[parent]) || best_[parent] == i);
      if (isShown[i] && !parts_[i].isMultipart()) found.push_back(i);
    }
    if (isNamed_ && found.size() > 1) found.erase(found.begin() + 1, found.end());
    return found;
  }

 private:
  /// With `mayBeNamed`, for a mail that is nothing but a text file, its first text counts though it has a name.
  void read(bool mayBeNamed) {
    isNamed_ = mayBeNamed;
    readings_.assign(parts_.size(), Reading::none);
    best_.assign(parts_.size(), Part::none);
    for (auto i = parts_.size(); i-- > 0;) {
      if (!parts_[i].isMultipart()) readings_[i] = ownReading(parts_[i], mayBeNamed);
      if (parts_[i].parent != Part::none) offer(parts_[i].parent, i);
    }
  }

  /// Comes from the last part to the first.
  void offer(std::size_t parent, std::size_t part) {
    if (readings_[part] == Reading::none) return;
    const bool isBetter = parts_[parent].type == "multipart/alternative" ? readings_[part] > readings_[parent] : true;
    if (isBetter && showsOne(parts_[parent])) {
      best_[parent] = part;
      readings_[parent] = readings_[part];
    }
    readings_[parent] = std::max(readings_[parent], readings_[part]);
  }

  const Parts& parts_;
  std::vector<Reading> readings_;
  std::vector<std::size_t> best_;  // of those of which one speaks for all
  bool isNamed_ = false;
};

/// Are these bytes for programs only: a signature, the version of an encryption?
bool isForPrograms(const Parts& parts, const Part& part) {
  const auto parent = part.parent == Part::none ? string_view() : string_view(parts[part.parent].type);
  return (parent == "multipart/signed" && part.type.ends_with("-signature")) ||
         part.type == "application/pgp-encrypted";
}

bool isAttachment(const Parts& parts, const Part& part) {
  if (part.isMultipart() || isForPrograms(parts, part)) return false;
  return part.isAttached || !part.name.empty() || !part.type.starts_with("text/");
}

// ---- The text.

bool isMessage(const Part& part) { return part.type == "message/rfc822" || part.type == "message/global"; }

/// With LF for any line break, without NULs and without white space at the end.
std::string tidied(std::string text) {
  text = Text::replaceAll(Text::replaceAll(text, "\r\n", "\n"), "\r", "\n");
  std::erase(text, '\0');
  text.erase(std::min(text.find_last_not_of(" \t\n") + 1, text.size()));
  return text;
}

std::string decodedText(const Mime::Source& source, const Part& part, std::size_t most, bool& isCut) {
  std::string bytes;
  Mime::decode(source, part, [&](string_view piece) {
    isCut = piece.size() > most - bytes.size();
    bytes += piece.substr(0, most - bytes.size());
    return !isCut;
  });
  auto text = tidied(Mime::toUTF8(std::move(bytes), part.charset));
  if (part.type == "text/html") return tidied(HtmlText::plain(text));
  return part.isFlowed ? tidied(Mime::unwrapped(text, part.dropsBlanks)) : text;
}

/// What a reader is told of the message in a message.
std::string headerText(string_view bytes) {
  std::string text;
  Mime::FieldReader reader(bytes);
  for (Mime::Field field; reader.next(field);)
    for (const string_view shown : {"From", "To", "Date", "Subject"})
      if (Mime::equalIgnoringAsciiCase(field.name, shown))
        text += std::string(shown) + ": " + Mime::onOneLine(Mime::decodedWords(field.value)) + '\n';
  return text;
}

constexpr int deepestMessage = 4;
constexpr std::size_t longestHeader = 64 * 1024;

std::string textOf(const Mime::Source& source, const Parts& parts, int depth);

std::string carriedMessage(const Mime::Source& source, const Part& part, int depth) {
  const auto parts = Mime::parts(source, part.begin, part.end, Mime::Message::mostParts);
  const auto header = headerText(source.read(part.begin, std::min(part.end, part.begin + longestHeader)));
  return tidied(header + '\n' + textOf(source, parts, depth + 1));
}

/// For a message without any text.
std::string substitute(const Mime::Source& source, const Parts& parts, int depth) {
  for (const auto& part : parts) {
    if (part.type == "multipart/encrypted") return "(This message is encrypted with OpenPGP; it isn't decrypted here.)";
    if (part.type == "application/pkcs7-mime" || part.type == "application/x-pkcs7-mime")
      return "(This message is encrypted or sealed with S/MIME; it isn't opened here.)";
    if (isMessage(part) && depth < deepestMessage) return carriedMessage(source, part, depth);
  }
  return "";
}

std::string textOf(const Mime::Source& source, const Parts& parts, int depth) {
  std::string text;
  bool isCut = false;
  for (const auto place : Reader(parts).textParts()) {
    isCut = isCut || text.size() >= Mime::Message::mostText;
    if (isCut) break;
    auto more = decodedText(source, parts[place], Mime::Message::mostText - text.size(), isCut);
    if (!text.empty() && !more.empty()) text += "\n\n";
    text += more;
  }
  if (isCut) text += "\n\n[The text goes on; no more than 16 MiB of it are read.]";
  return text.empty() ? substitute(source, parts, depth) : text;
}

// ---- Attachments.

std::uint64_t decodedSize(const Mime::Source& source, const Part& part) {
  std::uint64_t size = 0;
  Mime::decode(source, part, [&](string_view piece) {
    size += piece.size();
    return true;
  });
  return size;
}

/// A message carries its subject as its name.
std::string nameOf(const Mime::Source& source, const Part& part) {
  if (!part.name.empty() || !isMessage(part)) return part.name;
  const auto subject = Mime::headers(source.read(part.begin, std::min(part.end, part.begin + longestHeader))).subject;
  return subject.empty() ? "" : subject + ".eml";
}

}  // namespace

struct Mime::Message::Parsed {
  explicit Parsed(const std::filesystem::path& file)
      : source(file), parts(Mime::parts(source, 0, source.size(), mostParts)) {
    const auto text = Reader(parts).textParts();
    for (std::size_t i = 0; i < parts.size(); ++i)
      if (isAttachment(parts, parts[i]) && !std::binary_search(text.begin(), text.end(), i)) attachments.push_back(i);
  }

  Source source;
  Parts parts;
  std::vector<std::size_t> attachments;  // places in `parts`
};

Mime::Message::Message(const std::filesystem::path& file) : parsed_(std::make_unique<Parsed>(file)) {}

Mime::Message::~Message() = default;

std::string Mime::Message::text() const { return textOf(parsed_->source, parsed_->parts, 0); }

std::vector<Mime::Attachment> Mime::Message::attachments() const {
  std::vector<Attachment> found;
  for (const auto place : parsed_->attachments) {
    const auto& part = parsed_->parts[place];
    found.push_back({.name = nameOf(parsed_->source, part),
                     .type = part.type,
                     .charset = part.charset,
                     .size = decodedSize(parsed_->source, part)});
  }
  return found;
}

std::string Mime::Message::attachmentBytes(std::size_t index) const {
  std::string bytes;
  if (index < parsed_->attachments.size())
    decode(parsed_->source, parsed_->parts[parsed_->attachments[index]], [&](std::string_view piece) {
      bytes += piece;
      return true;
    });
  return bytes;
}
