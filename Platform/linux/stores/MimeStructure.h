// The parts of a message in a file: where each lies, and what its header says of it. Private to the Mime sources.
//
// One pass over the lines, with a table of the open boundaries, so that no nesting and no number of parts costs more
// than its bytes. (GMime's own parser compares each line that begins with "--" with all open boundaries: 30 MB of
// them in 1,000 multiparts take it 40 seconds, and a million empty parts 1.3 GB.)
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace Mime {

/// A message file, read in pieces.
class Source {
 public:
  /// Throws FileFailure when the file is gone, isn't a file, or can't be read.
  explicit Source(std::filesystem::path file);
  ~Source();
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;

  std::uint64_t size() const { return size_; }
  /// Fewer bytes than asked for at the end only; none when another program cut the file meanwhile.
  std::size_t read(std::uint64_t offset, char* bytes, std::size_t size) const;
  std::string read(std::uint64_t begin, std::uint64_t end) const;

 private:
  std::filesystem::path file_;
  int descriptor_;
  std::uint64_t size_ = 0;
};

struct Part {
  static constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

  std::size_t parent = none;        // its place in the list; a parent stands before its parts
  std::string type = "text/plain";  // in small letters
  std::string charset;
  std::string name;                  // of the file, on one line
  std::string encoding;              // "base64", in small letters
  bool isAttached = false;           // Content-Disposition: attachment
  bool isFlowed = false;             // format=flowed (RFC 3676),
  bool dropsBlanks = false;          // with delsp=yes
  bool isBlank = true;               // nothing but white space in it
  std::uint64_t begin = 0, end = 0;  // the body's bytes in the file

  bool isMultipart() const { return type.starts_with("multipart/"); }
};

/// The message's own part first, then those in it in their order, at most `most`. A message in the message isn't
/// looked into; `begin` and `end` tell where it lies. A multipart without any part counts as plain text.
std::vector<Part> parts(const Source& source, std::uint64_t begin, std::uint64_t end, std::size_t most);

/// Hands out the part's bytes, decoded (base64, quoted-printable, uuencode), until `take` returns false. What isn't in
/// the encoding is passed over.
void decode(const Source& source, const Part& part, const std::function<bool(std::string_view)>& take);

}  // namespace Mime
