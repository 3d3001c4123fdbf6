// The done marker: the file by which a session tells its supervisor that it is over, and with which exit code.
#pragma once

#include <filesystem>
#include <functional>

namespace DoneMarker {

inline constexpr int timeLimitCode = 124;
inline constexpr int killedCode = 137;

struct Ending {
  int code = 0;
  bool isSessionGone = false;  // it ended without a word, and the code is killedCode
};

/// Polls until the marker is there, `limit` seconds are over (timeLimitCode), or `isGone`, which is asked whenever
/// there is no marker, has said so twice. Seconds are counted by a clock that nobody sets.
Ending wait(const std::filesystem::path& marker, long long limit, const std::function<bool()>& isGone);

}  // namespace DoneMarker
