// Certificates as the tests need them, made by the `openssl` command.
#pragma once

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Platform/Process.h"

/// A self-signed certificate and its key, two files of `directory`. A client that is to trust it needs SSL_CERT_FILE to
/// name `file`.
struct Certificate {
  std::filesystem::path file;
  std::filesystem::path key;

  /// `names` as in "DNS:localhost,IP:127.0.0.1"; with -1 days it is out of date.
  explicit Certificate(const std::filesystem::path& directory, const std::string& names = "DNS:localhost", int days = 1)
      : file(directory / "certificate.pem"), key(directory / "key.pem") {
    const auto request = directory / "request.pem";
    const auto extensions = directory / "extensions";
    std::ofstream(extensions) << "subjectAltName=" << names << '\n';
    openssl({"req", "-new", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-subj", "/CN=Tests",
             "-keyout", key, "-out", request});
    openssl({"x509", "-req", "-in", request, "-signkey", key, "-days", std::to_string(days), "-extfile", extensions,
             "-out", file});
  }

 private:
  static void openssl(std::vector<std::string> arguments) {
    const auto result = Process::run({.program = "openssl", .arguments = std::move(arguments)});
    if (!result.status.ok()) throw std::runtime_error("openssl: " + result.errors);
  }
};
