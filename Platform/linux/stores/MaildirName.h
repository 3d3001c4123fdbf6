// The names of a Maildir's files: <base>[,<parameter>...][:2,<flags>]. Base and parameters together are what Maildir
// calls the unique part.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Dates.h"

namespace MaildirName {

struct Parts {
  std::string_view unique;
  std::string_view info;  // from the colon on; may be empty
};
Parts split(std::string_view name);

/// What stands before the first comma of a unique part (or of a whole name): no two messages share it, and nobody
/// changes it.
std::string_view base(std::string_view unique);

/// Can these be unique parts that one message had one after the other? Not when mbsync gave them two numbers (",U=").
bool mayBeOne(std::string_view a, std::string_view b);

/// The letters of an info, sorted, each once. An info that doesn't begin with ":2," has none.
std::string flags(std::string_view info);
/// `info` with these flags in place of its own. Whatever another program put behind the letters stays.
std::string infoWithFlags(std::string_view info, const std::string& flags);
/// The letters of `flags` and `added` less those of `removed`; nothing but letters is taken.
std::string changedFlags(std::string_view flags, std::string_view added, std::string_view removed);

/// The time of delivery that a unique part begins with; nothing when it has none.
std::optional<Dates::Instant> delivered(std::string_view unique);

/// A unique part that nobody has had, anywhere. It begins with the time of delivery, if there is one to tell.
std::string fresh(std::optional<Dates::Instant> delivered, std::string_view parameters);
/// The parameters that stay true in another mailbox: the sizes, ",S=4711,W=4800".
std::string sizeParameters(std::string_view unique);

}  // namespace MaildirName
