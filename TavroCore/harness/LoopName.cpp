#include "TavroCore/harness/LoopName.h"

#include "Platform/Text.h"

bool isSafeLoopName(std::string_view name) {
  static const Text::Pattern safe(R"(\A[\p{L}\p{Nd}][\p{L}\p{Nd}\p{M} _-]*\z)");
  return name.size() <= 100 && safe.firstMatch(name).has_value();
}
