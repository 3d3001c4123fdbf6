// The parts of a message in a file: where each lies, and what its header says of it. Private to the Mime sources.
//
// One pass over the lines, with a table of the open boundaries, so that no nesting and no number of parts costs more
// than its bytes. (GMime's own parser compares each line that begins with "--" with all open boundaries: 30 MB of
// them in 1,000 multiparts take it 40 seconds, and a million empty parts 1.3 GB.)
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "Platform/linux/stores/MimeSource.h"

namespace Mime {

struct Part : Body {
  static constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

  std::size_t parent = none;        // its place in the list; a parent stands before its parts
  std::string type = "text/plain";  // in small letters
  std::string charset;
  std::string name;          // of the file, on one line
  bool isAttached = false;   // Content-Disposition: attachment
  bool isFlowed = false;     // format=flowed (RFC 3676),
  bool dropsBlanks = false;  // with delsp=yes
  bool isBlank = true;       // nothing but white space in it

  bool isMultipart() const { return type.starts_with("multipart/"); }
};

/// The message's own part first, then those in it in their order, at most `most`. A message in the message isn't
/// looked into; `begin` and `end` tell where it lies. A multipart without any part counts as plain text.
std::vector<Part> parts(const Source& source, std::uint64_t begin, std::uint64_t end, std::size_t most);

}  // namespace Mime
