// Guards what lists and replies are made of: headers as all kinds of programs write them, well and badly.
#include <gtest/gtest.h>

#include "Platform/Text.h"
#include "Platform/linux/stores/MimeHeaders.h"

namespace {

std::string subject(const std::string& raw) { return Mime::headers("Subject: " + raw + "\n\nbody").subject; }

TEST(MimeHeaders, decodesTheWordsOfASubject) {
  struct Row {
    const char *raw, *text;
  };
  for (const auto& [raw, text] : std::initializer_list<Row>{
           {"Plain  and\tsimple ", "Plain and simple"},
           {"folded\r\n line\n\tand more", "folded line and more"},
           {"=?utf-8?Q?Gr=C3=BC=C3=9Fe_aus?= =?iso-8859-1?B?S/ZsbiA=?= 2026", "Grüße ausKöln 2026"},
           {"=?UTF-8?Q?a?= plain =?UTF-8?q?b?=", "a plain b"},
           {"=?utf-8?B?4oI=?= =?utf-8?Q?=AC?=\n =?utf-8?B?IQ==?=", "€!"},  // one character in two words
           {"=?gb2312?B?xOO6w4Ew?=", "你好\uFFFD"},
           {"=?ks_c_5601-1987?B?vsiz5w==?= =?iso-2022-jp?B?GyRCRnxLXBsoQg==?=", "안녕日本"},
           {"=?utf-8*de?Q?mit_Sprache?=", "mit Sprache"},
           {"=?utf-8?Q?wrong_=C3_byte?=", "wrong \uFFFD byte"},
           {"=?no-such-set?Q?=C3=A9t=E9?=", "ét\uFFFD"},
           {"=?../../etc/passwd?Q?x?= =?,?Q?y?=", "xy"},
           {"=?iso-8859-1?Q?=93quoted=94?=", "“quoted”"},  // Windows bytes under a smaller set's name
           {"=?us-ascii?Q?=E9?=", "é"},
           {"raw \xC3\xA9 and =?utf-8?q?=C3=A9?=", "raw é and é"},
           {"raw \xE9 Windows", "raw é Windows"},
           {"=?utf-8?B?YW*Jj?=", "abc"},
           {"=?utf-8?B?YWI?=", "ab"},
           {"=?utf-8?Q?no end", "=?utf-8?Q?no end"},
           {"=?utf-8?Q?no end =?utf-8?Q?but_here?= =?utf-8?X?odd?=", "=?utf-8?Q?no end but here =?utf-8?X?odd?="},
           {"=?utf-8?Q?a=0D=0ABcc:_x@y=00?=", "a Bcc: x@y"},  // no line of its own
           {"", ""}})
    EXPECT_EQ(subject(raw), text) << raw;
}

TEST(MimeHeaders, findsAddressesInWhateverStandsThere) {
  struct Row {
    const char *raw, *people;
  };
  for (const auto& [raw, people] : std::initializer_list<Row>{
           {"Ann Lee <ann@x>, bo@y", "Ann Lee <ann@x> | bo@y"},
           {"\"Lee, Ann\" <ann@x>,\n \"O\\\"Hara\" <o@h>", R"("Lee, Ann" <ann@x> | "O\"Hara" <o@h>)"},
           {"ann@x (Ann (the first) Lee\\))", R"x("Ann (the first) Lee)" <ann@x>)x"},
           {"=?utf-8?Q?J=C3=B6rg?= <j@x>, \"=?utf-8?Q?J=C3=B6rg?=\" <j@x>", "Jörg <j@x> | Jörg <j@x>"},
           {"=?utf-8?Q?Boss_=3Cboss@x=3E=2C?= <eve@y>",
            R"("Boss <boss@x>," <eve@y>)"},  // the true address is the last one
           {"J\xF6rg K. <j@x>", "Jörg K. <j@x>"},
           {"Friends: a@b, \"C\" <c@d>;, e@f", "a@b | C <c@d> | e@f"},
           {"undisclosed-recipients:;", ""},
           {"a@b; c@d", "a@b | c@d"},
           {"Ann Lee ann@x, Bo Lee, bo", "Ann Lee <ann@x> | Bo Lee | bo"},
           {"Ann [x] <mailto:a@b> (y)", R"("Ann [x]" <a@b>)"},
           {"<@far,@away:a@b>, <c@d, <e@f", "a@b | c@d | e@f"},
           {"bo@y <bo@y>", "\"bo@y\" <bo@y>"},
           {"Ann <a@b> <c@d>", "Ann <a@b> | c@d"},
           {"\"a b\"@c, < x @ y >", "\"ab\"@c | x@y"},
           {"ann@[192.0.2.1], ann@[IPv6:::1]", "ann@[192.0.2.1] | ann@[IPv6:::1]"},
           {"jörg@dömain.example, x@xn--bcher-kva.example", "jörg@dömain.example | x@xn--bcher-kva.example"},
           {"\"open", "open"},
           {"(open", "open"},
           {" ,;:,<>", ""}}) {
    std::string shown;
    for (const auto& one : Mime::addresses(raw)) shown += (shown.empty() ? "" : " | ") + Mime::display(one);
    EXPECT_EQ(shown, people) << raw;
    std::string again;
    for (const auto& one : Mime::addresses(Mime::headers("From: " + std::string(raw) + "\n").from))
      again += (again.empty() ? "" : " | ") + Mime::display(one);
    EXPECT_EQ(again, people) << raw;
  }
}

