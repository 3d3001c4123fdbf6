// Text whose lines the sender's program broke for narrow screens (format=flowed, RFC 3676). Private to the Mime
// sources.
#pragma once

#include <string>
#include <string_view>

namespace Mime {

/// The lines made whole again. A line that ends in a blank goes on in the next one of the same quoting depth;
/// `dropsBlanks` (delsp=yes) says that this blank isn't part of the text.
std::string unwrapped(std::string_view text, bool dropsBlanks);

}  // namespace Mime
