// A note's file of any bytes: its text is UTF-8 in lines, and begins with its first line.
#include <string_view>

#include "Platform/Text.h"
#include "Platform/linux/stores/HtmlText.h"
#include "fuzz/Check.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const std::string_view html(reinterpret_cast<const char*>(data), size);
  const std::string text = HtmlText::plain(html);
  CHECK(Text::isValidUTF8(text));
  CHECK(!text.ends_with('\n'));
  const auto first = HtmlText::firstLine(html);
  if (first) CHECK(text.find(*first) != std::string::npos);
  const auto early = HtmlText::firstLine(html.substr(0, size / 2), true);
  if (early) CHECK(early == first);
  HtmlText::pictures(html);
  return 0;
}
