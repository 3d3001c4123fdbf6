// Reads messages as people see them (RFC 5322, MIME) through GMime, and writes new ones. Whatever the bytes are, there
// is an answer: what isn't MIME is plain text, a charset that is unknown or wrong costs only its bad bytes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Dates.h"

namespace Mime {

struct Address {
  std::string name;  // decoded; may be empty
  std::string address;
};
/// "Ann Lee <ann@x.example>", or the address alone.
std::string display(const Address& address);
/// The addresses of a header's or a person's text, groups flattened.
std::vector<Address> addresses(std::string_view text);

struct Headers {
  std::string subject;  // decoded, white space and control characters as single blanks
  std::string from;     // the From line so
  std::vector<Address> fromAddresses, replyTo, to, cc, bcc;
  std::string messageID;                // without angle brackets
  std::vector<std::string> references;  // References and then In-Reply-To, without brackets, each once
  std::optional<Dates::Instant> date;
  std::optional<Dates::Instant> lastReceived;  // of the topmost Received line: when it got here
};
/// `bytes` is a message or its beginning; what follows the first empty line isn't looked at.
Headers headers(std::string_view bytes);

struct Attachment {
  std::string name;        // of the file; may be empty
  std::string type;        // "application/pdf"
  std::uint64_t size = 0;  // bytes, decoded
};

/// A message in a file, parsed where it lies: memory doesn't grow with its attachments.
class Message {
 public:
  /// Throws FileFailure when the file is gone or can't be read.
  explicit Message(const std::filesystem::path& file);
  ~Message();
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;

  /// The text: the plain parts, or an HTML part as text where there is no plain one. UTF-8 with LF.
  std::string text() const;
  std::vector<Attachment> attachments() const;
  /// The decoded bytes of an attachment, by its place in `attachments`.
  std::string attachmentBytes(std::size_t index) const;

 private:
  struct Parsed;
  Parsed* parsed_;
};

struct Outgoing {
  Address from;
  std::vector<Address> to, cc, bcc;
  std::string subject;
  std::string text;  // any line breaks: CR, LF, CRLF
  struct File {
    std::string name;
    std::string type;  // empty: told from the name and the bytes
    std::string bytes;
  };
  std::vector<File> attachments;
  std::string messageID;  // without brackets; see newMessageID
  std::string inReplyTo;  // without brackets; may be empty
  std::vector<std::string> references;
  Dates::Instant date;
};
/// A Message-ID of the sender's domain that nobody else has, without brackets.
std::string newMessageID(const Address& from);
/// One RFC 5322 message with LF line ends, as a `sendmail -t` reads it; Bcc stays in. No value can add a header.
std::string compose(const Outgoing& message);

}  // namespace Mime
