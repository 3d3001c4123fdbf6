#include "Platform/linux/stores/ICalendarRecurrence.h"

#include <algorithm>
#include <limits>

#include "Platform/Text.h"

namespace ICalendar {

using std::string_view;
using namespace std::chrono;

namespace {

// ---- Reading a rule.

constexpr string_view frequencyNames[] = {"SECONDLY", "MINUTELY", "HOURLY", "DAILY", "WEEKLY", "MONTHLY", "YEARLY"};
constexpr string_view weekdayNames[] = {"SU", "MO", "TU", "WE", "TH", "FR", "SA"};

template <std::size_t Count>
std::optional<unsigned> indexOf(const string_view (&names)[Count], string_view name) {
  const auto* place = std::find(std::begin(names), std::end(names), name);
  if (place == std::end(names)) return std::nullopt;
  return static_cast<unsigned>(place - std::begin(names));
}

std::optional<int> parseNumber(string_view text, int least, int largest) {
  const auto value = Text::parseInteger(text);
  if (!value || *value < least || *value > largest) return std::nullopt;
  return static_cast<int>(*value);
}

/// Takes each piece between commas; false as soon as `take` says so.
bool eachPiece(string_view list, const std::function<bool(string_view)>& take) {
  for (std::size_t begin = 0; begin <= list.size();) {
    const auto end = std::min(list.find(',', begin), list.size());
    if (!take(list.substr(begin, end - begin))) return false;
    begin = end + 1;
  }
  return true;
}

template <std::size_t Largest>
bool readNumbers(string_view list, Numbers<Largest>& numbers) {
  numbers.isGiven = true;
  return eachPiece(list, [&](string_view piece) {
    constexpr int largest = Largest;
    const auto number = parseNumber(piece, -largest, largest);
    if (!number || *number == 0) return false;
    (*number > 0 ? numbers.fromStart : numbers.fromEnd).set(static_cast<std::size_t>(std::abs(*number)));
    return true;
  });
}

bool readList(string_view list, int least, int largest, std::vector<int>& numbers) {
  const bool isValid = eachPiece(list, [&](string_view piece) {
    const auto number = parseNumber(piece, least, largest);
    if (number) numbers.push_back(*number);
    return number.has_value();
  });
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  return isValid;
}

bool readSeconds(string_view list, std::vector<int>& numbers) {
  if (!readList(list, 0, 60, numbers)) return false;
  if (numbers.back() == 60) numbers.pop_back();  // a leap second, which no clock of ours shows
  if (numbers.empty()) numbers.push_back(59);
  return true;
}

bool readDays(string_view list, Rule& rule) {
  constexpr int mostWeeks = 53;
  std::bitset<7 * (2 * mostWeeks + 1)> seen;
  return eachPiece(list, [&](string_view piece) {
    const auto weekday = indexOf(weekdayNames, piece.substr(piece.size() - std::min<std::size_t>(piece.size(), 2)));
    if (!weekday) return false;
    const auto ordinalText = piece.substr(0, piece.size() - 2);
    if (ordinalText.empty()) return rule.weekdays.set(*weekday), true;
    const auto ordinal = parseNumber(ordinalText, -mostWeeks, mostWeeks);
    if (!ordinal || *ordinal == 0) return false;
    const auto mark = 7 * static_cast<std::size_t>(*ordinal + mostWeeks) + *weekday;
    if (!seen[mark]) rule.ordinalDays.push_back({*ordinal, std::chrono::weekday(*weekday)});
    seen.set(mark);
    return true;
  });
}

bool readPart(string_view name, string_view value, Rule& rule) {
  constexpr int largest = std::numeric_limits<int>::max();
  if (name == "FREQ") {
    const auto frequency = indexOf(frequencyNames, value);
    if (frequency) rule.frequency = static_cast<Rule::Frequency>(*frequency);
    return frequency.has_value();
  }
  if (name == "INTERVAL" || name == "COUNT") {
    const auto number = parseNumber(value, 1, largest);
    if (number && name == "COUNT") rule.count = number;
    if (number && name == "INTERVAL") rule.interval = std::min(*number, 1'000'000'000);
    return number.has_value();
  }
  if (name == "UNTIL") return (rule.until = parseStamp(value)).has_value();
  if (name == "WKST") {
    const auto weekday = indexOf(weekdayNames, value);
    if (weekday) rule.weekStart = std::chrono::weekday(*weekday);
    return weekday.has_value();
  }
  if (name == "BYMONTH") return readNumbers(value, rule.months);
  if (name == "BYWEEKNO") return readNumbers(value, rule.weeks);
  if (name == "BYYEARDAY") return readNumbers(value, rule.yearDays);
  if (name == "BYMONTHDAY") return readNumbers(value, rule.monthDays);
  if (name == "BYDAY") return readDays(value, rule);
  if (name == "BYHOUR") return readList(value, 0, 23, rule.hours);
  if (name == "BYMINUTE") return readList(value, 0, 59, rule.minutes);
  if (name == "BYSECOND") return readSeconds(value, rule.seconds);
  if (name == "BYSETPOS") return readList(value, -366, 366, rule.positions);
  if (name == "RSCALE") return value == "GREGORIAN";
  return name == "SKIP" ? value == "OMIT" : name.starts_with("X-");
}

/// What a rule doesn't say it takes from its start.
void complete(Rule& rule, Wall start) {
  using Frequency = Rule::Frequency;
  const year_month_day date{floor<days>(start)};
  const auto frequency = rule.frequency;
  const bool namesDays = rule.hasDays() || rule.monthDays.isGiven || rule.yearDays.isGiven;
  if (frequency == Frequency::weekly || (frequency == Frequency::yearly && rule.weeks.isGiven)) {
    for (const auto& day : rule.ordinalDays) rule.weekdays.set(day.weekday.c_encoding());  // an ordinal means nothing
    rule.ordinalDays.clear();
    if (!namesDays) rule.weekdays.set(weekday(floor<days>(start)).c_encoding());
  } else if ((frequency == Frequency::monthly || frequency == Frequency::yearly) && !namesDays) {
    rule.monthDays.isGiven = true;
    rule.monthDays.fromStart.set(unsigned(date.day()));
    if (frequency == Frequency::yearly && !rule.months.isGiven) {
      rule.months.isGiven = true;
      rule.months.fromStart.set(unsigned(date.month()));
    }
  }
}

// ---- Days.

int daysInMonth(year_month_day date) { return static_cast<int>(unsigned((date.year() / date.month() / last).day())); }

local_days newYear(year year) { return local_days(year / January / 1); }

/// The number of the week and of the weeks of its year. A week belongs to the year that has most of it.
std::pair<int, int> weekOf(local_days day, weekday weekStart) {
  const auto middle = day - (weekday(day) - weekStart) + days(3);
  const auto year = year_month_day(middle).year();
  const auto first = [&](std::chrono::year of) {
    const auto fourth = newYear(of) + days(3);
    return fourth - (weekday(fourth) - weekStart);
  };
  const auto begin = first(year);
  return {static_cast<int>((middle - begin) / days(7)) + 1,
          static_cast<int>((first(year + years(1)) - begin) / days(7))};
}

class DayFilter {
 public:
  explicit DayFilter(const Rule& rule)
      : rule_(rule), countsInMonth_(rule.frequency == Rule::Frequency::monthly || rule.months.isGiven) {}

  bool allowsMonth(month month) const { return rule_.months.allows(static_cast<int>(unsigned(month)), 12); }

  bool allows(local_days day) const {
    const year_month_day date{day};
    if (!allowsMonth(date.month())) return false;
    if (!rule_.monthDays.allows(static_cast<int>(unsigned(date.day())), daysInMonth(date))) return false;
    if (rule_.hasDays() && !allowsWeekday(day, date)) return false;
    if (rule_.yearDays.isGiven && !rule_.yearDays.allows(dayOfYear(day, date) + 1, daysInYear(date))) return false;
    if (!rule_.weeks.isGiven) return true;
    const auto [week, weeks] = weekOf(day, rule_.weekStart);
    return rule_.weeks.allows(week, weeks);
  }

 private:
  static int dayOfYear(local_days day, year_month_day date) {  // from 0
    return static_cast<int>((day - newYear(date.year())).count());
  }
  static int daysInYear(year_month_day date) { return date.year().is_leap() ? 366 : 365; }

  bool allowsWeekday(local_days day, year_month_day date) const {
    const weekday weekday(day);
    if (rule_.weekdays[weekday.c_encoding()]) return true;
    if (rule_.ordinalDays.empty()) return false;
    const int index = countsInMonth_ ? static_cast<int>(unsigned(date.day())) - 1 : dayOfYear(day, date);
    const int size = countsInMonth_ ? daysInMonth(date) : daysInYear(date);
    const int fromStart = index / 7 + 1, fromEnd = -((size - 1 - index) / 7 + 1);
    return std::any_of(rule_.ordinalDays.begin(), rule_.ordinalDays.end(), [&](const auto& wanted) {
      return wanted.weekday == weekday && (wanted.ordinal == fromStart || wanted.ordinal == fromEnd);
    });
  }

  const Rule& rule_;
  bool countsInMonth_;
};

// ---- Walking from period to period.

class Walker {
 public:
  Walker(const Rule& rule, Wall start, std::optional<Wall> until, Span span, long long& steps,
         const std::function<void(Wall)>& found)
      : rule_(rule), start_(start), span_(span), steps_(steps), found_(found) {
    complete(rule_, start);
    constexpr Wall lastTime = local_days(year(9999) / December / 31) + seconds(86'399);  // that a file can name
    end_ = std::min({until.value_or(lastTime), span.to, lastTime});
    times_ = timesOfDay();
    steps_ -= static_cast<long long>(times_.size());
  }

  void walk() {
    if (span_.from <= start_ && start_ <= span_.to) found_(start_);
    if (rule_.count == 1) return;
    if (rule_.frequency >= Rule::Frequency::daily)
      walkDays();
    else
      walkTimes();
  }

 private:
  using Frequency = Rule::Frequency;
  using Index = long long;

  /// From which time on periods are looked at: a count needs them all.
  Wall firstNeeded() const { return rule_.count ? start_ : std::max(start_, span_.from); }

  bool isTired() { return --steps_ < 0; }

  // -- Days, weeks, months and years

  struct Period {
    local_days begin, end;
  };

  /// One far behind the end of the calendar where it would lie farther still.
  Period period(Index index) const {
    constexpr Index mostYears = 12'000;
    const auto most = rule_.frequency == Frequency::yearly ? mostYears : 400 * mostYears;
    const auto step = std::min(index * rule_.interval, most);
    const auto startDay = floor<days>(start_);
    const year_month_day date{startDay};
    if (rule_.frequency == Frequency::yearly) {
      const auto of = date.year() + years(step);
      return {newYear(of), newYear(of + years(1))};
    }
    if (rule_.frequency == Frequency::monthly) {
      const auto of = date.year() / date.month() + months(std::min(step, 12 * mostYears));
      return {local_days(of / 1), local_days((of + months(1)) / 1)};
    }
    if (rule_.frequency == Frequency::daily) return {startDay + days(step), startDay + days(step + 1)};
    const auto week = startDay - (weekday(startDay) - rule_.weekStart) + days(7 * step);
    return {week, week + days(7)};
  }

  /// The period that `time` is in, or one shortly before it.
  Index periodAt(Wall time) const {
    constexpr int longestMonth = 31, longestYear = 366;
    const Index length = rule_.frequency == Frequency::yearly    ? longestYear
                         : rule_.frequency == Frequency::monthly ? longestMonth
                         : rule_.frequency == Frequency::weekly  ? 7
                                                                 : 1;
    Index index = std::max<Index>(0, (floor<days>(time) - floor<days>(start_)).count() / length / rule_.interval - 1);
    while (period(index).end <= floor<days>(time)) ++index;  // a few steps: years are nearly of one length
    return index;
  }

  void walkDays() {
    for (Index index = periodAt(firstNeeded()); !isDone_; ++index) {
      const auto whole = period(index);
      if (whole.begin > end_ || isTired()) return;
      if (rule_.positions.empty())
        eachTime(clipped(whole), [this](Wall time) { emit(time); });
      else
        takePositions([&](const auto& take) { eachTime(whole, take); });
    }
  }

  Period clipped(Period whole) const {
    return {std::max(whole.begin, floor<days>(firstNeeded())), std::min(whole.end, floor<days>(end_) + days(1))};
  }

  template <typename Take>
  void eachTime(Period days, const Take& take) {
    for (auto day = days.begin; day < days.end && !isDone_ && !isTired();) {
      const year_month_day date{day};
      if (!filter_.allowsMonth(date.month())) {
        day = local_days((date.year() / date.month() + months(1)) / 1);
        continue;
      }
      if (filter_.allows(day))
        for (const auto time : times_) take(day + time);
      day += std::chrono::days(1);
    }
  }

  std::vector<int> given(const std::vector<int>& list, int atStart) const {
    return list.empty() ? std::vector{atStart} : list;
  }

  /// The times that each day has, or each hour or minute of a rule of hours or minutes.
  std::vector<seconds> timesOfDay() const {
    const hh_mm_ss start{start_ - floor<days>(start_)};
    std::vector<seconds> times;
    const bool hasHours = rule_.frequency >= Frequency::daily, hasMinutes = rule_.frequency >= Frequency::hourly;
    const bool hasSeconds = rule_.frequency >= Frequency::minutely;
    for (const int hour : hasHours ? given(rule_.hours, static_cast<int>(start.hours().count())) : std::vector{0})
      for (const int minute :
           hasMinutes ? given(rule_.minutes, static_cast<int>(start.minutes().count())) : std::vector{0})
        for (const int second :
             hasSeconds ? given(rule_.seconds, static_cast<int>(start.seconds().count())) : std::vector{0})
          times.push_back(hours(hour) + minutes(minute) + seconds(second));
    return times;
  }

  // -- Hours, minutes and seconds

  static bool names(const std::vector<int>& list, long long number) {
    return list.empty() || std::binary_search(list.begin(), list.end(), static_cast<int>(number));
  }

  /// Where the hour, minute or second at `time` isn't wanted: when the next one begins that may be.
  std::optional<Wall> skipTo(Wall time) {
    const auto day = floor<days>(time);
    const year_month_day date{day};
    if (!filter_.allowsMonth(date.month())) return local_days((date.year() / date.month() + months(1)) / 1);
    if (day != judgedDay_) allowsJudgedDay_ = filter_.allows(judgedDay_ = day);
    if (!allowsJudgedDay_) return day + days(1);
    const hh_mm_ss clock{time - day};
    if (!names(rule_.hours, clock.hours().count())) return floor<hours>(time) + hours(1);
    if (rule_.frequency == Frequency::hourly) return std::nullopt;
    if (!names(rule_.minutes, clock.minutes().count())) return floor<minutes>(time) + minutes(1);
    if (rule_.frequency == Frequency::minutely || names(rule_.seconds, clock.seconds().count())) return std::nullopt;
    return time + seconds(1);
  }

  void walkTimes() {
    const auto unit = rule_.frequency == Frequency::hourly     ? seconds(3600)
                      : rule_.frequency == Frequency::minutely ? seconds(60)
                                                               : seconds(1);
    const auto step = unit * rule_.interval;
    const auto base = start_ - (start_ - floor<days>(start_)) % unit;
    for (Index index = (firstNeeded() - base) / step; !isDone_ && !isTired(); ++index) {
      const auto time = base + step * index;
      if (time > end_) return;
      if (const auto next = skipTo(time)) {
        index = std::max<Index>(index, (*next - base - seconds(1)) / step);  // the first at or behind it, less one
      } else if (rule_.positions.empty()) {
        for (const auto within : times_) emit(time + within);
      } else {
        takePositions([&](const auto& take) {
          for (const auto within : times_) take(time + within);
        });
      }
    }
  }

  // -- What is found

  template <typename Fill>
  void takePositions(const Fill& fill) {
    set_.clear();
    fill([this](Wall time) {
      if (isTired()) isDone_ = true;
      if (!isDone_) set_.push_back(time);
    });
    std::vector<Wall> chosen;
    for (const int position : rule_.positions) {
      const auto index = position > 0 ? position - 1 : static_cast<Index>(set_.size()) + position;
      if (position != 0 && index >= 0 && index < static_cast<Index>(set_.size()))
        chosen.push_back(set_[static_cast<std::size_t>(index)]);
    }
    std::sort(chosen.begin(), chosen.end());
    chosen.erase(std::unique(chosen.begin(), chosen.end()), chosen.end());
    for (const auto time : chosen) emit(time);
  }

  void emit(Wall time) {
    if (isDone_ || time <= start_) return;
    isDone_ = time > end_ || isTired();
    if (isDone_) return;
    if (time >= span_.from) found_(time);
    isDone_ = rule_.count && ++count_ >= *rule_.count;
  }

  Rule rule_;
  Wall start_;
  Span span_;
  long long& steps_;
  const std::function<void(Wall)>& found_;
  DayFilter filter_{rule_};
  Wall end_;
  std::vector<seconds> times_;
  std::vector<Wall> set_;
  local_days judgedDay_ = local_days::min();
  bool allowsJudgedDay_ = false;
  int count_ = 1;  // the start
  bool isDone_ = false;
};

}  // namespace

std::optional<Rule> parseRule(string_view value) {
  Rule rule;
  bool hasFrequency = false;
  const auto text = Text::uppercase(Text::trim(value));
  for (const auto& part : Text::split(text, ';', true)) {
    const auto equals = part.find('=');
    if (equals == std::string::npos) return std::nullopt;
    const auto name = string_view(part).substr(0, equals);
    if (!readPart(name, string_view(part).substr(equals + 1), rule)) return std::nullopt;
    hasFrequency = hasFrequency || name == "FREQ";
  }
  return hasFrequency ? std::optional(rule) : std::nullopt;
}

void expand(const Rule& rule, Wall start, std::optional<Wall> until, Span span, long long& steps,
            const std::function<void(Wall)>& found) {
  Walker(rule, start, until, span, steps, found).walk();
}

void expand(const Rule& rule, Wall start, std::optional<Wall> until, Span span,
            const std::function<void(Wall)>& found) {
  long long steps = 3'000'000;
  expand(rule, start, until, span, steps, found);
}

}  // namespace ICalendar
