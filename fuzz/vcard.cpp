// A file of contacts of any bytes: reading keeps every byte, and a value that is set reads back.
#include "Platform/linux/stores/VCard.h"

#include <string_view>

#include "Platform/Text.h"
#include "fuzz/Check.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const VCard::File file = VCard::parse(bytes);
  CHECK(file.bytes() == bytes);
  for (const auto& card : file.cards) {
    for (const auto& property : card->all("EMAIL")) CHECK(Text::isValidUTF8(property->text()));
    card->set("NOTE", VCard::escaped("a;b,\\c\nd"));
    CHECK(card->text("NOTE") == "a;b,\\c\nd");
  }
  const VCard::File again = VCard::parse(file.bytes());
  CHECK(again.cards.size() == file.cards.size());
  for (const auto& card : again.cards) CHECK(card->text("NOTE") == "a;b,\\c\nd");
  return 0;
}
