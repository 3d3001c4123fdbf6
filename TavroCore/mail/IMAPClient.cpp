// A reply is kept as bytes until its tagged line has come, and becomes text only then: a character may be split
// between two reads. The lines are looked through once, however small the pieces in which they come.
#include "TavroCore/mail/IMAPClient.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

#include "Platform/Text.h"

namespace {

using IMAPError = IMAPClient::IMAPError;

constexpr std::uint16_t usualPort = 993;
constexpr const char* usualAllMailFolder = "[Gmail]/All Mail";
constexpr std::size_t mostBytesAtOnce = 65536;
constexpr std::string_view lineEnd = "\r\n";

/// A line break would end the command that carries the text and begin one of the text's own.
bool canBeSent(std::string_view text) { return text.find_first_of(std::string_view("\r\n\0", 3)) == text.npos; }

std::string escaped(std::string_view text) {
  return Text::replaceAll(Text::replaceAll(text, "\\", "\\\\"), "\"", "\\\"");
}

/// As an IMAP quoted string; `what` names the text for the owner.
std::string quoted(const char* what, std::string_view text) {
  if (!canBeSent(text))
    throw IMAPError::server(std::string(what) + " holds a line break or a NUL byte; nothing was sent");
  return '"' + escaped(text) + '"';
}

bool startsWithIgnoringCase(std::string_view text, std::string_view upper) {
  const auto same = [](char a, char b) { return a == b || (b >= 'a' && b <= 'z' && a == b - 'a' + 'A'); };
  return text.size() >= upper.size() && std::equal(upper.begin(), upper.end(), text.begin(), same);
}

/// Takes the piece before the next separator off `rest`, and the separator too. A reply can have millions of pieces, so
/// they are looked at one by one.
std::string_view take(std::string_view& rest, std::string_view separator) {
  const auto end = rest.find(separator);
  const auto piece = rest.substr(0, end);
  rest.remove_prefix(end == rest.npos ? rest.size() : end + separator.size());
  return piece;
}

/// What stands behind the flags and the delimiter of a LIST line; empty when it isn't built so.
std::string_view mailboxPart(std::string_view line) {
  const auto flags = line.find(") ");
  if (flags == line.npos) return {};
  line.remove_prefix(flags + 2);
  const std::string_view delimiterEnd = line.starts_with('"') ? "\" " : " ";  // it may be a blank in quotes
  const auto delimiter = line.find(delimiterEnd, 1);
  return delimiter == line.npos ? std::string_view() : Text::trimBlanks(line.substr(delimiter + delimiterEnd.size()));
}

/// The folder that a LIST line names: in quotes at its end, whose escapes stay, or as a bare word. A literal, "{5}",
/// goes on in another line and counts as none.
std::optional<std::string_view> mailboxOf(std::string_view line) {
  const std::string_view part = mailboxPart(line);
  if (part.starts_with('{')) return std::nullopt;
  if (!part.empty() && !part.starts_with('"')) return part;
  const auto last = line.rfind('"');
  if (last == line.npos || last == 0) return std::nullopt;
  const auto first = line.rfind('"', last - 1);
  if (first == line.npos) return std::nullopt;
  return line.substr(first + 1, last - first - 1);
}

std::optional<std::uint64_t> decimal(std::string_view digits) {
  std::uint64_t number = 0;
  const auto [end, failure] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (failure != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return number;
}

/// The numbers behind "* SEARCH".
std::vector<std::uint64_t> uidsOf(std::string_view line) {
  std::vector<std::uint64_t> uids;
  for (std::size_t words = 0; !line.empty();) {
    const auto word = take(line, " ");
    if (word.empty() || ++words <= 2) continue;
    if (const auto uid = decimal(word)) uids.push_back(*uid);
  }
  return uids;
}

std::string inAngleBrackets(const std::string& id) { return id.starts_with('<') ? id : '<' + id + '>'; }

/// Servers look for a part of the header: "<" alone, which a stranger's mail may well have for an id, would name all
/// messages of the INBOX.
bool namesOneMessage(std::string_view id) { return id.size() > 2 && id.ends_with('>') && canBeSent(id); }

/// One wait on the connection; `what` tells which, should its time pass.
template <typename Wait>
auto limited(const char* what, Wait wait) {
  try {
    return wait();
  } catch (const TlsStream::TimedOut&) {
    throw IMAPError::timeout(what);
  } catch (const Error& failure) {
    throw IMAPError::connect(failure.description());
  }
}

}  // namespace

IMAPClient::IMAPError IMAPClient::IMAPError::connect(const std::string& text) {
  return {Case::connect, "imap connect: " + text};
}
IMAPClient::IMAPError IMAPClient::IMAPError::timeout(const std::string& text) {
  return {Case::timeout, "imap timeout: " + text};
}
IMAPClient::IMAPError IMAPClient::IMAPError::server(const std::string& text) {
  return {Case::server, "imap server: " + text};
}

int IMAPClient::archiveByMessageID(const std::string& host, std::uint16_t port, const std::string& email,
                                   const std::string& password, const std::vector<std::string>& messageIDs,
                                   double ioTimeout) {
  IMAPClient client(host, port, ioTimeout);
  client.open();
  client.login(email, password);
  const std::string folder = quoted("the All Mail folder's name", client.findAllMailFolder());
  client.command("SELECT INBOX");
  int moved = 0;
  for (const auto& id : messageIDs) {
    for (const auto uid : client.uidSearchByMessageID(id)) {
      client.command("UID MOVE " + std::to_string(uid) + " " + folder);
      ++moved;
    }
  }
  client.logout();
  return moved;
}

void IMAPClient::verifyLogin(const std::string& host, std::uint16_t port, const std::string& email,
                             const std::string& password, double ioTimeout) {
  IMAPClient client(host, port, ioTimeout);
  client.open();
  client.login(email, password);
  client.logout();
}

IMAPClient::IMAPClient(const std::string& host, std::uint16_t port, double ioTimeout)
    : conn_(limited("connect", [&] { return TlsStream::make(host, port == 0 ? usualPort : port); })),
      ioTimeout_(ioTimeout) {}

void IMAPClient::close() noexcept { conn_->cancel(); }

/// The greeting may say what it likes; a server that means BYE closes, and the next command meets that.
void IMAPClient::open() {
  limited("connect", [this] { conn_->connect(ioTimeout_); });
  endOfLine(0);
  buffer_.clear();
}

void IMAPClient::login(const std::string& email, const std::string& password) {
  secret_ = password;
  command("LOGIN " + quoted("the e-mail address", email) + " " + quoted("the password", password));
}

std::string IMAPClient::findAllMailFolder() {
  const std::string reply = command("LIST \"\" \"*\"");
  for (std::string_view rest = reply; !rest.empty();) {
    const auto line = take(rest, lineEnd);
    if (!line.starts_with("* LIST") || line.find("\\All") == line.npos) continue;
    if (const auto mailbox = mailboxOf(line)) return std::string(*mailbox);
  }
  return usualAllMailFolder;
}

std::vector<std::uint64_t> IMAPClient::uidSearchByMessageID(const std::string& id) {
  const std::string wanted = inAngleBrackets(id);
  if (!namesOneMessage(wanted)) return {};
  const std::string reply = command("UID SEARCH HEADER MESSAGE-ID " + quoted("the message id", wanted));
  for (std::string_view rest = reply; !rest.empty();) {
    const auto line = take(rest, lineEnd);
    if (startsWithIgnoringCase(line, "* SEARCH")) return uidsOf(line);
  }
  return {};
}

/// What was done stays done, whatever the server says to this.
void IMAPClient::logout() noexcept {
  try {
    command("LOGOUT");
  } catch (const std::exception&) {
  }
  close();
}

std::string IMAPClient::command(const std::string& text) {
  const std::string tag = "a" + std::to_string(++tagSeq_) + " ";
  rawSend(tag + text + std::string(lineEnd));
  const std::string_view line = taggedLine(tag);
  if (!startsWithIgnoringCase(line.substr(tag.size()), "OK")) throw IMAPError::server(withoutPassword(line));
  return Text::repairUTF8(std::exchange(buffer_, {}));
}

/// The first line that begins with the tag and its blank, so that "a12 OK" is no answer to a1.
std::string_view IMAPClient::taggedLine(std::string_view tag) {
  for (std::size_t begin = 0;;) {
    const std::size_t end = endOfLine(begin);
    const auto line = std::string_view(buffer_).substr(begin, end - begin);
    if (line.starts_with(tag)) return line;
    begin = end + lineEnd.size();
  }
}

/// Where the line that begins at `begin` ends, once its end has come.
std::size_t IMAPClient::endOfLine(std::size_t begin) {
  std::size_t searched = begin;
  std::size_t end = 0;
  while ((end = buffer_.find(lineEnd, searched)) == buffer_.npos) {
    searched = std::max(begin, buffer_.size() - std::min(buffer_.size(), lineEnd.size() - 1));
    fill();
  }
  return end;
}

/// Some servers repeat the command that they refuse.
std::string IMAPClient::withoutPassword(std::string_view line) const {
  constexpr std::string_view mark = "[password]";
  if (secret_.empty()) return Text::repairUTF8(std::string(line));
  const std::string sent = escaped(secret_);
  std::string told = Text::replaceAll(line, sent, mark);
  if (sent != secret_) told = Text::replaceAll(told, secret_, mark);
  return Text::repairUTF8(std::move(told));
}

void IMAPClient::rawSend(const std::string& text) {
  limited("write", [&] { conn_->send(text, ioTimeout_); });
}

void IMAPClient::fill() {
  const std::string bytes = limited("read", [&] { return conn_->receive(mostBytesAtOnce, ioTimeout_); });
  if (bytes.empty()) throw IMAPError::connect("connection closed");
  buffer_ += bytes;
  if (buffer_.size() > longestReply) throw IMAPError::server("a reply is longer than 8 MB");
}
