// A file of the approval queue: it is a whole action that survives writing and reading, or none at all.
#include <string_view>

#include "Platform/Json.h"
#include "TavroCore/harness/PendingStore.h"
#include "fuzz/Check.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const auto action = pendingActionFromJson({reinterpret_cast<const char*>(data), size});
  if (!action) return 0;
  const auto again = pendingActionFromJson(JsonText::write(toJson(*action)));
  CHECK(again.has_value());
  CHECK(*again == *action);
  return 0;
}
