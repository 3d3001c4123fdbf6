// A TLS server for what no real mail server would do: it lets one client in, answers each of its lines from a script,
// and keeps what it was sent.
#pragma once

#define ASIO_STANDALONE
#include <algorithm>
#include <asio.hpp>
#include <asio/ssl.hpp>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Platform/Text.h"
#include "tests/imap/Certificate.h"

class FakeServer {
 public:
  /// Replies by the command that they answer, with `%` for its tag; "greeting" comes unasked. A reply that ends in
  /// "<close>" is followed by the end of the connection, in "<goodbye>" by its orderly end, and in "<flood>" by a line
  /// of 50 MB. What the script doesn't tell is answered well.
  using Script = std::map<std::string, std::string>;

  enum class Manners {
    good,
    byteByByte,       // each in a packet of its own
    oldTls,           // 1.1 at most
    plain,            // no TLS at all
    silent,           // after the handshake it neither reads nor writes
    silentFromStart,  // not even the handshake
  };
  struct Address {
    const char* host = "127.0.0.1";
    std::uint16_t port = 0;  // any
  };

  explicit FakeServer(const Certificate& certificate, Script script = {}, Manners manners = Manners::good,
                      Address address = {"127.0.0.1", 0})
      : script_(std::move(script)),
        manners_(manners),
        acceptor_(io_, {asio::ip::make_address(address.host), address.port}),
        settings_(asio::ssl::context::tls_server),
        stream_(io_, settings_) {
    present(certificate);
    thread_ = std::thread([this] { serve(); });
  }
  ~FakeServer() { served(); }
  FakeServer(const FakeServer&) = delete;
  FakeServer& operator=(const FakeServer&) = delete;

  std::uint16_t port() const { return acceptor_.local_endpoint().port(); }

  // What is known once the client has gone:

  const std::vector<std::string>& wire() { return served().wire_; }  // the lines that came, without their ends
  const std::string& serverName() { return served().serverName_; }   // whom the client wanted in the handshake
  std::size_t flooded() { return served().flooded_; }                // bytes of the flood that it took

 private:
  FakeServer& served() {
    ::shutdown(acceptor_.native_handle(), SHUT_RDWR);  // in case that nobody came
    if (thread_.joinable()) thread_.join();
    return *this;
  }

  void present(const Certificate& certificate) {
    SSL* session = stream_.native_handle();
    SSL_use_certificate_file(session, certificate.file.c_str(), SSL_FILETYPE_PEM);
    SSL_use_PrivateKey_file(session, certificate.key.c_str(), SSL_FILETYPE_PEM);
    if (manners_ != Manners::oldTls) return;
    SSL_set_security_level(session, 0);  // OpenSSL's present one has no room for it
    SSL_set_min_proto_version(session, TLS1_1_VERSION);
    SSL_set_max_proto_version(session, TLS1_1_VERSION);
  }

  /// The socket stays open when this ends, so that silence is not mistaken for a farewell.
  void serve() {
    auto& socket = stream_.next_layer();
    asio::error_code failure;
    acceptor_.accept(socket, failure);
    if (failure || manners_ == Manners::silentFromStart) return;
    socket.set_option(asio::ip::tcp::no_delay(true));
    if (manners_ == Manners::plain) {
      asio::write(socket, asio::buffer(std::string("* OK ready\r\n")), failure);
      asio::read(socket, asio::dynamic_buffer(received_), failure);
      return;
    }
    stream_.handshake(asio::ssl::stream_base::server, failure);
    const char* name = SSL_get_servername(stream_.native_handle(), TLSEXT_NAMETYPE_host_name);
    serverName_ = name == nullptr ? "" : name;
    if (!failure && manners_ != Manners::silent) converse();
  }

  void converse() {
    asio::error_code gone;
    for (bool goesOn = say(replyTo("greeting")); goesOn;) {
      const std::size_t size = asio::read_until(stream_, asio::dynamic_buffer(received_), "\r\n", gone);
      if (gone) return;
      wire_.push_back(received_.substr(0, size - 2));
      received_.erase(0, size);
      const auto blank = std::min(wire_.back().find(' '), wire_.back().size() - 1);
      goesOn = say(Text::replaceAll(replyTo(wire_.back().substr(blank + 1)), "%", wire_.back().substr(0, blank)));
    }
    stream_.next_layer().close(gone);
  }

  std::string replyTo(const std::string& command) const {
    static const Script usual = {{"greeting", "* OK ready\r\n"},
                                 {"LIST", "* LIST (\\HasNoChildren \\All) \"/\" \"[Gmail]/All Mail\"\r\n% OK done\r\n"},
                                 {"UID SEARCH", "* SEARCH 7\r\n% OK done\r\n"}};
    for (const Script* script : {&script_, &usual}) {
      for (const auto& [beginning, reply] : *script) {
        if (command.starts_with(beginning)) return reply;
      }
    }
    return "% OK done\r\n";
  }

  /// False when it was the last word.
  bool say(std::string text) {
    const auto endsIn = [&](std::string_view mark) {
      const bool found = text.ends_with(mark);
      if (found) text.resize(text.size() - mark.size());
      return found;
    };
    const bool closes = endsIn("<close>");
    const bool saysGoodbye = endsIn("<goodbye>");
    const bool floods = endsIn("<flood>");
    bool taken = write(text);
    for (; floods && taken && flooded_ < 50'000'000; flooded_ += 50'000) taken = write(std::string(50'000, 'x'));
    asio::error_code gone;
    if (saysGoodbye) stream_.shutdown(gone);
    return taken && !closes && !saysGoodbye;
  }

  bool write(const std::string& text) {
    asio::error_code gone;
    const std::size_t piece = manners_ == Manners::byteByByte ? 1 : std::max<std::size_t>(text.size(), 1);
    for (std::size_t at = 0; at < text.size() && !gone; at += piece)
      asio::write(stream_, asio::buffer(text.data() + at, piece), gone);
    return !gone;
  }

  Script script_;
  Manners manners_;
  asio::io_context io_;
  asio::ip::tcp::acceptor acceptor_;
  asio::ssl::context settings_;
  asio::ssl::stream<asio::ip::tcp::socket> stream_;
  std::string received_;
  std::vector<std::string> wire_;
  std::string serverName_;
  std::size_t flooded_ = 0;
  std::thread thread_;
};
