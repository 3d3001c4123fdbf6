// Guards what stands between the mail passwords and a stranger: whom a connection trusts, and that no wait on it lasts
// longer than it may.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Platform/TlsStream.h"
#include "tests/imap/FakeServer.h"
#include "tests/platform/TemporaryDirectory.h"

using testing::AnyOf;
using testing::HasSubstr;

namespace {

using Manners = FakeServer::Manners;
using Limit = TlsStream::Limit;

constexpr Limit ample = std::chrono::seconds(10);
constexpr Limit brief = std::chrono::milliseconds(150);

std::string connecting(const std::string& host, std::uint16_t port, Limit limit = ample) {
  try {
    TlsStream::make(host, port)->connect(limit);
    return "connected";
  } catch (const TlsStream::Failure& failure) {
    return failure.description();
  } catch (const TlsStream::TimedOut&) {
    return "timed out";
  }
}

class TlsStreamTest : public testing::Test {
 protected:
  TemporaryDirectory directory_;
  Environment::Setting trust_{"SSL_CERT_FILE", (directory_ / "certificate.pem").c_str()};
};

TEST_F(TlsStreamTest, onlyATrustedCertificateThatIsMadeOutToTheHostWillDo) {
  struct Case {
    const char* names;
    int days;
    const char* host;
    const char* outcome;
  };
  const Case cases[] = {
      {"DNS:localhost", 1, "localhost", "connected"},
      {"IP:127.0.0.1", 1, "127.0.0.1", "connected"},
      {"DNS:localhost", -1, "localhost", "certificate has expired"},
      {"DNS:local.example", 1, "localhost", "hostname mismatch"},
      {"DNS:localhost", 1, "127.0.0.1", "IP address mismatch"},
      {"DNS:127.0.0.1", 1, "127.0.0.1", "IP address mismatch"},
  };
  for (const auto& [names, days, host, outcome] : cases) {
    FakeServer server(Certificate(directory_.path(), names, days), {{"greeting", "<close>"}});
    EXPECT_EQ(connecting(host, server.port()), outcome) << names << " for " << host;
    EXPECT_EQ(server.serverName(), std::string_view(host).starts_with("127") ? "" : "localhost") << host;
  }
}

TEST_F(TlsStreamTest, aCertificateThatNobodyTrustsIsRefused) {
  const Certificate certificate(directory_.path());
  const Environment::Setting nobody("SSL_CERT_FILE", "/dev/null");
  FakeServer server(certificate);
  EXPECT_EQ(connecting("localhost", server.port()), "self-signed certificate");
}

TEST_F(TlsStreamTest, aServerWithoutModernTlsIsRefused) {
  const Certificate certificate(directory_.path());
  FakeServer old(certificate, {}, Manners::oldTls);
  EXPECT_EQ(connecting("localhost", old.port()), "the server offers no TLS 1.2 or newer");
  FakeServer plain(certificate, {}, Manners::plain);
  EXPECT_EQ(connecting("localhost", plain.port()), "the server doesn't speak TLS on this port");
}

TEST_F(TlsStreamTest, aHostThatCantBeReachedIsToldApart) {
  const std::string cut("localhost\0.example", 18);
  for (const std::string& host : {std::string("no.such.host.invalid"), std::string(), std::string("."), cut})
    EXPECT_THAT(connecting(host, 1), AnyOf("Host not found", HasSubstr("name resolution"))) << host;
  std::uint16_t port = 0;
  { port = FakeServer(Certificate(directory_.path())).port(); }
  EXPECT_EQ(connecting("localhost", port), "Connection refused");
}

/// What `work` on the stream came to, and whether it kept to the limit.
template <typename Work>
std::string within(Limit limit, Work work) {
  const auto begin = std::chrono::steady_clock::now();
  std::string outcome = "done";
  try {
    work();
  } catch (const TlsStream::TimedOut&) {
    outcome = "timed out";
  } catch (const TlsStream::Failure& failure) {
    outcome = failure.description();
  }
  const bool kept = std::chrono::steady_clock::now() - begin < limit + std::chrono::seconds(5);
  return kept ? outcome : outcome + ", too late";
}

TEST_F(TlsStreamTest, everyWaitEndsAtItsLimit) {
  const Certificate certificate(directory_.path());
  FakeServer mute(certificate, {}, Manners::silentFromStart);
  EXPECT_EQ(within(brief, [&] { TlsStream::make("localhost", mute.port())->connect(brief); }), "timed out");
  std::string more;
  more.resize(50'000'000, 'x');  // than the system takes on for us
  for (const bool reading : {true, false}) {
    FakeServer server(certificate, {}, Manners::silent);
    const auto stream = TlsStream::make("localhost", server.port());
    stream->connect(ample);
    EXPECT_EQ(within(brief, [&] { reading ? (void)stream->receive(1, brief) : stream->send(more, brief); }),
              "timed out");
    EXPECT_EQ(within(brief, [&] { stream->send("x", brief); }), "not connected") << "of no further use";
  }
}

TEST_F(TlsStreamTest, bothWaysOfClosingAreTheEnd) {
  const Certificate certificate(directory_.path());
  for (const char* greeting : {"hello<close>", "hello<goodbye>"}) {
    FakeServer server(certificate, {{"greeting", greeting}});
    const auto stream = TlsStream::make("localhost", server.port());
    stream->connect(ample);
    std::string text = stream->receive(4, ample);
    EXPECT_EQ(text += stream->receive(65536, ample), "hello");
    EXPECT_EQ(stream->receive(65536, ample), "") << greeting;
    EXPECT_EQ(within(brief, [&] { stream->receive(65536, ample); }), "not connected") << greeting;
    stream->cancel();
  }
}

TEST_F(TlsStreamTest, sendingToSomebodyWhoHasGoneKillsNobody) {
  FakeServer server(Certificate(directory_.path()), {{"greeting", "<close>"}});
  const auto stream = TlsStream::make("localhost", server.port());
  stream->connect(ample);
  // The first packet makes the server's system say that nobody is there; a later one meets the broken pipe.
  EXPECT_EQ(within(ample,
                   [&] {
                     while (true) stream->send("x", ample);
                   }),
            "connection closed");
}

}  // namespace
