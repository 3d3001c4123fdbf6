// A mail server that says any bytes, in pieces of any size: the client comes to an end, and every line that it sends is
// a command of its own. Stands in for the network: the stream here is the one that the client makes.
#include <algorithm>
#include <memory>
#include <string_view>

#include "TavroCore/mail/IMAPClient.h"
#include "fuzz/Check.h"

namespace {

std::string_view heard;     // what the server has still to say
std::size_t pieceSize = 1;  // how much of it comes at once

class Replay : public TlsStream {
  void connect(Limit) override {}
  void send(std::string_view bytes, Limit) override {
    CHECK(bytes.starts_with('a') && bytes.ends_with("\r\n"));
    CHECK(bytes.find_first_of(std::string_view("\r\n\0", 3)) == bytes.size() - 2);
  }
  std::string receive(std::size_t most, Limit) override {
    const std::string_view piece = heard.substr(0, std::min(most, pieceSize));
    heard.remove_prefix(piece.size());
    return std::string(piece);
  }
  void cancel() noexcept override {}
};

}  // namespace

std::unique_ptr<TlsStream> TlsStream::make(const std::string&, std::uint16_t) { return std::make_unique<Replay>(); }

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  if (size == 0) return 0;
  pieceSize = data[0] + std::size_t(1);
  heard = {reinterpret_cast<const char*>(data) + 1, size - 1};
  try {
    CHECK(IMAPClient::archiveByMessageID("host", 993, "ann@example.org", "s\"cret", {"a@x", "<b@x>"}) >= 0);
  } catch (const IMAPClient::IMAPError& failure) {
    CHECK(failure.description().starts_with("imap "));
    CHECK(failure.description().find("s\"cret") == std::string::npos);
  }
  return 0;
}
