// What accounts Mail has, and which of them are Gmail's.
#pragma once

#include <string>
#include <vector>

namespace MailAccounts {

struct Info {
  std::string mailAccountName;  // the account's name in Mail, and the record's id
  std::string email;            // the first address; may be empty
  std::string server;           // may be empty

  bool isGmail() const;
};

/// Empty when Mail can't be asked.
std::vector<Info> all();
/// Those that are Gmail's, in the same order.
std::vector<Info> gmail();

}  // namespace MailAccounts
