// config.json of any bytes: reading never fails, and what was read survives writing and reading again.
#include <string_view>

#include "Platform/Json.h"
#include "TavroCore/harness/HarnessConfig.h"
#include "fuzz/Check.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const auto object = JsonText::parseObject({reinterpret_cast<const char*>(data), size});
  const HarnessConfig config = object ? HarnessConfig::decode(*object) : HarnessConfig{};
  const auto written = JsonText::parseObject(JsonText::write(config.encode()));
  CHECK(written.has_value());
  CHECK(HarnessConfig::decode(*written) == config);
  return 0;
}
