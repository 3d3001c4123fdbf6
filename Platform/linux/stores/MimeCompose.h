// Writes new messages (RFC 5322, MIME).
#pragma once

#include <string>
#include <vector>

#include "Platform/Dates.h"
#include "Platform/linux/stores/MimeAddress.h"

namespace Mime {

struct Outgoing {
  Address from;
  std::vector<Address> to, cc, bcc;
  std::string subject;
  std::string text;  // any line breaks: CR, LF, CRLF
  struct File {
    std::string name;
    std::string type;     // empty: told from the name
    std::string charset;  // of a text whose bytes aren't UTF-8; may be empty
    std::string bytes;
  };
  std::vector<File> attachments;
  std::string messageID;                // without brackets; see newMessageID
  std::string inReplyTo;                // without brackets; may be empty
  std::vector<std::string> references;  // of many only the first and the last ones are written
  Dates::Instant date;
};

/// A Message-ID of the sender's domain that nobody else has, without brackets.
std::string newMessageID(const Address& from);

/// One RFC 5322 message with LF line ends, as a `sendmail -t` reads it; Bcc stays in. No value can add a header or a
/// recipient: line breaks and control characters in one are blanks. Throws Error when the sender or a recipient is no
/// mail address (see isAddress), before anything is written. Text that isn't UTF-8 is repaired.
std::string compose(const Outgoing& message);

}  // namespace Mime
