// The names of a Maildir's keywords, in Dovecot's file `dovecot-keywords`: "<number> <name>" a line, number 0 for the
// flag letter a, 25 for z. Each mailbox gives its letters out for itself.
#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace MailKeywords {

/// By letter, from a on; empty for one that isn't given out.
using Names = std::array<std::string, 26>;

/// A file that is missing or can't be read gives out none; a line that isn't of the form is passed over.
Names read(const std::filesystem::path& mailbox) noexcept;

/// The letter of a name, whatever its case.
std::optional<char> letter(const Names& names, std::string_view name);

/// The letter of a name, which gets the first free one if it has none; a letter in `used` isn't free. Nothing when
/// none is left or the name can't stand in the file. Lines that aren't of the form stay as they are. Throws
/// FileFailure.
std::optional<char> letterOrNew(const std::filesystem::path& mailbox, std::string_view name, std::string_view used);

}  // namespace MailKeywords
