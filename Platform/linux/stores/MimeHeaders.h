// What listings and replies need of a message's header (RFC 5322), read without the rest of it. Whatever the bytes
// are, there is an answer: a charset that is unknown or wrong costs only its bad bytes.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Dates.h"
#include "Platform/linux/stores/MimeAddress.h"

namespace Mime {

struct Headers {
  std::string subject;  // decoded, white space and control characters as single blanks
  std::string from;     // the From line so, each of its addresses as `display` has it
  std::vector<Address> fromAddresses, replyTo, to, cc, bcc;
  std::string messageID;                       // without angle brackets, white space and control characters
  std::vector<std::string> references;         // References and then In-Reply-To, each so and once
  std::optional<Dates::Instant> date;          // nothing when it can't be read (see MimeDate.h)
  std::optional<Dates::Instant> lastReceived;  // of the topmost Received line: when it got here
};

/// `bytes` is a message or its beginning; what follows the first empty line isn't looked at, nor an mbox's "From "
/// line before the header. Of a field that stands there twice the first counts. May run on several threads at once;
/// takes some microseconds.
Headers headers(std::string_view bytes);

}  // namespace Mime
