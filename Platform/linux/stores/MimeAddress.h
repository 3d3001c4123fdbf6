// Mail addresses as they stand in headers, and as people write them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Mime {

struct Address {
  std::string name;     // decoded, on one line; may be empty
  std::string address;  // as written, in UTF-8, without white space; empty when there is only a name
};

/// "Ann Lee <ann@x.example>", or the address alone. A name with marks in it is quoted, so that `addresses` reads the
/// same address back: "Lee, Ann" <ann@x.example>.
std::string display(const Address& address);
/// All of them so, with ", " between.
std::string displayed(const std::vector<Address>& addresses);

/// The addresses of a header's or a person's text, groups flattened. What stands there instead of an address is kept
/// as a name without one, so nothing gets lost unseen.
std::vector<Address> addresses(std::string_view text);

/// Can mail be sent there: local@domain, with nothing in it that would end the address or begin another?
bool isAddress(std::string_view address);

}  // namespace Mime
