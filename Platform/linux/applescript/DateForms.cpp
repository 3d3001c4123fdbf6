// Calendar arithmetic by <chrono>; texts by a small reader of words and numbers.
#include "Platform/linux/applescript/DateForms.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <vector>

#include "Platform/Dates.h"

namespace AppleScript {

const char* const monthNames[12] = {"January", "February", "March",     "April",   "May",      "June",
                                    "July",    "August",   "September", "October", "November", "December"};
const char* const weekdayNames[7] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};

namespace {

constexpr std::int64_t day = 86400;
// Years beyond are clamped: far enough for every date a person means, near enough for exact arithmetic.
constexpr std::int64_t lastYear = 9999;

std::int64_t floorDivide(std::int64_t a, std::int64_t b) { return a / b - (a % b != 0 && (a % b < 0) != (b < 0)); }

std::chrono::sys_days dayOf(Date date) {
  const auto days = std::clamp<std::int64_t>(floorDivide(date.seconds, day), -800000, 3000000);
  return std::chrono::sys_days(std::chrono::days(days));
}

bool begins(std::string_view name, std::string_view word) {
  if (word.size() < 3 || word.size() > name.size()) return false;
  for (std::size_t i = 0; i < word.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(name[i])) != std::tolower(static_cast<unsigned char>(word[i])))
      return false;
  return word.size() == name.size() || word.size() == 3;
}

bool isWeekday(std::string_view word) {
  for (const char* name : weekdayNames)
    if (begins(name, word)) return true;
  return false;
}

// A date's text as words, numbers and single signs; blanks and commas only separate.
struct Piece {
  std::string_view text;
  std::int64_t number = -1;  // of a piece of digits
};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::vector<Piece> pieces(std::string_view text) {
  std::vector<Piece> result;
  for (std::size_t at = 0; at < text.size() && result.size() < 32;) {
    std::size_t end = at + 1;
    if (isDigit(text[at])) {
      while (end < text.size() && isDigit(text[end])) ++end;
      if (end - at > 9) return {};
      std::int64_t number = 0;
      for (char c : text.substr(at, end - at)) number = number * 10 + (c - '0');
      result.push_back({text.substr(at, end - at), number});
    } else if (std::isalpha(static_cast<unsigned char>(text[at]))) {
      while (end < text.size() && std::isalpha(static_cast<unsigned char>(text[end]))) ++end;
      result.push_back({text.substr(at, end - at)});
    } else if (text.substr(at).starts_with("\u202f")) {
      end = at + 3;
    } else if (text[at] != ' ' && text[at] != ',') {
      result.push_back({text.substr(at, 1)});
    }
    at = end;
  }
  return result;
}

class DateReader {
 public:
  explicit DateReader(std::string_view text) : pieces_(pieces(text)) {}

  std::optional<Date> read() {
    if (isWord() && isWeekday(piece())) ++at_;
    if (!readDate()) return std::nullopt;
    if (at_ < pieces_.size() && (piece() == "T" || piece() == "at")) ++at_;
    if (at_ < pieces_.size() && !readTime()) return std::nullopt;
    if (at_ != pieces_.size() || !isOnCalendar()) return std::nullopt;
    return fromFields({year_, month_, day_, hour_ * 3600 + minute_ * 60 + second_});
  }

 private:
  std::string_view piece(std::size_t ahead = 0) const {
    return at_ + ahead < pieces_.size() ? pieces_[at_ + ahead].text : std::string_view();
  }
  std::int64_t number(std::size_t ahead = 0) const {
    return at_ + ahead < pieces_.size() ? pieces_[at_ + ahead].number : -1;
  }
  bool isWord() const { return !piece().empty() && std::isalpha(static_cast<unsigned char>(piece()[0])); }

  bool take(std::int64_t a, std::int64_t b, std::int64_t c, std::size_t used) {
    year_ = a;
    month_ = b;
    day_ = c;
    at_ += used;
    return a >= 0 && b >= 0 && c >= 0;
  }

