// Our own, since GMime's reader takes a comment in the time for midnight, refuses leap seconds, and looks zones up in
// a table that all threads share.
#include "Platform/linux/stores/MimeDate.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "Platform/Text.h"
#include "Platform/linux/stores/MimeText.h"

namespace {

using std::string_view;

/// Without comments, which may stand anywhere; one that isn't closed ends with the text.
std::string withoutComments(string_view text) {
  std::string result;
  int depth = 0;
  for (const char c : text) {
    if (c == '(' && depth++ == 0) result += ' ';
    if (depth == 0) result += c;
    if (c == ')' && depth > 0) --depth;
  }
  return result;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

/// Digits and nothing else, at most `longest`.
std::optional<int> number(string_view text, std::size_t longest) {
  if (text.empty() || text.size() > longest || !std::all_of(text.begin(), text.end(), isDigit)) return std::nullopt;
  return static_cast<int>(*Text::parseInteger(text));
}

/// 1 to 12.
std::optional<int> month(string_view word) {
  constexpr string_view months = "janfebmaraprmayjunjulaugsepoctnovdec";
  if (word.size() < 3) return std::nullopt;
  const auto at = months.find(Mime::asciiLowercase(word.substr(0, 3)));
  return at == string_view::npos || at % 3 != 0 ? std::nullopt : std::optional(static_cast<int>(at / 3) + 1);
}

struct Zone {
  string_view name;
  int hours;
};
/// Those of RFC 5322, and what Europe's programs write. Of others nobody knows what they mean.
constexpr std::array<Zone, 12> zones = {{{"est", -5},
                                         {"edt", -4},
                                         {"cst", -6},
                                         {"cdt", -5},
                                         {"mst", -7},
                                         {"mdt", -6},
                                         {"pst", -8},
                                         {"pdt", -7},
                                         {"bst", 1},
                                         {"cet", 1},
                                         {"cest", 2},
                                         {"eest", 3}}};

/// Takes a date word by word, in whatever order the words stand.
class DateReader {
 public:
  void take(string_view word) {
    if (word.size() > 10 && (word[10] == 'T' || word[10] == 't')) {  // 2026-03-13T10:00:00+01:00
      take(word.substr(0, 10));
      word.remove_prefix(11);
    }
    if (word.empty()) return;
    const auto first = word.front();
    if (first == '+' || first == '-')
      takeOffset(word);
    else if (isLetter(first))
      takeName(word);
    else if (word.find(':') != string_view::npos)
      takeTime(word);
    else if (word.find('-') != string_view::npos)
      takeDay(word);
    else
      takeNumber(word);
  }

  std::optional<Dates::Instant> result() const {
    using namespace std::chrono;
    const auto day = std::chrono::year(year_.value_or(0)) / month_.value_or(0) / day_.value_or(0);
    if (!year_ || !month_ || !day_ || !day.ok() || hour_ > 23 || minute_ > 59 || second_ > 60) return std::nullopt;
    return Dates::Instant(sys_days(day) + hours(hour_) + minutes(minute_ - offset_) + seconds(std::min(second_, 59)));
  }

 private:
  /// "EST", "Mar", "GMT+0100"; days of the week tell us nothing.
  void takeName(string_view word) {
    const auto end = std::find_if_not(word.begin(), word.end(), isLetter);
    const auto name = word.substr(0, static_cast<std::size_t>(end - word.begin()));
    const auto zone = std::find_if(zones.begin(), zones.end(),
                                   [&](const auto& one) { return Mime::equalIgnoringAsciiCase(one.name, name); });
    if (zone != zones.end())
      offset_ = zone->hours * 60;
    else if (const auto found = month(name); found && !month_)
      month_ = found;
    if (end != word.end() && (*end == '+' || *end == '-')) takeOffset(word.substr(name.size()));
  }

  /// +0100, +01:00
  void takeOffset(string_view word) {
    const auto digits = Text::replaceAll(word.substr(1), ":", "");
    const auto value = digits.size() == 4 ? number(digits, 4) : std::nullopt;
    if (value && *value / 100 < 24 && *value % 100 < 60)
      offset_ = (word.front() == '-' ? -1 : 1) * (*value / 100 * 60 + *value % 100);
  }

  /// 10:00, 10:00:00, 10:00:00.123, 10:00:00Z, 10:00:00+01:00
  void takeTime(string_view word) {
    const auto zone = std::min(word.find_first_of("+-Zz"), word.size());
    if (zone < word.size()) takeOffset(word.substr(zone));
    const auto pieces = Text::split(word.substr(0, zone), ':');
    const auto piece = [&](std::size_t i) {
      return i < pieces.size() ? number(string_view(pieces[i]).substr(0, pieces[i].find('.')), 2) : 0;
    };
    const auto hour = piece(0), minute = piece(1), second = piece(2);
    hour_ = hour && minute && second ? *hour : 99;
    minute_ = minute.value_or(0);
    second_ = second.value_or(0);
  }

  /// 13-Mar-2026, 2026-03-13
  void takeDay(string_view word) {
    const auto pieces = Text::split(word, '-');
    if (pieces.size() != 3) return;
    const bool yearIsFirst = pieces[0].size() == 4;
    month_ = yearIsFirst ? number(pieces[1], 2) : month(pieces[1]);
    takeNumber(pieces[yearIsFirst ? 2 : 0]);
    takeNumber(pieces[yearIsFirst ? 0 : 2]);
  }

  void takeNumber(string_view word) {
    if (const auto value = number(word, 2); value && !day_) {
      day_ = value;
    } else if (const auto year = number(word, 4); year && !year_) {
      year_ = *year < 50 ? *year + 2000 : *year < 1000 ? *year + 1900 : *year;
    }
  }

  std::optional<int> year_, month_, day_;
  int hour_ = 0, minute_ = 0, second_ = 0;
  int offset_ = 0;  // of the zone from UTC, in minutes
};

}  // namespace

std::optional<Dates::Instant> Mime::date(string_view text) {
  constexpr std::size_t longest = 400;
  auto plain = onOneLine(withoutComments(text.substr(0, longest)));
  plain = Text::replaceAll(plain, ",", " ");
  plain = Text::replaceAll(Text::replaceAll(plain, " :", ":"), ": ", ":");
  DateReader reader;
  for (const auto& word : Text::split(plain, ' ', true)) reader.take(word);
  return reader.result();
}
