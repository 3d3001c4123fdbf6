// How values go away.
#include "Platform/linux/applescript/Value.h"

#include "Platform/linux/applescript/Deferred.h"

namespace AppleScript {

std::shared_ptr<List> shareList(List list) { return shareDeferred(new List(std::move(list))); }
std::shared_ptr<Record> shareRecord(Record record) { return shareDeferred(new Record(std::move(record))); }

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
