// Follows the grammar of RFC 3986, appendix A: a text is taken apart at its first ":", "?", "#" and "/", and each part
// has to consist of the characters that may stand in it.
#include "Platform/Url.h"

#include <arpa/inet.h>

#include <algorithm>
#include <string>

namespace {

using std::string_view;

bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }
bool isLetter(char c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isHex(char c) noexcept { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

/// The RFC's "unreserved" and "sub-delims".
bool isPlain(char c) noexcept {
  return isLetter(c) || isDigit(c) || string_view("-._~!$&'()*+,;=").find(c) != string_view::npos;
}

/// Plain characters, escaped ones, and those of `more`.
bool consistsOf(string_view part, string_view more) noexcept {
  for (std::size_t at = 0; at < part.size(); ++at) {
    const char c = part[at];
    if (isPlain(c) || more.find(c) != string_view::npos) continue;
    if (c != '%' || part.size() - at < 3 || !isHex(part[at + 1]) || !isHex(part[at + 2])) return false;
    at += 2;
  }
  return true;
}

/// Takes off the head of `text` up to the first of `marks`.
string_view takeUpTo(string_view& text, string_view marks) noexcept {
  const auto head = text.substr(0, text.find_first_of(marks));
  text.remove_prefix(head.size());
  return head;
}

bool isScheme(string_view text) noexcept {
  return !text.empty() && isLetter(text.front()) && std::all_of(text.begin(), text.end(), [](char c) {
    return isLetter(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
  });
}

/// What stands between the brackets of a host.
bool isAddress(string_view text) noexcept {
  if (text.starts_with('v') || text.starts_with('V')) {
    const auto dot = std::min(text.find('.'), text.size());
    const auto version = text.substr(1, dot - 1);
    const auto rest = text.substr(std::min(dot + 1, text.size()));
    return !version.empty() && std::all_of(version.begin(), version.end(), isHex) && !rest.empty() &&
           std::all_of(rest.begin(), rest.end(), [](char c) { return isPlain(c) || c == ':'; });
  }
  in6_addr ignored{};
  char address[INET6_ADDRSTRLEN] = {};
  if (text.size() >= sizeof address || text.find('\0') != string_view::npos) return false;
  text.copy(address, text.size());
  return inet_pton(AF_INET6, address, &ignored) == 1;
}

bool isAuthority(string_view text) noexcept {
  if (const auto at = text.find('@'); at != string_view::npos) {
    if (!consistsOf(text.substr(0, at), ":")) return false;
    text.remove_prefix(at + 1);
  }
  const auto bracket = text.starts_with('[') ? text.find(']') : 0;
  if (bracket == string_view::npos) return false;
  const auto colon = std::min(text.find(':', bracket), text.size());
  const auto host = text.substr(0, colon);
  const auto port = text.substr(std::min(colon + 1, text.size()));
  if (!std::all_of(port.begin(), port.end(), isDigit)) return false;
  return bracket == 0 ? consistsOf(host, "") : bracket + 1 == host.size() && isAddress(host.substr(1, bracket - 1));
}

}  // namespace

bool Url::isValid(string_view text) noexcept {
  if (text.empty()) return false;
  if (const auto mark = text.find_first_of(":/?#"); mark != string_view::npos && text[mark] == ':') {
    if (!isScheme(text.substr(0, mark))) return false;
    text.remove_prefix(mark + 1);
  }
  if (text.starts_with("//")) {
    text.remove_prefix(2);
    if (!isAuthority(takeUpTo(text, "/?#"))) return false;
  }
  if (!consistsOf(takeUpTo(text, "?#"), "/:@")) return false;
  if (text.starts_with('?')) {
    text.remove_prefix(1);
    if (!consistsOf(takeUpTo(text, "#"), "/:@?")) return false;
  }
  return text.empty() || consistsOf(text.substr(1), "/:@?");  // the fragment, behind its "#"
}
