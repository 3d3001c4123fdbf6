// A mail account to try the mail tools on, which can't send anything to anybody.
#pragma once

#include <cstddef>
#include <filesystem>

namespace SampleMail {

/// Makes the account in a directory that isn't there yet: a dozen messages of the last weeks, with an attachment, HTML,
/// a thread, a newsletter. Returns how many. Throws FileFailure.
std::size_t add(const std::filesystem::path& account);

}  // namespace SampleMail
