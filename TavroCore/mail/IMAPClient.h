// Takes messages out of a Gmail account's INBOX over IMAP4rev1 (RFC 3501, with MOVE of RFC 6851), and tests a login.
// It knows no more of IMAP than that: no literals, no IDLE, no fetch. Every call makes a connection of its own, with
// TLS from the first byte, and blocks; each single wait is limited to 20 seconds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Error.h"
#include "Platform/TlsStream.h"

class IMAPClient {
 public:
  /// A server's refusal is told in its own words, less the password.
  class IMAPError : public Error {
   public:
    enum class Case { connect, timeout, server };
    static IMAPError connect(const std::string& text);  // "imap connect: <text>"
    static IMAPError timeout(const std::string& text);  // "imap timeout: <text>"
    static IMAPError server(const std::string& text);   // "imap server: <text>"

    Case kind() const noexcept { return kind_; }

   private:
    IMAPError(Case kind, const std::string& description) : Error(description), kind_(kind) {}
    Case kind_;
  };

  /// A server that answers one command with more bytes than this gets an IMAPError. It is enough for the names of
  /// some 100,000 mailboxes.
  static constexpr std::size_t longestReply = 8 << 20;
  /// The limit of each wait, in seconds.
  static constexpr double secondsOfAWait = 20.0;

  /// Moves the INBOX's messages with these Message-IDs (with or without angle brackets) to the All Mail folder and
  /// returns how many went. One that isn't there counts nothing; neither does a text that can be no Message-ID. What
  /// was moved before a failure stays moved. Throws IMAPError.
  static int archiveByMessageID(const std::string& host, std::uint16_t port, const std::string& email,
                                const std::string& password, const std::vector<std::string>& messageIDs,
                                double ioTimeout = secondsOfAWait);
  /// Connects, logs in and out. Throws IMAPError.
  static void verifyLogin(const std::string& host, std::uint16_t port, const std::string& email,
                          const std::string& password, double ioTimeout = secondsOfAWait);

  /// Port 0 dials 993. Nothing is sent yet. Throws IMAPError when this machine has no TLS to offer.
  IMAPClient(const std::string& host, std::uint16_t port, double ioTimeout);

  void close() noexcept;

 private:
  void open();
  void login(const std::string& email, const std::string& password);
  std::string findAllMailFolder();
  std::vector<std::uint64_t> uidSearchByMessageID(const std::string& id);
  void logout() noexcept;

  /// The server's whole reply to a command, the untagged lines before the tagged one included.
  std::string command(const std::string& text);
  std::string_view taggedLine(std::string_view tag);
  std::size_t endOfLine(std::size_t begin);
  std::string withoutPassword(std::string_view line) const;
  void rawSend(const std::string& text);
  void fill();

  std::unique_ptr<TlsStream> conn_;
  TlsStream::Limit ioTimeout_;
  int tagSeq_ = 0;
  std::string buffer_;  // bytes as they came; a character may still lack its end
  std::string secret_;  // the password, kept to be left out of what the server says
};
