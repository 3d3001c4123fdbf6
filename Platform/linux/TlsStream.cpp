// The stream itself needs OpenSSL, so it lies in the module "tls" (plugins/tls.cpp).
#include "Platform/TlsStream.h"

#include "Platform/linux/PlugIn.h"

std::unique_ptr<TlsStream> TlsStream::make(const std::string& host, std::uint16_t port) {
  using Maker = TlsStream*(const std::string&, std::uint16_t);
  const auto maker = reinterpret_cast<Maker*>(PlugIn::function("tls", "makeTlsStream"));
  return std::unique_ptr<TlsStream>(maker(host, port));
}
