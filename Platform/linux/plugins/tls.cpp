// TLS streams over Asio and OpenSSL, as the module Contents/PlugIns/tls.so.
//
// Asio's operations run only while their caller waits for them: each stream has an io_context of its own, and the
// calling thread runs it until the operation is done or its time is up. So there is no thread and no lock, and nothing
// goes on behind the caller's back. The one exception is the look-up of names, which the system offers only as a
// call that blocks.
#define ASIO_STANDALONE
#define ASIO_DISABLE_VISIBILITY  // what we make of Asio is ours alone, not the process's
#include <netdb.h>

#include <algorithm>
#include <asio.hpp>
#include <asio/ssl.hpp>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "Platform/TlsStream.h"
#include "Platform/linux/PlugIn.h"

namespace {

using asio::ip::tcp;
using Addresses = std::vector<asio::ip::address>;
using Clock = std::chrono::steady_clock;
using Deadline = Clock::time_point;

Deadline deadlineAfter(TlsStream::Limit limit) {
  constexpr TlsStream::Limit longest = std::chrono::hours(24);  // what is larger may not fit the clock
  const auto wait = limit.count() > 0 ? std::min(limit, longest) : TlsStream::Limit(0);
  return Clock::now() + std::chrono::duration_cast<Clock::duration>(wait);
}

[[noreturn]] void tooLate() { throw TlsStream::TimedOut("the time for it is over"); }

// ---- Names

constexpr const char* hostNotFound = "Host not found";

/// What a look-up and its caller share. It belongs to both, for the caller may have given up long before the system
/// answers.
struct Lookup {
  std::string host;
  std::mutex mutex;
  std::condition_variable answered;
  std::optional<int> status;  // of getaddrinfo
  Addresses addresses;
};

asio::ip::address address(const addrinfo& entry) {
  tcp::endpoint endpoint;
  endpoint.resize(entry.ai_addrlen);
  std::memcpy(endpoint.data(), entry.ai_addr, entry.ai_addrlen);
  return endpoint.address();
}

void lookUp(const std::shared_ptr<Lookup>& lookup) {
  addrinfo wanted = {};  // without AI_ADDRCONFIG: a machine cut off from every network would find no "localhost"
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int status = ::getaddrinfo(lookup->host.c_str(), nullptr, &wanted, &found);
  const std::lock_guard lock(lookup->mutex);
  for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
    lookup->addresses.push_back(address(*entry));
  }
  if (found != nullptr) ::freeaddrinfo(found);
  lookup->status = status;
  lookup->answered.notify_one();
}

std::string lookupReason(int status) {
  return status == EAI_NONAME || status == EAI_NODATA ? hostNotFound : ::gai_strerror(status);
}

/// "localhost" is this machine, whatever a resolver thinks of it (RFC 6761), and whether or not there is one.
Addresses addressesOfName(const std::string& host, Deadline deadline) {
  if (host == "localhost") return {asio::ip::address_v4::loopback(), asio::ip::address_v6::loopback()};
  const auto lookup = std::make_shared<Lookup>();
  lookup->host = host;
  try {
    std::thread(lookUp, lookup).detach();
  } catch (const std::system_error& failure) {
    throw TlsStream::Failure(failure.code().message());
  }
  std::unique_lock lock(lookup->mutex);
  if (!lookup->answered.wait_until(lock, deadline, [&] { return lookup->status.has_value(); })) tooLate();
  if (*lookup->status != 0) throw TlsStream::Failure(lookupReason(*lookup->status));
  return lookup->addresses;
}

// ---- Reasons, as an owner can read them

/// However it was done; protocols over TLS know by their own means whether something is missing.
bool isEnd(const asio::error_code& error) {
  return error == asio::error::eof || error == asio::ssl::error::stream_truncated ||
         error == asio::error::connection_reset || error == asio::error::broken_pipe;
}

std::string reason(const asio::error_code& error) {
  if (isEnd(error)) return "connection closed";
  return error == asio::error::bad_descriptor ? "not connected" : error.message();
}

std::string handshakeReason(const asio::error_code& error, SSL* session) {
  if (isEnd(error)) return "the server closed the connection during the TLS handshake";
  if (error.category() != asio::error::get_ssl_category()) return reason(error);
  switch (ERR_GET_REASON(static_cast<unsigned long>(error.value()))) {
    case SSL_R_CERTIFICATE_VERIFY_FAILED:
      return X509_verify_cert_error_string(SSL_get_verify_result(session));
    case SSL_R_WRONG_VERSION_NUMBER:
      return "the server doesn't speak TLS on this port";
    case SSL_R_UNSUPPORTED_PROTOCOL:
    case SSL_R_TLSV1_ALERT_PROTOCOL_VERSION:
      return "the server offers no TLS 1.2 or newer";
    default:
      return error.message();
  }
}

// ---- The stream

class AsioTlsStream : public TlsStream {
 public:
  AsioTlsStream(std::string host, std::uint16_t port)
      : host_(std::move(host)), port_(port), settings_(asio::ssl::context::tls_client), stream_(io_, settings_) {}

