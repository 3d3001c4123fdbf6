// Guards the owner's address book: a card keeps every byte that an edit doesn't touch, whatever program
// wrote it and however badly.
#include <gtest/gtest.h>

#include "Platform/linux/stores/VCard.h"

namespace {

const std::string phoneBook =
    "\xEF\xBB\xBF# a stray line\r\n"
    "BEGIN:VCARD\r\nVERSION:3.0\r\nPRODID:-//Other//EN\r\nN:Lee;Ann;;;\r\nFN:Ann\r\n  Lee\r\n"
    "item1.EMAIL;TYPE=INTERNET;type=\"pref,WORK\":ann@lee.example\r\nitem1.X-ABLabel:_$!<School>!$_\r\n"
    "X-ODD;X=\"a:b;c\":keep\\, \\; \\\\ this\r\nPHOTO;ENCODING=b:AAAA\r\n BBBB\r\nNOTE:one\\ntwo\\\\n\r\nEND:VCARD\r\n\r\n"
    "begin:vcard\nversion:4.0\nfn:Bo \xFF\nTEL;VALUE=uri;TYPE=\"voice,cell\":tel:+1-201\norg:Bo\\; Co;Sales\nend:vcard\n"
    "BEGIN:VCARD\nFN:Cut";

TEST(VCard, readsFoldsGroupsEscapesAndSeveralCards) {
  const auto file = VCard::parse(phoneBook);
  ASSERT_EQ(file.cards.size(), 3u);
  const auto& ann = *file.cards[0];
  EXPECT_EQ(ann.find("FN")->text(), "Ann Lee");
  EXPECT_EQ(ann.find("N")->components(), (std::vector<std::string>{"Lee", "Ann", "", "", ""}));
  EXPECT_EQ(ann.find("EMAIL")->group, "item1");
  EXPECT_EQ(ann.find("EMAIL")->parameter("TYPE"), (std::vector<std::string>{"internet", "pref", "work"}));
  EXPECT_EQ(ann.inGroup("ITEM1", "X-ABLABEL")->text(), "_$!<School>!$_");
  EXPECT_EQ(ann.find("X-ODD")->text(), "keep, ; \\ this");
  EXPECT_EQ(ann.find("PHOTO")->value(), "AAAABBBB");
  EXPECT_EQ(ann.find("NOTE")->text(), "one\ntwo\\n");
  const auto& bo = *file.cards[1];
  EXPECT_EQ(bo.find("FN")->text(), "Bo \uFFFD");
  EXPECT_EQ(bo.find("TEL")->parameter("TYPE"), (std::vector<std::string>{"voice", "cell"}));
  EXPECT_EQ(bo.find("ORG")->components(), (std::vector<std::string>{"Bo; Co", "Sales"}));
}

TEST(VCard, givesEveryByteBackWhereverTheFileIsCut) {
  for (std::size_t cut = 0; cut <= phoneBook.size(); ++cut) {
    const auto part = phoneBook.substr(0, cut);
    EXPECT_EQ(VCard::parse(part).bytes(), part);
  }
}

TEST(VCard, addsToACardCutAnywhereAndLosesNothing) {
  for (std::size_t cut = 0; cut <= phoneBook.size(); ++cut) {
    auto file = VCard::parse(phoneBook.substr(0, cut));
    if (file.cards.empty()) continue;
    file.cards.back()->set("X-NEW", "value");
    const auto again = VCard::parse(file.bytes());
    ASSERT_EQ(again.cards.size(), file.cards.size()) << cut;
    EXPECT_EQ(again.cards.back()->find("X-NEW")->text(), "value") << cut;
  }
}

TEST(VCard, writesOnlyTheLineThatIsEdited) {
  auto file = VCard::parse(phoneBook);
  file.cards[0]->set("NOTE", VCard::escaped("a,b;c\r\nd\\"));
  file.cards[0]->setValue(*file.cards[0]->find("EMAIL"), "new@lee.example");
  auto expected = phoneBook;
  const auto replace = [&](const std::string& from, const std::string& to) {
    expected.replace(expected.find(from), from.size(), to);
  };
  replace("NOTE:one\\ntwo\\\\n", "NOTE:a\\,b\\;c\\nd\\\\");
  replace("ann@lee.example", "new@lee.example");
  EXPECT_EQ(file.bytes(), expected);
  EXPECT_EQ(file.cards[0]->find("NOTE")->text(), "a,b;c\nd\\");
}

TEST(VCard, takesNoLineOfAGroupForTheBeginningOrEndOfACard) {
  auto file = VCard::parse("BEGIN:VCARD\nitem1.BEGIN:VCARD\nitem1.EMAIL:a@b\nitem1.END:VCARD\nEND:VCARD\n");
  auto& card = *file.cards.at(0);
  card.remove(card.find("EMAIL"));
  EXPECT_EQ(file.bytes(), "BEGIN:VCARD\nEND:VCARD\n");
}

TEST(VCard, foldsLongLinesBetweenCharacters) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += "😀é€";
  auto card = VCard::Card::create();
  card.set("NOTE", VCard::escaped(text));
  const auto bytes = card.bytes();
  for (std::size_t begin = 0, end = 0; (end = bytes.find("\r\n", begin)) != std::string::npos; begin = end + 2) {
    EXPECT_LE(end - begin, 75u);
    EXPECT_NE(static_cast<unsigned char>(bytes[begin + 1]) & 0xC0, 0x80);  // behind the blank
  }
  EXPECT_EQ(VCard::parse(bytes).cards.at(0)->find("NOTE")->text(), text);
}

}  // namespace
