// A real IMAP server for one test: Dovecot, in a directory of its own, on a loopback port that nobody else can take,
// without any rights. Started by root, it runs as nobody, for it reads no mail as root.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Platform/Text.h"
#include "tests/imap/Certificate.h"
#include "tests/platform/TemporaryDirectory.h"

class Dovecot {
 public:
  static constexpr const char* host = "localhost";

  /// Takes connections from now on; the certificate is trusted by this process and its children. `allMail` names the
  /// mailbox with the special use \All.
  explicit Dovecot(const std::string& allMail = "All Mail")
      : allMail_(allMail), certificate_(directory_.path()), trust_("SSL_CERT_FILE", certificate_.file.c_str()) {
    const int listener = listen();
    for (const char* folder : {"base", "mail", "passwords"}) std::filesystem::create_directory(directory_ / folder);
    std::ofstream(directory_ / "dovecot.conf") << settings();
    own(directory_.path());
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory_.path())) own(entry.path());
    server_ = ::fork();
    if (server_ == 0) become(listener);
    if (server_ < 0) throw std::runtime_error("no process for Dovecot");
    ::setpgid(server_, server_);  // as the child does; whoever comes first
    ::close(listener);
  }
  ~Dovecot() {
    ::kill(-server_, SIGKILL);  // all of its processes at once; a farewell would take a second
    ::waitpid(server_, nullptr, 0);
  }
  Dovecot(const Dovecot&) = delete;
  Dovecot& operator=(const Dovecot&) = delete;

  std::uint16_t port() const { return port_; }

  void addUser(const std::string& email, const std::string& password) {
    std::ostringstream hex;  // any bytes, also those that part fields
    for (const unsigned char byte : password) hex << "0123456789abcdef"[byte >> 4] << "0123456789abcdef"[byte & 15];
    const auto file = directory_ / "passwords" / email;
    std::ofstream(file) << email << ":{PLAIN.HEX}" << hex.str() << '\n';
    own(file);
    for (const char* folder : {"", "cur", "new", "tmp"}) {
      std::filesystem::create_directory(directory_ / "mail" / email / folder);
      own(directory_ / "mail" / email / folder);
    }
  }

  /// A small message.
  static std::string message(const std::string& id, const std::string& subject = "Hello") {
    return "Message-ID: " + id + "\nFrom: ann@example.org\nTo: ben@example.org\nSubject: " + subject +
           "\nDate: Sat, 14 Mar 2026 09:26:53 +0000\n\nText.\n";
  }
  /// Puts a whole message into the INBOX, unread.
  void deliver(const std::string& email, const std::string& message) {
    const auto name = "1773480413.M" + std::to_string(++delivered_) + ".tests";
    const auto mail = directory_ / "mail" / email;
    std::ofstream(mail / "tmp" / name) << message;
    own(mail / "tmp" / name);
    std::filesystem::rename(mail / "tmp" / name, mail / "new" / name);
  }

  /// The Message-IDs of what lies in the mailbox on disk, with their angle brackets, sorted.
  std::vector<std::string> inbox(const std::string& email) const { return messageIDs(directory_ / "mail" / email); }
  std::vector<std::string> allMail(const std::string& email) const {
    return messageIDs(directory_ / "mail" / email / ("." + Text::replaceAll(allMail_, "/", ".")));
  }

  /// What Dovecot had to say, for a test that fails.
  std::string log() const {
    std::ifstream in(directory_ / "log");
    return {std::istreambuf_iterator<char>(in), {}};
  }

 private:
  static const passwd& account() { return *(::geteuid() == 0 ? ::getpwnam("nobody") : ::getpwuid(::geteuid())); }
  static void own(const std::filesystem::path& path) {
    if (::lchown(path.c_str(), account().pw_uid, account().pw_gid) != 0)
      throw std::runtime_error("chown " + path.string());
  }

  /// The port is taken here and handed over as systemd would, so that no other test can come between.
  int listen() {
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {.sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (::bind(listener, generic, size) != 0 || ::listen(listener, 16) != 0 ||
        ::getsockname(listener, generic, &size) != 0) {
      throw std::runtime_error("no port for Dovecot");
    }
    port_ = ntohs(address.sin_port);
    return listener;
  }

  std::string settings() const {
    std::string text = R"(
base_dir = <here>/base
state_dir = <here>/base
log_path = <here>/log
protocols = imap
listen = 127.0.0.1
ssl = required
ssl_cert = <<certificate>
ssl_key = <<key>
default_internal_user = <user>
default_internal_group = <group>
default_login_user = <user>
auth_failure_delay = 0
mail_location = maildir:<here>/mail/%u
passdb {
  driver = passwd-file
  args = <here>/passwords/%u
}
userdb {
  driver = static
  args = uid=<user> gid=<group> home=<here>/mail/%u
}
namespace inbox {
  inbox = yes
  separator = /
  mailbox "<all mail>" {
    auto = create
    special_use = \All
  }
}
service imap-login {
  chroot =
  inet_listener imap {
    port = 0
  }
  inet_listener imaps {
    port = <port>
    ssl = yes
  }
}
service anvil {
  chroot =
  unix_listener anvil-auth-penalty {
    mode = 0
  }
}
)";
    for (const auto& [name, value] :
         std::map<std::string, std::string>{{"<here>", directory_.path()},
                                            {"<certificate>", certificate_.file},
                                            {"<key>", certificate_.key},
                                            {"<user>", account().pw_name},
                                            {"<group>", ::getgrgid(account().pw_gid)->gr_name},
                                            {"<all mail>", allMail_},
                                            {"<port>", std::to_string(port_)}}) {
      text = Text::replaceAll(text, name, value);
    }
    return text;
  }

  /// Turns this process, a child, into the server.
  [[noreturn]] void become(int listener) const {
    constexpr int handedOver = 3;  // where systemd puts the first one
    listener == handedOver ? ::fcntl(listener, F_SETFD, 0) : ::dup2(listener, handedOver);
    ::setpgid(0, 0);
    const int log = ::open((directory_ / "log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666);
    ::dup2(log, STDOUT_FILENO);
    ::dup2(log, STDERR_FILENO);
    ::setenv("LISTEN_FDS", "1", 1);
    ::setenv("LISTEN_PID", std::to_string(::getpid()).c_str(), 1);
    const passwd& user = account();
    own(directory_ / "log");
    const bool unprivileged =
        ::geteuid() != 0 || (::setgroups(0, nullptr) == 0 && ::setgid(user.pw_gid) == 0 && ::setuid(user.pw_uid) == 0);
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);  // a test that crashes leaves no server
    if (unprivileged)
      ::execl("/usr/sbin/dovecot", "dovecot", "-F", "-c", (directory_ / "dovecot.conf").c_str(), nullptr);
    ::_exit(127);
  }

  static std::vector<std::string> messageIDs(const std::filesystem::path& mailbox) {
    std::vector<std::string> ids;
    for (const char* folder : {"cur", "new"}) {
      std::error_code absent;
      for (const auto& entry : std::filesystem::directory_iterator(mailbox / folder, absent)) {
        std::ifstream in(entry.path());
        for (std::string line; std::getline(in, line) && !line.empty();)
          if (line.starts_with("Message-ID: ")) ids.push_back(line.substr(12));
      }
    }
    std::sort(ids.begin(), ids.end());
    return ids;
  }

  TemporaryDirectory directory_;
  std::string allMail_;
  Certificate certificate_;
  Environment::Setting trust_;
  std::uint16_t port_ = 0;
  pid_t server_ = -1;
  int delivered_ = 0;
};