  void connect(Limit limit) override {
    const Deadline deadline = deadlineAfter(limit);
    asio::error_code isName;
    const auto literal = asio::ip::make_address(host_, isName);
    prepare(isName ? expectName() : expectAddress(literal));
    connectToOneOf(isName ? addressesOfName(host_, deadline) : Addresses{literal}, deadline);
    const auto failure = finish(
        deadline, [this](auto done) { stream_.async_handshake(asio::ssl::stream_base::client, std::move(done)); });
    if (failure) throw Failure(handshakeReason(failure, session()));
  }

  void send(std::string_view bytes, Limit limit) override {
    const auto failure = finish(deadlineAfter(limit), [&](auto done) {
      asio::async_write(stream_, asio::buffer(bytes), [done](const auto& error, std::size_t) { done(error); });
    });
    if (failure) throw Failure(reason(failure));
  }

  std::string receive(std::size_t most, Limit limit) override {
    std::string bytes(most, '\0');
    std::size_t count = 0;
    const auto failure = finish(deadlineAfter(limit), [&](auto done) {
      stream_.async_read_some(asio::buffer(bytes), [done, &count](const auto& error, std::size_t read) {
        count = read;
        done(error);
      });
    });
    if (failure && !isEnd(failure)) throw Failure(reason(failure));
    bytes.resize(count);
    return bytes;
  }

  void cancel() noexcept override {
    asio::error_code ignored;
    socket().close(ignored);
  }

 private:
  tcp::socket& socket() { return stream_.next_layer(); }
  SSL* session() { return stream_.native_handle(); }

  /// Starts an operation and runs it to its end, or to the deadline: then the socket is closed, which ends whatever
  /// was going on with it, so that nothing is left that knows of the caller's variables, and there is no outcome.
  template <typename Start>
  std::optional<asio::error_code> run(Deadline deadline, Start start) {
    std::optional<asio::error_code> outcome;
    io_.restart();
    start([&outcome](const asio::error_code& error) { outcome = error; });
    while (!outcome && io_.run_one_until(deadline) > 0) {
    }
    if (outcome) return outcome;
    cancel();
    io_.run();
    return std::nullopt;
  }

  /// As `run`, but time that passed is the caller's failure. Nothing may go on after a failure of any kind: another
  /// read past the server's end, for one, would wait for an event that can't come any more.
  template <typename Start>
  asio::error_code finish(Deadline deadline, Start start) {
    if (!socket().is_open()) return asio::error::bad_descriptor;
    const auto outcome = run(deadline, start);
    if (!outcome) tooLate();
    if (*outcome) cancel();
    return *outcome;
  }

  /// The certificate must be made out to this name, which also goes to the server, as it may have several. False for a
  /// name that can be none: OpenSSL would take an empty one for leave to compare nothing.
  bool expectName() {
    const std::string name = host_.ends_with('.') ? host_.substr(0, host_.size() - 1) : host_;
    if (name.empty() || name.find('\0') != std::string::npos) throw Failure(hostNotFound);
    return X509_VERIFY_PARAM_set1_host(SSL_get0_param(session()), name.data(), name.size()) == 1 &&
           SSL_set_tlsext_host_name(session(), name.c_str()) == 1;
  }

  bool expectAddress(const asio::ip::address& address) {
    const auto exactly = [this](const auto& bytes) {
      return X509_VERIFY_PARAM_set1_ip(SSL_get0_param(session()), bytes.data(), bytes.size()) == 1;
    };
    return address.is_v4() ? exactly(address.to_v4().to_bytes()) : exactly(address.to_v6().to_bytes());
  }

  void prepare(bool hostIsExpected) {
    asio::error_code failure;
    settings_.set_default_verify_paths(failure);
    SSL_set_verify(session(), SSL_VERIFY_PEER, nullptr);
    SSL_set_hostflags(session(), X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    if (failure || !hostIsExpected || SSL_set_min_proto_version(session(), TLS1_2_VERSION) != 1)
      throw Failure("TLS could not be prepared for this host");
  }

  /// Gives each address its share of the time that is left, for one that doesn't answer shall not stand in the way of
  /// the next. When none takes us, the reason of the first counts: it is the one that the system thinks best.
  void connectToOneOf(const Addresses& addresses, Deadline deadline) {
    std::optional<asio::error_code> first;
    for (std::size_t left = addresses.size(); left > 0; --left) {
      const tcp::endpoint endpoint(addresses[addresses.size() - left], port_);
      const auto share = Clock::now() + (deadline - Clock::now()) / static_cast<int>(left);
      const auto outcome = run(share, [&](auto done) { socket().async_connect(endpoint, std::move(done)); });
      if (outcome && !*outcome) return;
      if (!outcome && left == 1) tooLate();
      if (!first) first = outcome.value_or(asio::error::timed_out);
      cancel();
    }
    throw Failure(first ? first->message() : hostNotFound);
  }

  std::string host_;
  std::uint16_t port_;
  asio::io_context io_;
  asio::ssl::context settings_;
  asio::ssl::stream<tcp::socket> stream_;
};

}  // namespace

TAVRO_PLUG_IN TlsStream* makeTlsStream(const std::string& host, std::uint16_t port) {
  try {
    return new AsioTlsStream(host, port);
  } catch (const std::system_error& failure) {
    throw Error("this machine has no TLS to offer: " + failure.code().message());
  }
}
