// One TLS connection to a server, used by one thread with a time limit on every wait. TLS begins at once (no
// STARTTLS), 1.2 at least; the server's certificate is checked against the system's trust store (SSL_CERT_FILE and
// SSL_CERT_DIR are honoured) and against the host name, which is also sent to the server (SNI).
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "Platform/Error.h"

class TlsStream {
 public:
  using Limit = std::chrono::duration<double>;  // seconds for one wait

  /// The network, the server or its certificate refused; the description is the reason alone.
  class Failure : public Error {
   public:
    using Error::Error;
  };
  /// The time limit of a wait passed.
  class TimedOut : public Error {
   public:
    using Error::Error;
  };

  virtual ~TlsStream() = default;

  /// A stream that isn't connected yet; nothing is sent. Throws Error when this machine has no TLS to offer.
  static std::unique_ptr<TlsStream> make(const std::string& host, std::uint16_t port);

  /// Looks the host up, connects (each address in turn, all within `limit`) and shakes hands. Throws.
  virtual void connect(Limit limit) = 0;
  /// Sends all the bytes. Throws.
  virtual void send(std::string_view bytes, Limit limit) = 0;
  /// Waits for some bytes, at most `most` of them; empty when the server has closed, in whatever manner. Throws.
  virtual std::string receive(std::size_t most, Limit limit) = 0;
  /// Ends the connection at once; may be called at any time, and more than once.
  virtual void cancel() noexcept = 0;
};
