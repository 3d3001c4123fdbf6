// Waiting for what another process does.
#pragma once

#include <chrono>
#include <thread>

/// False when it hasn't come true in time.
template <typename Condition>
bool eventually(Condition condition, std::chrono::seconds limit = std::chrono::seconds(30)) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}