  bool readDate() {
    if (piece(1) == "-" && piece(3) == "-" && piece().size() == 4) return take(number(0), number(2), number(4), 5);
    if (piece(1) == "/" && piece(3) == "/") {
      const bool isShort = piece(4).size() == 2;
      return take(isShort ? 2000 + number(4) : number(4), number(0), number(2), 5);
    }
    if (const int month = monthNumber(piece())) return take(number(2), month, number(1), 3);
    if (const int month = monthNumber(piece(1))) return take(number(2), month, number(0), 3);
    return false;
  }

  bool readTime() {
    if (number() < 0) return false;
    hour_ = number();
    ++at_;
    const bool hasMinutes = piece() == ":";
    if (hasMinutes && !readColon(minute_)) return false;
    if (piece() == ":" && !readColon(second_)) return false;
    return readHalf() || hasMinutes;
  }

  bool readColon(std::int64_t& field) {
    field = number(1);
    at_ += 2;
    return field >= 0;
  }

  bool readHalf() {
    const char first = piece().size() == 2 ? static_cast<char>(std::tolower(piece()[0])) : '\0';
    if ((first != 'a' && first != 'p') || std::tolower(piece()[1]) != 'm' || hour_ < 1 || hour_ > 12) return false;
    hour_ = hour_ % 12 + (first == 'p' ? 12 : 0);
    ++at_;
    return true;
  }

  bool isOnCalendar() const {
    const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(year_)),
                                           std::chrono::month(static_cast<unsigned>(month_)),
                                           std::chrono::day(static_cast<unsigned>(day_))};
    return year_ <= lastYear && month_ <= 12 && day_ <= 31 && date.ok() && hour_ < 24 && minute_ < 60 && second_ < 60;
  }

  std::vector<Piece> pieces_;
  std::size_t at_ = 0;
  std::int64_t year_ = 0, month_ = 0, day_ = 0, hour_ = 0, minute_ = 0, second_ = 0;
};

}  // namespace

DateFields fields(Date date) {
  const std::chrono::year_month_day civil(dayOf(date));
  return {static_cast<int>(civil.year()), static_cast<unsigned>(civil.month()), static_cast<unsigned>(civil.day()),
          date.seconds - floorDivide(date.seconds, day) * day};
}

Date fromFields(const DateFields& fields) {
  const std::int64_t months = std::clamp<std::int64_t>(fields.month, -1'000'000, 1'000'000) - 1;
  const std::int64_t year = std::clamp<std::int64_t>(fields.year, 0, lastYear) + floorDivide(months, 12);
  const auto month = static_cast<unsigned>(months - floorDivide(months, 12) * 12 + 1);
  const auto civil = std::chrono::year(static_cast<int>(std::clamp<std::int64_t>(year, -lastYear, lastYear))) /
                     std::chrono::month(month) / 1;
  const std::int64_t first = std::chrono::sys_days(civil).time_since_epoch().count();
  const auto bounded = [](std::int64_t n) {
    return std::clamp<std::int64_t>(n, -1'000'000'000'000, 1'000'000'000'000);
  };
  return {(first + bounded(fields.day) - 1) * day + bounded(fields.time)};
}

Date presentDate() {
  const Dates::Local now = Dates::local(Dates::now());
  return fromFields({now.year, now.month, now.day, now.hour * 3600 + now.minute * 60 + now.second});
}

int weekday(Date date) { return static_cast<int>(std::chrono::weekday(dayOf(date)).c_encoding()); }

int monthNumber(std::string_view name) {
  for (int i = 0; i < 12; ++i)
    if (begins(monthNames[i], name)) return i + 1;
  return 0;
}

std::string dateText(Date date) {
  const DateFields f = fields(date);
  return fmt::format("{}, {} {}, {}", weekdayNames[weekday(date)], monthNames[f.month - 1], f.day, f.year);
}

std::string timeText(Date date) {
  const std::int64_t time = fields(date).time;
  const std::int64_t hour = time / 3600;
  return fmt::format("{}:{:02}:{:02} {}", hour % 12 == 0 ? 12 : hour % 12, time / 60 % 60, time % 60,
                     hour < 12 ? "AM" : "PM");
}

std::string shortDateText(Date date) {
  const DateFields f = fields(date);
  return fmt::format("{}/{}/{}", f.month, f.day, f.year);
}

std::string longText(Date date) { return dateText(date) + " at " + timeText(date); }

std::optional<Date> parseDate(std::string_view text) { return DateReader(text).read(); }

}  // namespace AppleScript
