// The done marker: the file by which a session tells its supervisor that it is over, and with which exit code.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>

namespace DoneMarker {

inline constexpr int timeLimitCode = 124;
inline constexpr int killedCode = 137;

struct Ending {
  int code = 0;
  bool isSessionGone = false;  // it ended without a word, and the code is killedCode
  bool isCalledOff = false;    // `pause` has said so, and there is no code
};

using Time = std::chrono::steady_clock::time_point;

/// What the waiting goes by.
struct Watch {
  std::function<bool()> isGone = [] { return false; };  // asked whenever there is no marker
  std::function<bool(Time until)> pause = sleep;        // false when there is to be no more waiting

  static bool sleep(Time until);
};

/// Polls until the marker is there, `limit` seconds are over (timeLimitCode), `isGone` has said so twice, or the
/// waiting is called off. Seconds are counted by a clock that nobody sets. A marker of more than 4096 bytes is code 1.
Ending wait(const std::filesystem::path& marker, long long limit, const Watch& watch = {});

}  // namespace DoneMarker
