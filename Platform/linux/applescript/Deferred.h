// Shared objects that may hold each other to any depth. The last owner of one doesn't destroy it on
// the spot but queues it; whoever is emptying the queue already goes on, so the stack stays flat.
#pragma once

#include <memory>

namespace AppleScript {

void releaseLater(void* object, void (*destroy)(void*));

template <class T>
std::shared_ptr<T> shareDeferred(T* object) {
  return std::shared_ptr<T>(object, [](const T* dead) {
    releaseLater(const_cast<T*>(dead), [](void* address) { delete static_cast<T*>(address); });
  });
}

}  // namespace AppleScript
