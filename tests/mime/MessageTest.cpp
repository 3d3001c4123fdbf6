// Guards what an agent reads of a mail and gets out of it: the right parts, whole texts, no bytes lost but broken
// ones, and no message, however made, that takes the desktop down.
#include <gtest/gtest.h>

#include "Platform/Files.h"
#include "Platform/Text.h"
#include "Platform/linux/stores/MimeCompose.h"
#include "Platform/linux/stores/MimeMessage.h"
#include "tests/platform/TemporaryDirectory.h"

namespace {

class MimeMessage : public testing::Test {
 protected:
  Mime::Message message(const std::string& bytes) {
    const auto file = directory_.path() / std::to_string(++count_);
    Files::replace(file, bytes);
    return Mime::Message(file);
  }
  std::string text(const std::string& bytes) { return message(bytes).text(); }

  /// "name type size" of each.
  std::string files(const std::string& bytes) {
    std::string shown;
    for (const auto& one : message(bytes).attachments())
      shown += (shown.empty() ? "" : ", ") + one.name + ' ' + one.type + ' ' + std::to_string(one.size);
    return shown;
  }

 private:
  TemporaryDirectory directory_;
  int count_ = 0;
};

std::string part(const std::string& header, const std::string& body) { return "--b\n" + header + "\n\n" + body + '\n'; }
std::string multipart(const std::string& kind, const std::string& parts) {
  return "From: a@x\nContent-Type: multipart/" + kind + "; boundary=\"b\"\n\nold programs show this\n" + parts +
         "--b--\nand this\n";
}
/// A multipart within another.
std::string inner(const std::string& kind, const std::string& parts) {
  return part("Content-Type: multipart/" + kind + "; boundary=\"inner\"",
              Text::replaceAll(parts, "--b\n", "--inner\n") + "--inner--");
}

const auto plain = part("Content-Type: text/plain", "plain");
const auto html = part("Content-Type: text/html", "<p>ht<b>ml</b></p>");
const auto picture = part("Content-Type: image/png; name=p.png\nContent-Transfer-Encoding: base64", "AAAA");

TEST_F(MimeMessage, showsTheTextOfEachKindOfMultipart) {
  struct Row {
    std::string message, text, files;
  };
  const auto attached = part("Content-Type: text/plain\nContent-Disposition: attachment; filename=a.txt", "file");
  const auto calendar = part("Content-Type: text/calendar", "BEGIN:VCALENDAR");
  const auto mail = part("Content-Type: message/rfc822", "From: Bo <bo@y>\nSubject: =?utf-8?Q?=C3=BC?=\n\ncarried");
  const auto signature = part("Content-Type: application/pgp-signature; name=signature.asc", "-----");
  for (const auto& [message, text, files] : std::vector<Row>{
           {"From: a@x\n\nHello\r\n\r\n", "Hello", ""},
           {multipart("alternative", plain + html), "plain", ""},
           {multipart("alternative", part("", " \n") + html + calendar), "html", ""},
           {multipart("alternative", html + plain + part("Content-Type: text/plain", "richest")), "richest", ""},
           {multipart("mixed", plain + picture + html + attached + calendar), "plain\n\nhtml",
            "p.png image/png 3, a.txt text/plain 4"},
           {multipart("mixed", inner("alternative", plain + inner("related", html)) + picture), "plain",
            "p.png image/png 3"},
           {multipart("related", html + picture + part("Content-Type: text/html", "frame")), "html",
            "p.png image/png 3"},
           {multipart("signed; micalg=x", inner("mixed", plain + picture) + signature), "plain", "p.png image/png 3"},
           {multipart("encrypted", part("Content-Type: application/pgp-encrypted", "Version: 1") +
                                       part("Content-Type: application/octet-stream; name=e.asc", "-----")),
            "(This message is encrypted with OpenPGP; it isn't decrypted here.)", "e.asc application/octet-stream 5"},
           {multipart("mixed", plain + mail), "plain", "ü.eml message/rfc822 52"},
           {multipart("mixed", mail), "From: Bo <bo@y>\nSubject: ü\n\ncarried", "ü.eml message/rfc822 52"},
           {multipart("mixed", part("Content-Type: text/plain; name=all.txt", "all") + attached), "all",
            "a.txt text/plain 4"},
           {"Content-Type: application/pdf; name*=utf-8''%C3%BC.pdf\n\nx", "", "ü.pdf application/pdf 1"},
           {multipart("digest", part("X: y", "Subject: one\n\n1") + part("X: y", "Subject: two\n\n2")),
            "Subject: one\n\n1", "one.eml message/rfc822 15, two.eml message/rfc822 15"}}) {
    EXPECT_EQ(this->text(message), text) << message;
    EXPECT_EQ(this->files(message), files) << message;
    const auto network = Text::replaceAll(message, "\n", "\r\n");
    EXPECT_EQ(this->text(network), text) << "with CRLF: " << message;
  }
}

TEST_F(MimeMessage, showsSomethingOfWhatIsBroken) {
  struct Row {
    std::string message, text;
  };
  for (const auto& [message, text] : std::vector<Row>{
           {"", ""},
           {"no mail\nat all", "no mail\nat all"},
           {"From a@x Fri Nov 21 09:55:06 1997\nSubject: x\n\nHello", "Hello"},
           {"Subject: only a header", ""},
           {"Subject: x\nno header line\nTo: b@y\n\nHello", "Hello"},
           {"From: a@x\rSubject: x\r\rold\rMac", "old\nMac"},
           {"Content-Type: multipart/mixed\n\nno boundary", "no boundary"},
           {"Content-Type: multipart/mixed; boundary=b\n\nnowhere to be found\n--c\n", "nowhere to be found\n--c"},
           {"Content-Type: multipart/mixed; boundary=b\n--b\nunheaded\n--b\n\nno end", "unheaded\n\nno end"},
           {multipart("mixed", part("Content-Type: multipart/mixed; boundary=b", plain) + plain), "plain\n\nplain"},
           {multipart("mixed", part("Content-Type: multipart/mixed; boundary=c", "--c\n\nopen") + plain),
            "open\n\nplain"},
           {multipart("mixed", part("Content-Type: text", "old") + part("Content-Type: ;;;", "none")), "old\n\nnone"},
           {std::string("Subject: x\n\nN\0UL", 16), "NUL"}})
    EXPECT_EQ(this->text(message), text) << message;
}

TEST_F(MimeMessage, decodesWhatCanBeDecoded) {
  struct Row {
    std::string header, body, text;
  };
  for (const auto& [header, body, text] : std::vector<Row>{
           {"Content-Transfer-Encoding: Quoted-Printable", "caf=C3=A9 =\nau=zz=3D=\r\n lait=2", "café au=zz= lait"},
           {"Content-Transfer-Encoding: base64 (really)", "Y2Fm\nw6*k= \n--\nlist footer", "café"},
           {"Content-Transfer-Encoding: base64", "Y2Fmw6k", "café"},
           {"Content-Transfer-Encoding: x-uuencode", "begin 644 x\n#0V%T\n`\nend", "Cat"},
           {"Content-Transfer-Encoding: x-unknown", "as is", "as is"},
           {"Content-Type: text/plain; charset=utf-8", "caf\xE9 \xC3\xA9", "caf\uFFFD é"},
           {"Content-Type: text/plain; charset=nobodys", "caf\xE9 \xC3\xA9", "caf\uFFFD é"},
           {"Content-Type: text/plain; charset=\"iso-8859-1", "caf\xE9 \x80", "café €"},
           {"Content-Type: text/plain", "caf\xE9", "café"},
           {"Content-Type: text/plain; charset=shift_jis", "\x93\xFA\x96{\x81", "日本\uFFFD"},
           {"Content-Type: text/html; charset=koi8-r", "<p>\xC4\xC1&nbsp;!", "да\u00A0!"},
           {"Content-Type: text/plain; format=flowed", "one \ntwo\n> > q \n>> r\n> s \n next\n-- \nAnn \n>x",
            "one two\n> > q \n>> r\n> s \nnext\n-- \nAnn \n> x"},
           {"Content-Type: text/plain; format=flowed; delsp=yes", "日 \n本", "日本"}}) {
    EXPECT_EQ(this->text(header + "\n\n" + body), text) << header << "\n\n" << body;
  }
}

TEST_F(MimeMessage, givesFilesBackAsTheyWereSent) {
  std::string bytes;
  for (unsigned i = 0; i < 300'000; ++i) bytes += static_cast<char>(i * 7919 >> 3);
  Mime::Outgoing outgoing{.from = {.name = "", .address = "a@x"},
                          .to = {{.name = "", .address = "b@y"}},
                          .text = "-- \r日本\r\r" + std::string(2000, 'x'),
                          .attachments = {{.name = "Über " + std::string(150, 'n') + ".bin", .bytes = bytes},
                                          {.name = "a\"\\;b.txt", .bytes = ""}}};
  const auto sent = message(Mime::compose(outgoing));
  EXPECT_EQ(sent.text(), "-- \n日本\n\n" + std::string(2000, 'x'));
  const auto attachments = sent.attachments();
  ASSERT_EQ(attachments.size(), 2U);
  EXPECT_EQ(attachments[0].name, outgoing.attachments[0].name);
  EXPECT_EQ(attachments[0].size, bytes.size());
  EXPECT_EQ(sent.attachmentBytes(0), bytes);
  EXPECT_EQ(attachments[1].name, outgoing.attachments[1].name);
  EXPECT_EQ(sent.attachmentBytes(1) + sent.attachmentBytes(2), "");
}

TEST_F(MimeMessage, bearsMessagesOfAnySize) {
  const auto repeated = [](const std::string& piece, std::size_t times) {
    std::string text;
    for (std::size_t i = 0; i < times; ++i) text += piece;
    return text;
  };
  std::string nested = "Content-Type: multipart/mixed; boundary=b0\n\n";
  for (int i = 0; i < 10'000; ++i)
    nested +=
        "--b" + std::to_string(i) + "\nContent-Type: multipart/mixed; boundary=b" + std::to_string(i + 1) + "\n\n";
  EXPECT_EQ(text(nested + "--b10000\n\ndeep\n--b0\n\nback"), "deep\n\nback");
  EXPECT_EQ(text(nested + repeated("--\n", 3'000'000)).size(), 3'000'000U * 3 - 1);
  EXPECT_EQ(files(repeated("Content-Type: message/rfc822\n\n", 10'000)), " message/rfc822 299970");
  text(repeated("Content-Type: message/rfc822\n\n", 10'000));
  EXPECT_EQ(message(multipart("mixed", repeated("--b\nContent-Type: a/b\n\n", 1'000'000))).attachments().size(),
            Mime::Message::mostParts - 1);
  EXPECT_EQ(
      text("X: " + repeated("a", 1 << 20) + "\n" + repeated("Y: b\n c\n", 1 << 17) + "Content-Type: text/html\n\n<p>x"),
      "x");
  EXPECT_EQ(text("Content-Type: text/plain" + repeated("; a=b", 1 << 18) + "\n\nx"), "x");
  const auto cut = text("Subject: x\n\n" + repeated("x", 100 << 20));
  EXPECT_EQ(cut.find('\n'), Mime::Message::mostText);
  EXPECT_TRUE(cut.ends_with("[The text goes on; no more than 16 MiB of it are read.]"));
}

TEST_F(MimeMessage, readsEveryBeginningOfAMessage) {
  const auto whole = multipart("mixed", inner("alternative", plain + html) + picture + plain);
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    const auto cut = message(whole.substr(0, size));
    EXPECT_TRUE(Text::isValidUTF8(cut.text()));
    for (std::size_t i = 0; i < cut.attachments().size(); ++i) EXPECT_LE(cut.attachmentBytes(i).size(), 4U);
  }
}

TEST_F(MimeMessage, refusesADirectoryAndAFileThatIsGone) {
  TemporaryDirectory directory;
  EXPECT_THROW(Mime::Message(directory.path()), FileFailure);
  EXPECT_THROW(Mime::Message(directory.path() / "gone"), FileFailure);
}

}  // namespace
