// Reads messages as people see them (RFC 5322, MIME). Whatever the bytes are, there is an answer: what isn't MIME is
// plain text, a charset that is unknown or wrong costs only its bad bytes, a broken encoding what can't be decoded.
// Nothing is decrypted, and nothing is fetched.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Platform/linux/stores/MimeHeaders.h"

namespace Mime {

struct Attachment {
  std::string name;        // of the file, as the sender wrote it, on one line: never a path to write to; may be empty
  std::string type;        // "application/pdf"
  std::string charset;     // that a text names; may be empty
  std::uint64_t size = 0;  // bytes, decoded
};

/// A message in a file, read where it lies: memory doesn't grow with its attachments, nor with the number of parts
/// beyond `mostParts`, behind which nothing is looked at.
class Message {
 public:
  static constexpr std::size_t mostParts = 16384;
  static constexpr std::size_t mostText = 16 << 20;  // bytes of text, in its own charset; what is beyond is left out

  /// Throws FileFailure when the file is gone, isn't a file, or can't be read.
  explicit Message(const std::filesystem::path& file);
  ~Message();
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;

  /// The text, in UTF-8 with LF and without empty lines at the end: the parts that a reader sees, parted by an empty
  /// line. Of alternatives the plain one counts, HTML only where there is none or it is empty; it is read as text.
  /// Lines that the sender's program wrapped (format=flowed) are whole again. A mail that only carries another one
  /// shows that one, below its From, To, Date and Subject; one that is encrypted says so in a line.
  std::string text() const;
  /// What isn't the text: files, pictures (also those that an HTML text shows), messages. Signatures don't count.
  std::vector<Attachment> attachments() const;
  /// The decoded bytes of an attachment, by its place in `attachments`; empty for any other.
  std::string attachmentBytes(std::size_t index) const;

 private:
  struct Parsed;
  std::unique_ptr<Parsed> parsed_;
};

}  // namespace Mime
