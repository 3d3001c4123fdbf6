// A message of any bytes: what is read of it is clean text. And a message made of any values: it addresses who is
// meant, and has no header but its own.
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "Platform/Text.h"
#include "Platform/linux/stores/MimeCompose.h"
#include "Platform/linux/stores/MimeMessage.h"
#include "fuzz/Check.h"

namespace {

/// One file, written over for each input: this target runs a thousand times a second.
class MessageFile {
 public:
  MessageFile() { CHECK(file_ >= 0); }
  ~MessageFile() {
    close(file_);
    unlink(path_);
  }
  const char* write(std::string_view bytes) {
    CHECK(ftruncate(file_, 0) == 0);
    CHECK(pwrite(file_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    return path_;
  }

 private:
  char path_[24] = "/tmp/tavro-fuzz-XXXXXX";
  int file_ = mkstemp(path_);
};

bool isCleanLine(const std::string& text) {
  return Text::isValidUTF8(text) && text.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos;
}

void checkHeaders(const Mime::Headers& headers) {
  for (const auto* text : {&headers.subject, &headers.from, &headers.messageID}) CHECK(isCleanLine(*text));
  for (const auto& id : headers.references) CHECK(!id.empty() && isCleanLine(id));
  for (const auto* people : {&headers.fromAddresses, &headers.replyTo, &headers.to, &headers.cc, &headers.bcc})
    for (const auto& one : *people) {
      CHECK(isCleanLine(one.name) && isCleanLine(one.address));
      if (!Mime::isAddress(one.address)) continue;
      const auto again = Mime::addresses(Mime::display(one));
      CHECK(again.size() == 1 && again[0].address == one.address);
    }
}

void checkMessage(const char* file) {
  const Mime::Message message(file);
  const auto text = message.text();
  CHECK(Text::isValidUTF8(text) && text.find('\0') == std::string::npos && text.find('\r') == std::string::npos);
  const auto attachments = message.attachments();
  for (std::size_t i = 0; i < std::min<std::size_t>(attachments.size(), 5); ++i) {
    CHECK(isCleanLine(attachments[i].name) && isCleanLine(attachments[i].type));
    CHECK(message.attachmentBytes(i).size() == attachments[i].size);
  }
}

/// The bytes, cut at NULs.
class Values {
 public:
  explicit Values(std::string_view bytes) : bytes_(bytes) {}
  std::string next() {
    const std::string value(bytes_.substr(0, bytes_.find('\0')));
    bytes_.remove_prefix(std::min(value.size() + 1, bytes_.size()));
    return value;
  }

 private:
  std::string_view bytes_;
};

void checkComposed(std::string_view bytes, MessageFile& file) {
  Values values(bytes);
  Mime::Outgoing message{.from = {.name = values.next(), .address = "ann@lee.example"}};
  message.to = {{.name = values.next(), .address = "bo@y.example"}, {.name = values.next(), .address = values.next()}};
  if (!Mime::isAddress(message.to[1].address)) message.to.pop_back();
  message.subject = values.next();
  message.messageID = values.next();
  message.references = {values.next(), values.next()};
  message.attachments = {{.name = values.next(), .type = values.next(), .bytes = values.next()}};
  message.text = bytes;
  const auto written = Mime::compose(message);
  const auto headers = Mime::headers(written);
  checkHeaders(headers);
  CHECK(headers.fromAddresses.size() == 1 && headers.fromAddresses[0].address == message.from.address);
  CHECK(headers.to.size() == message.to.size() && headers.cc.empty() && headers.bcc.empty() && headers.replyTo.empty());
  for (std::size_t i = 0; i < headers.to.size(); ++i) CHECK(headers.to[i].address == message.to[i].address);
  for (const auto& line : Text::split(written.substr(0, written.find("\n\n")), '\n')) {
    const auto name = line.substr(0, line.find(':'));
    CHECK(line.starts_with(' ') || name == "From" || name == "To" || name == "Subject" || name == "Date" ||
          name == "Message-ID" || name == "References" || name == "MIME-Version" || name == "Content-Type");
    CHECK(line.size() < 998);
  }
  const Mime::Message read(file.write(written));
  CHECK(read.attachments().size() == 1 && read.attachmentBytes(0) == message.attachments[0].bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  static MessageFile file;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  checkHeaders(Mime::headers(bytes));
  checkMessage(file.write(bytes));
  checkComposed(bytes, file);
  return 0;
}
