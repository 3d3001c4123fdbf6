// The bytes of a message file, read in pieces and decoded. Private to the Mime sources.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

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

/// Where the content of a message or of a part of it lies.
struct Body {
  std::uint64_t begin = 0, end = 0;  // in the file
  std::string encoding;              // "base64", in small letters
};

/// Hands out the bytes, decoded (base64, quoted-printable, uuencode), until `take` returns false. What isn't in the
/// encoding is passed over.
void decode(const Source& source, const Body& body, const std::function<bool(std::string_view)>& take);

}  // namespace Mime
