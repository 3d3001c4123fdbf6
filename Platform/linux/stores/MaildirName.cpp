#include "Platform/linux/stores/MaildirName.h"

#include <fmt/format.h>
#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>

#include "Platform/Uuid.h"

namespace MaildirName {

namespace {

using std::string_view;

constexpr string_view flagsMark = ":2,";

// Older and longer numbers at a name's beginning mean something else (an MH number, nanoseconds).
constexpr long long earliest = 100'000'000;    // 1973
constexpr long long latest = 253'402'300'799;  // 9999

bool isLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The letters behind ":2,".
string_view letters(string_view info) {
  if (!info.starts_with(flagsMark)) return {};
  info.remove_prefix(flagsMark.size());
  return info.substr(0, static_cast<std::size_t>(std::find_if_not(info.begin(), info.end(), isLetter) - info.begin()));
}

std::string sortedLetters(std::string text) {
  std::erase_if(text, [](char c) { return !isLetter(c); });
  std::sort(text.begin(), text.end());
  text.erase(std::unique(text.begin(), text.end()), text.end());
  return text;
}

/// As the last part of a name it must be free of "/", ":" and ",", and leave room for the others.
std::string host() {
  std::array<char, HOST_NAME_MAX + 1> buffer{};
  std::string name = gethostname(buffer.data(), buffer.size() - 1) == 0 ? buffer.data() : "localhost";
  for (char& c : name)
    if (!isLetter(c) && !isDigit(c) && c != '.' && c != '-') c = '_';
  return name;
}

long long seconds(Dates::Instant instant) {
  return std::chrono::floor<std::chrono::seconds>(instant).time_since_epoch().count();
}

}  // namespace

Parts split(string_view name) {
  const auto colon = std::min(name.find(':'), name.size());
  return {name.substr(0, colon), name.substr(colon)};
}

string_view base(string_view unique) {
  std::size_t end = 0;  // by hand: find_first_of asks memchr once a character
  while (end < unique.size() && unique[end] != ',' && unique[end] != ':') ++end;
  return unique.substr(0, end);
}

bool mayBeOne(string_view a, string_view b) {
  const auto number = [](string_view unique) {
    const auto at = unique.find(",U=");
    return at == string_view::npos ? string_view() : unique.substr(at, unique.find(',', at + 1) - at);
  };
  return base(a) == base(b) && (number(a).empty() || number(b).empty() || number(a) == number(b));
}

std::string flags(string_view info) { return sortedLetters(std::string(letters(info))); }

std::string infoWithFlags(string_view info, const std::string& flags) {
  auto changed = std::string(flagsMark) + flags;
  if (info.starts_with(flagsMark)) changed += info.substr(flagsMark.size() + letters(info).size());
  return changed;
}

std::string changedFlags(string_view flags, string_view added, string_view removed) {
  auto changed = std::string(flags) + std::string(added);
  std::erase_if(changed, [&](char c) { return removed.find(c) != string_view::npos; });
  return sortedLetters(std::move(changed));
}

std::optional<Dates::Instant> delivered(string_view unique) {
  long long number = 0;
  const auto [end, failure] = std::from_chars(unique.data(), unique.data() + unique.size(), number);
  if (failure != std::errc() || number < earliest || number > latest) return std::nullopt;
  const bool isWhole = end == unique.data() + unique.size() || !isLetter(*end);
  return isWhole ? std::optional(Dates::Instant(std::chrono::seconds(number))) : std::nullopt;
}

std::string fresh(std::optional<Dates::Instant> delivered, string_view parameters) {
  static std::atomic<unsigned> count{0};
  std::string time;
  if (delivered && seconds(*delivered) >= earliest && seconds(*delivered) <= latest)
    time = fmt::format("{}.", seconds(*delivered));
  const auto microseconds = Dates::now().time_since_epoch().count() % 1'000'000;
  return fmt::format("{}M{}P{}Q{}R{}.{}{}", time, microseconds, getpid(), ++count, Uuid::shortId(), host(), parameters);
}

std::string sizeParameters(string_view unique) {
  constexpr std::size_t longestNumber = 20;
  std::string kept;
  for (auto at = unique.find(','); at != string_view::npos;) {
    const auto next = unique.find(',', at + 1);
    const auto parameter = unique.substr(at, next == string_view::npos ? next : next - at);
    const auto number = parameter.substr(std::min<std::size_t>(parameter.size(), 3));
    const bool isSize = parameter.starts_with(",S=") || parameter.starts_with(",W=");
    if (isSize && number.size() <= longestNumber && std::all_of(number.begin(), number.end(), isDigit))
      kept += parameter;
    at = next;
  }
  return kept;
}

}  // namespace MaildirName
