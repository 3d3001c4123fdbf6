// Measures the stack that is left, not levels: frames differ between builds by a factor of ten.
#include "Platform/linux/applescript/Stack.h"

#include <pthread.h>

#include <algorithm>
#include <cstdint>

#include "Platform/linux/applescript/Value.h"

namespace AppleScript {
namespace {

// For what runs below the deepest level: an application's store, ICU, the unwinder.
constexpr std::uintptr_t reserve = 1 << 20;
// A main thread's stack grows as far as the limit of the process, which may be "unlimited".
constexpr std::uintptr_t most = 64 << 20;

std::uintptr_t lowestFrame() {
  const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return here - reserve;
  void* lowest = nullptr;
  std::size_t size = 0;
  pthread_attr_getstack(&attributes, &lowest, &size);
  pthread_attr_destroy(&attributes);
  const auto bottom = reinterpret_cast<std::uintptr_t>(lowest) + std::min<std::uintptr_t>(reserve, size / 4);
  return here - bottom > most ? here - most : bottom;
}

}  // namespace

void checkStack() {
  thread_local const std::uintptr_t lowest = lowestFrame();
  if (reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)) < lowest)
    throw ScriptError(ErrorNumber::stackOverflow, "Stack overflow.");
}

}  // namespace AppleScript
