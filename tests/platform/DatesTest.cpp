// Guards the text order that every query on time relies on, and local times at a change of the clock.
#include <gtest/gtest.h>

#include <climits>

#include "Platform/Dates.h"
#include "tests/platform/TemporaryDirectory.h"

namespace {

using Dates::Instant;
using Dates::Local;

Instant at(long long seconds) { return Instant{std::chrono::seconds(seconds)}; }

TEST(Dates, readsAndWritesISO8601) {
  const std::pair<const char*, const char*> table[] = {
      {"2026-03-14T09:26:53Z", "2026-03-14T09:26:53Z"},      {"2024-02-29T23:59:59Z", "2024-02-29T23:59:59Z"},
      {"2026-01-01T00:30:00+01:00", "2025-12-31T23:30:00Z"}, {"2026-01-01T00:30:00-0930", "2026-01-01T10:00:00Z"},
      {"9999-12-31T23:59:59-01:00", "9999-12-31T23:59:59Z"},  // clamped
      {"0000-01-01T00:00:00+01:00", "0000-01-01T00:00:00Z"},
  };
  for (const auto& [text, written] : table) {
    const auto instant = Dates::parseISO8601(text);
    EXPECT_EQ(instant ? Dates::iso8601(*instant) : "refused", written) << text;
  }
  for (const char* text :
       {"2023-02-29T00:00:00Z", "2026-04-31T00:00:00Z", "2026-00-01T00:00:00Z", "2026-13-01T00:00:00Z",
        "2026-01-00T00:00:00Z", "2026-01-01T24:00:00Z", "2026-01-01T00:60:00Z", "2026-01-01T00:00:60Z",
        "2026-01-01T00:00:00", "2026-01-01 00:00:00Z", "2026-01-01T00:00:00z", "2026-01-01T00:00:00.5Z",
        "2026-01-01T00:00:00Z ", "2026-01-01T00:00:00+24:00", "2026-01-01T00:00:00+1", "2026-1-01T00:00:00Z",
        "-026-01-01T00:00:00Z", "2026-01-01", ""})
    EXPECT_FALSE(Dates::parseISO8601(text)) << text;
  EXPECT_EQ(Dates::iso8601(Instant{std::chrono::microseconds(-1)}), "1969-12-31T23:59:59Z");
  EXPECT_EQ(Dates::iso8601(Instant::max()), "9999-12-31T23:59:59Z");
  EXPECT_EQ(Dates::iso8601(Instant::min()), "0000-01-01T00:00:00Z");
}

std::string utcOf(const Local& local) { return Dates::iso8601(Dates::fromLocal(local)); }

std::string localOf(const Local& local) {
  const Local seen = Dates::local(Dates::fromLocal(local));
  char text[64];
  std::snprintf(text, sizeof text, "%d-%d-%d %d:%d:%d", seen.year, seen.month, seen.day, seen.hour, seen.minute,
                seen.second);
  return text;
}

TEST(Dates, localTimesAtAChangeOfTheClock) {
  const Environment::Setting paris("TZ", "Europe/Paris");
  EXPECT_EQ(utcOf({2026, 1, 15, 12, 0, 0}), "2026-01-15T11:00:00Z");
  EXPECT_EQ(utcOf({2026, 7, 15, 12, 0, 0}), "2026-07-15T10:00:00Z");
  EXPECT_EQ(utcOf({2026, 3, 29, 1, 59, 59}), "2026-03-29T00:59:59Z");
  EXPECT_EQ(localOf({2026, 3, 29, 2, 30, 0}), "2026-3-29 3:30:0") << "a skipped time moves forward";
  EXPECT_EQ(utcOf({2026, 3, 29, 3, 0, 0}), "2026-03-29T01:00:00Z");
  EXPECT_EQ(utcOf({2026, 10, 25, 1, 59, 59}), "2026-10-24T23:59:59Z");
  EXPECT_EQ(utcOf({2026, 10, 25, 2, 30, 0}), "2026-10-25T00:30:00Z") << "of two such times the first is meant";
  EXPECT_EQ(utcOf({2026, 10, 25, 3, 0, 0}), "2026-10-25T02:00:00Z");
  const Environment::Setting newYork("TZ", "America/New_York");  // a changed TZ counts at once
  EXPECT_EQ(utcOf({2026, 11, 1, 1, 30, 0}), "2026-11-01T05:30:00Z");
  EXPECT_EQ(localOf({2026, 3, 8, 2, 30, 0}), "2026-3-8 3:30:0");
}

TEST(Dates, fieldsOutOfRangeRollOver) {
  const Environment::Setting utc("TZ", "UTC0");
  EXPECT_EQ(utcOf({2026, 1, 31 + 28 + 1, 0, 0, 0}), "2026-03-01T00:00:00Z");
  EXPECT_EQ(utcOf({2026, 14, 0, 25, -1, 61}), "2027-02-01T01:00:01Z");
  EXPECT_EQ(utcOf({2026, -11, 1, 0, 0, 0}), "2025-01-01T00:00:00Z");
  EXPECT_EQ(utcOf({INT_MAX, INT_MAX, INT_MAX, INT_MAX, INT_MAX, INT_MAX}), "9999-12-31T23:59:59Z");
  EXPECT_EQ(utcOf({INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN}), "0000-01-01T00:00:00Z");
  EXPECT_EQ(Dates::local(at(-1)).year, 1969);
}

TEST(Dates, theInnermostFixedClockIsTheTime) {
  const Instant before = Dates::now();
  {
    Dates::FixedClock outer(at(100));
    {
      Dates::FixedClock inner(at(200));
      inner.set(at(300));
      EXPECT_EQ(Dates::now(), at(300));
    }
    EXPECT_EQ(Dates::now(), at(100));
  }
  EXPECT_GE(Dates::now(), before);
}

}  // namespace
