#include "Platform/linux/stores/MimeStructure.h"

#include <gmime/gmime.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>

#include "Platform/Text.h"
#include "Platform/linux/stores/MimeFields.h"
#include "Platform/linux/stores/MimeInit.h"
#include "Platform/linux/stores/MimeText.h"

namespace {

using Mime::Part;
using std::string_view;

// ---- Lines.

struct Line {
  std::uint64_t begin = 0, textEnd = 0, end = 0;  // of its bytes in the file, without and with the break
  string_view head;                               // its first bytes, without the break
};

class LineReader {
 public:
  LineReader(const Mime::Source& source, std::uint64_t begin, std::uint64_t end)
      : source_(source), at_(begin), end_(end), buffer_(64 * 1024, '\0') {
    fill();
    lineEnd_ = Mime::lineEnd(rest_);
  }

  /// False at the end. `line.head` is valid until the next call.
  bool next(Line& line) {
    if (rest_.empty()) fill();
    if (rest_.empty()) return false;
    line.begin = line.end = at_ - rest_.size();
    begun_.clear();
    char last = '\0';
    for (bool isWhole = false; !isWhole && !rest_.empty();) {
      const auto found = rest_.find(lineEnd_);
      isWhole = found != string_view::npos;
      const auto text = rest_.substr(0, found);
      if (!text.empty()) last = text.back();
      line.end += text.size() + (isWhole ? 1 : 0);
      line.textEnd = line.end - (isWhole ? 1 : 0) - (isWhole && last == '\r' ? 1 : 0);
      line.head = head(text, isWhole);
      rest_.remove_prefix(text.size() + (isWhole ? 1 : 0));
      if (!isWhole) fill();
    }
    line.head = line.head.substr(0, line.textEnd - line.begin);
    return true;
  }

 private:
  static constexpr std::size_t longestHead = 8192;

  /// A line that one buffer holds stays where it is; of another the beginning is put together.
  string_view head(string_view text, bool isWhole) {
    if (isWhole && begun_.empty()) return text.substr(0, longestHead);
    begun_ += text.substr(0, longestHead - begun_.size());
    return begun_;
  }

  void fill() {
    const auto size = source_.read(at_, buffer_.data(), std::min<std::uint64_t>(buffer_.size(), end_ - at_));
    at_ += size;
    rest_ = string_view(buffer_).substr(0, size);
  }

  const Mime::Source& source_;
  std::uint64_t at_, end_;  // behind what is in the buffer; behind it all
  std::string buffer_, begun_;
  string_view rest_;
  char lineEnd_ = '\n';
};

// ---- What a part's header says.

struct Unref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
using ContentType = std::unique_ptr<GMimeContentType, Unref>;
using Disposition = std::unique_ptr<GMimeContentDisposition, Unref>;

std::string text(const char* value) { return value ? Mime::onOneLine(Text::repairUTF8(value)) : ""; }

/// Returns the boundary of a multipart.
std::string takeType(Part& part, const std::string& value) {
  if (value.find('/') == std::string::npos) return "";  // "text", of programs older than MIME
  const ContentType type(g_mime_content_type_parse(nullptr, value.c_str()));
  const auto parameter = [&](const char* name) { return text(g_mime_content_type_get_parameter(type.get(), name)); };
  part.type = Mime::asciiLowercase(text(g_mime_content_type_get_media_type(type.get())) + '/' +
                                   text(g_mime_content_type_get_media_subtype(type.get())));
  part.charset = Text::replaceAll(parameter("charset"), "\"", "");
  part.name = parameter("name");
  part.isFlowed = Mime::equalIgnoringAsciiCase(parameter("format"), "flowed");
  part.dropsBlanks = Mime::equalIgnoringAsciiCase(parameter("delsp"), "yes");
  return part.isMultipart() ? parameter("boundary") : "";
}

void takeDisposition(Part& part, const std::string& value) {
  const Disposition disposition(g_mime_content_disposition_parse(nullptr, value.c_str()));
  part.isAttached =
      Mime::equalIgnoringAsciiCase(text(g_mime_content_disposition_get_disposition(disposition.get())), "attachment");
  const auto name = text(g_mime_content_disposition_get_parameter(disposition.get(), "filename"));
  if (!name.empty()) part.name = name;
}

/// Returns the boundary of a multipart.
std::string takeHeader(Part& part, string_view header) {
  std::string type, disposition, encoding;
  Mime::FieldReader reader(header);
  for (Mime::Field field; reader.next(field);) {
    const auto is = [&](string_view name) { return Mime::equalIgnoringAsciiCase(field.name, name); };
    auto* value = is("Content-Type")                ? &type
                  : is("Content-Disposition")       ? &disposition
                  : is("Content-Transfer-Encoding") ? &encoding
                                                    : nullptr;
    if (value && value->empty()) *value = Mime::trimSpace(field.value);
  }
  const auto boundary = takeType(part, type);
  if (!disposition.empty()) takeDisposition(part, disposition);
  part.encoding = Mime::asciiLowercase(encoding.substr(0, encoding.find_first_of(" \t;(")));
  return boundary;
}

// ---- The tree.

class Scanner {
 public:
  Scanner(const Mime::Source& source, std::uint64_t begin, std::uint64_t end, std::size_t most)
      : lines_(source, begin, end), most_(most), textEnd_(begin) {}

