// Guards what an agent gets to read of a mail: no markup, history or signature, the sender's own words whole, and any
// text within a time in proportion to its length. fuzz/mailbody.cpp compares it with the patterns it stands for.
#include <gtest/gtest.h>

#include "Platform/Text.h"
#include "TavroCore/mail/MailBody.h"

namespace {

using MailBody::clean;
using MailBody::stripHTMLToText;

std::string times(std::size_t count, std::string_view piece) {
  std::string text;
  text.reserve(count * piece.size());
  while (count-- > 0) text += piece;
  return text;
}

struct Case {
  std::string raw;
  std::string expected;
};

void expectAll(std::string (*operation)(std::string_view), const std::vector<Case>& cases) {
  for (const auto& [raw, expected] : cases) EXPECT_EQ(operation(raw), expected) << "of: " << raw.substr(0, 500);
}

TEST(MailBody, leavesPlainTextButForItsWhiteSpace) {
  expectAll(clean, {{"(no matching message)", "(no matching message)"},
                    {"a <b> c", "a <b> c"},
                    {"Hi\r\nthere\rhere", "Hi\nthere\nhere"},
                    {" \t a \t b\tc  \n \n\t\n\n  d\u2028  e\u3000\n", "a b\tc\n\nd\u2028e"},
                    {"&amp; </div>", "&amp; </div>"},
                    {std::string("a\0b \xFF", 5), std::string("a\0b \uFFFD", 7)},
                    {"", ""}});
}

TEST(MailBody, cutsWhereTheHistoryBegins) {
  const std::string written = " wrote:\n> old";
  expectAll(clean, {{"> old", ""},
                    {"new\v>old", "new"},
                    {"a > b\n\n>", "a > b"},
                    {"new\nOn Mon, Jan 1, 2024, Ann wrote:\n> old\n", "new"},
                    {"new\nOn it I wrote: more", "new\nOn it I wrote: more"},
                    {"On wrote:", "On wrote:"},
                    {"new\nOn it I wrote:\u00A0 \u2029old", "new"},
                    {"a\nOn " + times(200, "é") + written, "a"},
                    {"a\nOn " + times(201, "é") + written, "a\nOn " + times(201, "é") + " wrote:"},
                    {"new\nLe lundi, Ann a écrit :\nold", "new"},
                    {"a\nLe " + times(200, "é") + "a écrit\n\n:\nold", "a"},
                    {"a\nLe " + times(201, "x") + "écrit:", "a\nLe " + times(201, "x") + "écrit:"},
                    {"Le mot écrit : oui", "Le mot écrit : oui"},
                    {"new -----Original Message-----\nold", "new"},
                    {"new\n-----Message d'origine-----\nold", "new"},
                    {times(31, "_") + "\n" + times(33, "_") + "\nold", times(31, "_")}});
}

TEST(MailBody, cutsTheSignatureAtALineOfTwoHyphensAndABlank) {
  expectAll(clean, {{"Hi\n-- \nAnn", "Hi"},
                    {"Hi\n-- \n", "Hi"},
                    {"Hi\n--\nAnn", "Hi\n--\nAnn"},
                    {"Hi\n--  \nAnn", "Hi\n--\nAnn"},
                    {"Hi -- \nAnn", "Hi --\nAnn"},
                    {"-- \nAnn", "-- \nAnn"},
                    {"Hi\n> old\n-- \nAnn", "Hi"},
                    {"<p>Hi</p><div>--&nbsp;<br>Ann</div>", "Hi"}});
}

TEST(MailBody, readsHTMLAsItsText) {
  expectAll(clean, {{"<p>One</p>\n\n\n<p>Two</P><ul><li>a</li><li>b</li></ul>c<br/>d<bR />e<br class=x>f",
                     "One\n\nTwo\na\nb\nc\nd\nef"},
                    {"<html><head profile=1><title>T</title></head><style>p{}</style>x<script>a<b</SCRIPT>y", "xy"},
                    {"<div>x<!-- <b> -- > -->y</div>&amp;lt; &LT; &#39;&apos;&quot;&nbsp;&gt;", "xy\n< &LT; ''\" >"},
                    {"<span>a\u00A0\u200Bb\u2060c\uFEFF</span>", "a b c"}});
}

TEST(MailBody, removesOnlyWholeElementsCommentsAndTags) {
  expectAll(stripHTMLToText,
            {{"a<header>b</header></head>", "ab"},
             {"a<script\u0301>b</script>", "ab"},
             {"a<script>b", "ab"},
             {"<script x", "<script x"},
             {"a<\u017Fcript>b</script>c<\uFB06yle>d</\uFB05yle>e", "ace"},
             {"<s<script></script>cript>b</script>", "b"},  // what a pass puts together, it doesn't look at
             {"<st<script></script>yle>b</style>c", "c"},   // the next one does
             {"<<!-- -->!-- x -->y", "y"},
             {"<> a <b", "<> a <b"},
             {"a < b > c", "a c"},
             {"&amp;amp;lt; &amp;nbsp; &am&amp;p;", "&amp;lt; &nbsp; &am&p;"},
             {"a \r\n \r b", "a \r\n\rb"}});
}

TEST(MailBody, capsAtTheLastWholeCharacter) {
  const std::string full(MailBody::byteCap, 'x');
  expectAll(clean, {{full + "\n", full},
                    {full + "yz", full + "\n\n[truncated: 2 more bytes]"},
                    {full.substr(1) + "é", full.substr(1) + "\n\n[truncated: 2 more bytes]"},
                    {full.substr(2) + "😀", full.substr(2) + "\n\n[truncated: 4 more bytes]"}});
}

// Were one of them quadratic, the test would run into its time limit.
TEST(MailBody, takesMegabytesOfBeginningsWithoutAnEnd) {
  constexpr std::size_t size = 5'000'000;
  const auto expectShort = [](std::string_view opening, std::string_view piece) {
    const std::string mail = std::string(opening) + times(size / piece.size(), piece);
    EXPECT_LT(clean(mail).size(), MailBody::byteCap + 50) << opening << piece;
  };
  for (const auto* piece : {"<script", "<script>", "<\uFB06", "<!--", "<", "<>", "&"}) expectShort("<br", piece);
  for (const auto* piece : {" ", "\n", "\n>", "On ", "\nOn ", "\nLe écrit", "_"}) expectShort("x", piece);
  expectShort("Le écrit", " ");
}

}  // namespace
