// Guards mail that goes out in the owner's name: the bytes as the standards want them, nobody addressed but those
// who are meant, no header but our own.
#include <gtest/gtest.h>

#include <cstdlib>

#include "Platform/Error.h"
#include "Platform/Text.h"
#include "Platform/linux/stores/MimeCompose.h"
#include "Platform/linux/stores/MimeHeaders.h"

namespace {

Mime::Outgoing letter() {
  return {.from = {.name = "Ann Lee", .address = "ann@lee.example"},
          .to = {{.name = "", .address = "bo@y.example"}},
          .cc = {},
          .bcc = {},
          .subject = "Lunch",
          .text = "Hello Bo,\rsee you.\r",
          .attachments = {},
          .messageID = "1@lee.example",
          .inReplyTo = "",
          .references = {},
          .date = *Dates::parseISO8601("2026-03-13T09:05:07Z")};
}

TEST(MimeCompose, writesAPlainLetterPlainly) {
  setenv("TZ", "America/St_Johns", 1);  // half an hour, and summer time since the 8th
  EXPECT_EQ(Mime::compose(letter()),
            "From: Ann Lee <ann@lee.example>\nTo: bo@y.example\nSubject: Lunch\nDate: Fri, 13 Mar 2026 06:35:07 -0230\n"
            "Message-ID: <1@lee.example>\nMIME-Version: 1.0\nContent-Type: text/plain; charset=utf-8\n"
            "Content-Transfer-Encoding: 7bit\n\nHello Bo,\nsee you.\n");
}

TEST(MimeCompose, encodesWhatASCIICannotSay) {
  auto message = letter();
  message.to = {{.name = "Lee, Bö", .address = "bo@y.example"}, {.name = "A \"B\" C", .address = "abc@y.example"}};
  message.subject = "Grüße aus Köln, wo die Straßenbahnen über die Brücken fahren";
  message.text = "Gr\u00FC\u00DFe = 1 \r\n" + std::string(80, 'x') + "\n-- \nAnn";
  message.inReplyTo = "q@y.example";
  message.references = {"p@y.example", "q@y.example"};
  const auto bytes = Mime::compose(message);
  EXPECT_NE(bytes.find("\nTo: =?UTF-8?B?TGVlLCBCw7Y=?= <bo@y.example>, \"A \\\"B\\\" C\" <abc@y.example>\n"
                       "Subject: =?UTF-8?B?R3LDvMOfZSBhdXMgS8O2bG4sIHdvIGRpZSBTdHJhw59lbmJhaG5lbiDDvGJl?=\n"
                       " =?UTF-8?B?ciBkaWUgQnLDvGNrZW4gZmFocmVu?=\n"),
            std::string::npos)
      << bytes;
  EXPECT_NE(bytes.find("\nIn-Reply-To: <q@y.example>\nReferences: <p@y.example> <q@y.example>\n"), std::string::npos);
  EXPECT_NE(bytes.find("\nContent-Transfer-Encoding: quoted-printable\n\nGr=C3=BC=C3=9Fe =3D 1=20\n" +
                       std::string(75, 'x') + "=\nxxxxx\n--=20\nAnn\n"),
            std::string::npos)
      << bytes;
  message.text = "日本";
  EXPECT_NE(Mime::compose(message).find("\nContent-Transfer-Encoding: base64\n\n5pel5pysCg==\n"), std::string::npos);
}

TEST(MimeCompose, keepsTheCharsetOfATextThatIsNotUTF8) {
  auto message = letter();
  message.attachments = {{.name = "a.csv", .type = "text/csv", .charset = "iso-8859-1", .bytes = "caf\xE9"},
                         {.name = "b.csv", .type = "text/csv", .charset = "x\nBcc: x@y", .bytes = "caf\xE9"}};
  const auto bytes = Mime::compose(message);
  EXPECT_NE(bytes.find("Content-Type: text/csv; charset=iso-8859-1\n"), std::string::npos);
  EXPECT_NE(bytes.find("Content-Type: text/csv\n"), std::string::npos);
}

TEST(MimeCompose, joinsFiles) {
  auto message = letter();
  message.attachments = {{.name = "Übersicht 2026.PDF", .type = "", .bytes = std::string("%PDF\0\xFF", 6)},
                         {.name = "note.eml", .type = "message/rfc822", .bytes = "From: x"},
                         {.name = "a\"b\nBcc: x@y.txt", .type = "text/plain\nX: y", .bytes = std::string(60, 'a')}};
  auto bytes = Mime::compose(message);
  const auto begin = bytes.find("boundary=\"") + 10;
  const auto boundary = bytes.substr(begin, bytes.find('"', begin) - begin);
  bytes = Text::replaceAll(bytes.substr(bytes.find("Content-Type")), boundary, "B");
  EXPECT_EQ(bytes,
            "Content-Type: multipart/mixed; boundary=\"B\"\n\n--B\nContent-Type: text/plain; charset=utf-8\n"
            "Content-Transfer-Encoding: 7bit\n\nHello Bo,\nsee you.\n\n--B\nContent-Type: application/pdf\n"
            "Content-Disposition: attachment; filename*=UTF-8''%C3%9Cbersicht%202026.PDF\n"
            "Content-Transfer-Encoding: base64\n\nJVBERgD/\n\n--B\nContent-Type: application/octet-stream\n"
            "Content-Disposition: attachment; filename=note.eml\nContent-Transfer-Encoding: base64\n\nRnJvbTogeA==\n\n"
            "--B\nContent-Type: application/octet-stream\n"
            "Content-Disposition: attachment; filename=\"a\\\"b Bcc: x@y.txt\"\nContent-Transfer-Encoding: base64\n\n" +
                Text::replaceAll(std::string(19, 'x'), "x", "YWFh") + "\nYWFh\n\n--B--\n");
}

TEST(MimeCompose, letsNoValueAddAHeaderOrARecipient) {
  const std::string evil = "x\r\nBcc: eve@evil.example\r\n\r\nbody\rX: y\nTo: eve@evil.example,";
  auto message = letter();
  message.from.name = message.to[0].name = message.subject = message.messageID = message.inReplyTo = evil;
  message.references = {evil, "=?utf-8?q?", std::string(5000, 'r')};
  const auto headers = Mime::headers(Mime::compose(message));
  EXPECT_EQ(headers.fromAddresses.size(), 1U);
  ASSERT_EQ(headers.to.size(), 1U);
  EXPECT_EQ(headers.to[0].address, "bo@y.example");
  EXPECT_EQ(headers.to[0].name, headers.subject);
  EXPECT_TRUE(headers.cc.empty() && headers.bcc.empty());
  message.to[0].name = "Bo " + std::string(101, '"') + ", <eve@evil.example>";  // longer than a line with its escapes
  const auto quoted = Mime::headers(Mime::compose(message)).to;
  ASSERT_EQ(quoted.size(), 1U);
  EXPECT_EQ(quoted[0].name + quoted[0].address, message.to[0].name + "bo@y.example");
  for (const auto* address :
       {"", "bo", "bo@y.example, eve@evil.example", "bo@y.example\nBcc: eve@evil.example", "<bo@y>"}) {
    message = letter();
    message.bcc = {{.name = "Bo", .address = address}};
    try {
      Mime::compose(message);
      ADD_FAILURE() << address;
    } catch (const Error& error) {
      EXPECT_NE(error.description().find("is no mail address"), std::string::npos) << error.description();
      EXPECT_EQ(error.description().find('\n'), std::string::npos);
    }
  }
}

TEST(MimeCompose, keepsEveryLineWithinWhatServersTake) {
  auto message = letter();
  message.subject = std::string(3000, 's');
  message.to.assign(300, {.name = "Bö " + std::string(300, 'n'), .address = "bo@y.example"});
  for (int i = 0; i < 500; ++i) message.references.push_back(std::to_string(i) + "@x.example");
  message.text = std::string(5000, 't');
  const auto bytes = Mime::compose(message);
  for (const auto& line : Text::split(bytes, '\n')) EXPECT_LE(line.size(), 200U) << line;
  const auto headers = Mime::headers(bytes);
  EXPECT_EQ(headers.subject, message.subject);
  EXPECT_EQ(headers.to.size(), message.to.size());
  EXPECT_EQ(headers.to.back().name, message.to.back().name);
  ASSERT_EQ(headers.references.size(), 50U);
  EXPECT_EQ(headers.references.front(), "0@x.example");
  EXPECT_EQ(headers.references.back(), "499@x.example");
}

}  // namespace