  std::vector<Part> scan() {
    startPart(Part::none, textEnd_);
    Line line;
    bool isFirst = true;
    while (lines_.next(line)) {
      const bool isMark = std::exchange(isFirst, false) && Mime::isMailboxMark(line.head);
      if (!isMark && !takeLine(line)) return std::move(parts_);  // that's enough of them
      textEnd_ = line.textEnd;
      lineEnd_ = line.end;
    }
    textEnd_ = std::max(textEnd_, lineEnd_);
    if (isInHeader_) endHeader(textEnd_);
    finishDownTo(0);
    return std::move(parts_);
  }

 private:
  /// A multipart whose boundaries we look for.
  struct Open {
    std::size_t part;
    std::string boundary;
  };

  /// False when a part begins that is one too many.
  bool takeLine(const Line& line) {
    if (line.head.starts_with("--")) {
      if (isInHeader_ && !Mime::fieldName(line.head)) endHeader(line.begin);  // the empty line is missing
      if (const auto open = boundary(line.head)) return takeBoundary(line, *open);
    }
    if (isInHeader_)
      takeHeaderLine(line);
    else if (parts_[current_].isBlank)
      parts_[current_].isBlank = Mime::trimSpace(line.head).empty();
    return true;
  }

  struct Boundary {
    std::size_t open;  // its place in open_
    bool isLast;
  };

  /// The innermost open multipart that the line is a boundary of.
  std::optional<Boundary> boundary(string_view line) const {
    const auto name = Mime::trimSpace(line.substr(2));
    const auto find = [&](string_view text, bool isLast) -> std::optional<Boundary> {
      const auto found = text.empty() ? byBoundary_.end() : byBoundary_.find(std::string(text));
      if (found == byBoundary_.end()) return std::nullopt;
      return Boundary{found->second.back(), isLast};
    };
    const auto found = find(name, false);
    return found || !name.ends_with("--") ? found : find(name.substr(0, name.size() - 2), true);
  }

  bool takeBoundary(const Line& line, Boundary found) {
    if (isInHeader_) endHeader(line.begin);
    finishDownTo(found.open + 1);
    current_ = open_[found.open].part;
    if (!found.isLast) return startPart(current_, line.end);
    close();
    return true;
  }

  bool startPart(std::size_t parent, std::uint64_t begin) {
    if (parts_.size() == most_) return false;
    Part part;
    part.parent = parent;
    part.begin = part.end = begin;
    if (parent != Part::none && parts_[parent].type == "multipart/digest") part.type = "message/rfc822";
    current_ = parts_.size();
    parts_.push_back(std::move(part));
    isInHeader_ = isAtHeaderBegin_ = true;
    keepsField_ = false;
    header_.clear();
    return true;
  }

  void takeHeaderLine(const Line& line) {
    const auto name = Mime::fieldName(line.head);
    if (line.head.empty()) return endHeader(line.end);
    const bool goesOn = line.head.starts_with(' ') || line.head.starts_with('\t');
    if (std::exchange(isAtHeaderBegin_, false) && (!name || goesOn)) {
      endHeader(line.begin);  // there is none
      parts_[current_].isBlank = Mime::trimSpace(line.head).empty();
      return;
    }
    constexpr std::size_t longestHeader = 64 * 1024;
    if (!goesOn) keepsField_ = name && Mime::equalIgnoringAsciiCase(name->substr(0, 8), "content-");
    if (keepsField_ && header_.size() < longestHeader) (header_ += line.head) += '\n';
  }

  void endHeader(std::uint64_t bodyBegin) {
    isInHeader_ = false;
    auto& part = parts_[current_];
    part.begin = part.end = bodyBegin;
    auto name = takeHeader(part, header_);
    if (name.empty()) return;
    byBoundary_[name].push_back(open_.size());
    open_.push_back({current_, std::move(name)});
  }

  /// The part that we are in ends before this line's boundary, and so do the multiparts within that boundary's.
  void finishDownTo(std::size_t open) {
    const auto finish = [&](Part& part) { part.end = std::max(part.begin, textEnd_); };
    finish(parts_[current_]);
    for (; open_.size() > open; close()) finish(parts_[open_.back().part]);
  }

  void close() {
    const auto found = byBoundary_.find(open_.back().boundary);
    found->second.pop_back();
    if (found->second.empty()) byBoundary_.erase(found);
    open_.pop_back();
  }

  LineReader lines_;
  std::size_t most_;
  std::vector<Part> parts_;
  std::vector<Open> open_;
  std::unordered_map<std::string, std::vector<std::size_t>> byBoundary_;  // places in open_
  std::uint64_t textEnd_, lineEnd_ = 0;                                   // of the last line
  // The part that we are in: one with its own body, or a multipart before its first and behind its last boundary.
  std::size_t current_ = 0;
  bool isInHeader_ = true, isAtHeaderBegin_ = true, keepsField_ = false;
  std::string header_;  // its fields that are of interest
};

/// Nothing would be shown of a multipart without parts: broken, or cut off.
void takeEmptyMultipartsForText(std::vector<Part>& parts) {
  std::vector<bool> hasParts(parts.size());
  for (const auto& part : parts)
    if (part.parent != Part::none) hasParts[part.parent] = true;
  for (std::size_t i = 0; i < parts.size(); ++i)
    if (parts[i].isMultipart() && !hasParts[i]) parts[i].type = "text/plain";
}

}  // namespace

std::vector<Mime::Part> Mime::parts(const Source& source, std::uint64_t begin, std::uint64_t end, std::size_t most) {
  initializeGMime();
  auto parts = Scanner(source, begin, end, most).scan();
  takeEmptyMultipartsForText(parts);
  return parts;
}
