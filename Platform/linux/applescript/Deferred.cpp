#include "Platform/linux/applescript/Deferred.h"

#include <vector>

namespace AppleScript {

namespace {

struct Doomed {
  void* object;
  void (*destroy)(void*);
};

struct Queue {
  std::vector<Doomed> waiting;
  bool draining = false;
};

}  // namespace

void releaseLater(void* object, void (*destroy)(void*)) {
  thread_local Queue queue;
  queue.waiting.push_back({object, destroy});
  if (queue.draining) return;
  queue.draining = true;
  while (!queue.waiting.empty()) {
    Doomed next = queue.waiting.back();
    queue.waiting.pop_back();
    next.destroy(next.object);
  }
  queue.draining = false;
}

}  // namespace AppleScript