TEST(MimeHeaders, tellsWhereMailCanBeSent) {
  for (const auto* good : {"ann@x.example", "a.b+c@x", "\"a,b\"@x", "jörg@dömain.example", "a@[192.0.2.1]"})
    EXPECT_TRUE(Mime::isAddress(good)) << good;
  for (const auto* bad : {"", "ann", "@x", "ann@", "a b@x", "a@b@c", "a@b, c@d", "a@b>", "a@b\nBcc: c@d", "\"a\n\"@x",
                          "a@b;c", "a@[x] y", "a\xFF@b", "(a)@b", "a\u2028b@c", "a@b\u0085", "\"a<b\"@c"})
    EXPECT_FALSE(Mime::isAddress(bad)) << bad;
}

TEST(MimeHeaders, readsDatesOfManyPrograms) {
  struct Row {
    const char *raw, *date;
  };
  for (const auto& [raw, date] :
       std::initializer_list<Row>{{"Fri, 21 Nov 1997 09:55:06 -0600", "1997-11-21T15:55:06Z"},
                                  {"21 Nov 97 09:55 EST", "1997-11-21T14:55:00Z"},
                                  {"Tue, 1 Jul 2003 10:52:37 +0200 (CEST (summer))", "2003-07-01T08:52:37Z"},
                                  {"Fri, 21 Nov 1997 09(comment):   55  :  06 -0600", "1997-11-21T15:55:06Z"},
                                  {"Fri Nov 21 09:55:06 1997", "1997-11-21T09:55:06Z"},
                                  {"1997-11-21 09:55:06", "1997-11-21T09:55:06Z"},
                                  {"Fri, 13 Mar 2026 23:59:60 +0000", "2026-03-13T23:59:59Z"},
                                  {"13-Mar-2026 10:00:00 GMT+0100", "2026-03-13T09:00:00Z"},
                                  {"Sat, Mar 14 2026 00:30 CEST", "2026-03-13T22:30:00Z"},
                                  {"2026-03-13T10:00:00.5-01:30", "2026-03-13T11:30:00Z"},
                                  {"Fri, 13 March 2026 10:00:00 +9999", "2026-03-13T10:00:00Z"},
                                  {"13 Mar 126", "2026-03-13T00:00:00Z"},
                                  {"Fri, 13 Mar 2026 25:00", ""},
                                  {"Fri, 13 Mar 2026 10:0x", ""},
                                  {"13.03.2026 10:00", ""},
                                  {"1 Jan 49 00:00 Z", "2049-01-01T00:00:00Z"},
                                  {"Fri, 31 Feb 2025 10:00:00 +0000", ""},
                                  {"Thu, 13 Mar 99999 10:00:00 +0000", ""},
                                  {"yesterday", ""},
                                  {"", ""}}) {
    const auto found = Mime::headers("Date: " + std::string(raw) + "\n").date;
    EXPECT_EQ(found ? Dates::iso8601(*found) : "", date) << raw;
  }
}

TEST(MimeHeaders, readsTheSameHeaderWithAnyLineEnds) {
  const std::string text =
      "From ann@x Fri Nov 21 09:55:06 1997\n"
      "Received: from a by b; Fri, 13 Mar 2026 10:00:00 +0000\nReceived: from c by a; Fri, 13 Mar 2026 09:00:00 +0000\n"
      "References: <one@x>\n <two@x> junk <one@x>\nin-reply-to: Your mail of <three@x>\nSUBJECT : first\nSubject: second\n"
      "no header line\n and what goes on with it\nTo:\n ann@x\nMessage-Id: odd <id @x\t> <other@x>\n\nCc: in@the.body\n";
  for (const auto* end : {"\n", "\r\n", "\r"}) {
    const auto headers = Mime::headers(Text::replaceAll(text, "\n", end));
    EXPECT_EQ(headers.subject, "first");
    EXPECT_EQ(headers.from, "");
    EXPECT_EQ(headers.messageID, "id@x");
    EXPECT_EQ(headers.references, (std::vector<std::string>{"one@x", "two@x", "three@x"}));
    EXPECT_EQ(headers.to.size(), 1U);
    EXPECT_TRUE(headers.cc.empty());
    EXPECT_EQ(headers.lastReceived ? Dates::iso8601(*headers.lastReceived) : "", "2026-03-13T10:00:00Z");
  }
  EXPECT_EQ(Mime::headers("Message-ID: bare@x\n").messageID, "bare@x");
  EXPECT_EQ(Mime::headers("Hello,\nSubject: of a letter\n\n").subject, "");
}

TEST(MimeHeaders, costsHostileHeadersLinearTime) {
  constexpr std::size_t size = 1 << 20;
  for (const std::string piece :
       {"(",  "\"", "<",   ">",      "a@b,",     "a:", "a@[:", "=?utf-8?q?a?= ", "=?utf-8?q?", "=?",
        "?=", "\\", "@",   "\xFF",   "x",        " ",  "\n ",  "<a@b> ",         "<a",         "(a)",
        ";",  "\n", "a\n", "a: b\n", "To: a@b\n"}) {
    std::string text;
    while (text.size() < size) text += piece;
    for (const auto* name : {"Subject", "To", "References"}) {
      const auto headers = Mime::headers(std::string(name) + ": " + text);  // a quadratic step takes minutes here
      EXPECT_TRUE(Text::isValidUTF8(headers.subject + headers.messageID)) << piece;
    }
  }
}

}  // namespace
