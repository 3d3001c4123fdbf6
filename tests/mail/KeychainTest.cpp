// Guards the passwords of mail servers: kept by a real keyring where one is open, in a file of the owner's alone where
// none is, never by both in a way that brings an old one back, and never waited for without end.
#include <signal.h>
#include <sys/stat.h>

#include <chrono>
#include <utility>

#include "Platform/Process.h"
#include "Platform/SecItem.h"
#include "TavroCore/mail/Keychain.h"
#include "tests/desktop/Desk.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// The output's first line; empty when the command failed.
std::string firstLine(const std::string& shell) {
  const auto result = Process::run({.program = "/bin/sh", .arguments = {"-c", shell}, .input = "owner's password"});
  return result.status.ok() ? result.output.substr(0, result.output.find('\n')) : "";
}

class KeychainTest : public Desk {
 protected:
  std::vector<std::string> files() const { return Files::listIfPossible(root / "keychain"); }
};

using OfSecret = std::optional<std::string>;

TEST_F(KeychainTest, keepsOnePasswordAnAccountInAFileThatOnlyTheOwnerReads) {
  EXPECT_EQ(Keychain::password("ann@example.org"), std::nullopt);
  Keychain::deletePassword("ann@example.org");
  Keychain::setPassword("first", "ann@example.org");
  Keychain::setPassword("sécond \\\" 😀", "ann@example.org");
  EXPECT_EQ(Keychain::password("ann@example.org"), OfSecret("sécond \\\" 😀"));
  EXPECT_TRUE(Keychain::hasPassword("ann@example.org"));
  ASSERT_EQ(files(), std::vector<std::string>{"app.tavro.core.imap,ann@example.org"});
  for (const auto& [path, mode] : {std::pair(root / "keychain", 040700), {root / "keychain" / files()[0], 0100600}}) {
    struct stat entry {};
    ASSERT_EQ(::stat(path.c_str(), &entry), 0);
    EXPECT_EQ(entry.st_mode, mode) << path;
  }
  Keychain::deletePassword("ann@example.org");
  EXPECT_FALSE(Keychain::hasPassword("ann@example.org"));
  EXPECT_TRUE(files().empty());
}

TEST_F(KeychainTest, keepsAccountsOfAnyBytesApart) {
  const std::vector<std::string> odd = {"",
                                        "Ann@x",
                                        "ann@x",
                                        "ann%40x",
                                        ",ann@x",
                                        "../../ann@x",
                                        "..",
                                        "a/b",
                                        "a\nb",
                                        {"a\0b", 3},
                                        "\xff",
                                        "é",
                                        "~/~",
                                        "%",
                                        std::string(180, 'a'),
                                        std::string(182, 'a'),
                                        std::string(900, '.')};
  for (const auto& account : odd) Keychain::setPassword("of " + account, account);
  for (const auto& account : odd) {
    std::string secret;
    EXPECT_EQ(SecItem::copyMatching({Keychain::service, account}, &secret), SecItem::success);
    EXPECT_EQ(secret, "of " + account);
  }
  EXPECT_EQ(Files::list(directory), std::vector<std::string>{"desktop"});
  EXPECT_EQ(Files::list(root), std::vector<std::string>{"keychain"});
  EXPECT_EQ(SecItem::add({"a", "b,c"}, ""), SecItem::success);
  EXPECT_EQ(SecItem::copyMatching({"a,b", "c"}), SecItem::itemNotFound);
  EXPECT_EQ(SecItem::add({"a", "b,c"}, ""), SecItem::duplicateItem);
}

TEST_F(KeychainTest, tellsWhyAPasswordCantBeKeptAndTakesWhatIsNoTextForNone) {
  put("keychain/app.tavro.core.imap,ann@example.org", "\xff\xfe");
  EXPECT_EQ(Keychain::password("ann@example.org"), std::nullopt);
  EXPECT_TRUE(Keychain::hasPassword("ann@example.org"));
  std::filesystem::remove_all(root / "keychain");
  put("keychain", "in the way");
  EXPECT_EQ(Keychain::password("ann@example.org"), std::nullopt);
  try {
    Keychain::setPassword("secret", "ann@example.org");
    FAIL() << "nothing was thrown";
  } catch (const Keychain::KeychainError& error) {
    EXPECT_THAT(error.description(), StartsWith("keychain error -36: "));
  }
  EXPECT_EQ(SecItem::remove({Keychain::service, std::string(100'000, 'x')}), SecItem::ioFailure);
  EXPECT_EQ(Keychain::KeychainError::unexpectedStatus(-25308).description(),
            "keychain error -25308: the keychain is locked and would have to ask its owner");
  EXPECT_EQ(Keychain::KeychainError::unexpectedStatus(-1).description(), "keychain error -1: unknown");
}

/// A session bus with the GNOME keyring on it, both of the test's own.
class KeyringTest : public KeychainTest {
 protected:
  void SetUp() override {
    for (const char* name : {"HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"}) ::setenv(name, directory.c_str(), 1);
    const std::string address = firstLine("dbus-daemon --session --fork --print-address");
    if (address.empty()) GTEST_SKIP() << "no session bus starts here";
    ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
    startKeyring();
    if (keyring == 0) GTEST_SKIP() << "no gnome-keyring-daemon starts here: " << get("../log");
  }
  ~KeyringTest() override {
    endKeyring();
    if (const pid_t bus = processOf("org.freedesktop.DBus")) ::kill(bus, SIGKILL);
  }

  /// Open, whatever the one before was.
  void startKeyring() {
    endKeyring();
    firstLine("gnome-keyring-daemon --daemonize --unlock --components=secrets >\"$HOME/log\" 2>&1");
    firstLine("gdbus wait --session --timeout 10 org.freedesktop.secrets");
    keyring = processOf("org.freedesktop.secrets");
  }
  void endKeyring() {
    if (keyring != 0) ::kill(std::exchange(keyring, 0), SIGKILL);
  }

  static pid_t processOf(const std::string& name) {
    const std::string line = firstLine(
        "dbus-send --print-reply=literal --dest=org.freedesktop.DBus / "
        "org.freedesktop.DBus.GetConnectionUnixProcessID string:" +
        name);
    return line.empty() ? 0 : std::stoi(line.substr(line.find_last_of(' ') + 1));
  }
  static std::string ask(const std::string& call) {
    return firstLine(
        "dbus-send --print-reply=literal --dest=org.freedesktop.secrets /org/freedesktop/secrets "
        "org.freedesktop.Secret.Service." +
        call + " | tr -d '\\n'");
  }

  static inline const std::string keyringPath = "/org/freedesktop/secrets/collection/login";
  static inline const std::string ann = "ann@example.org";
  pid_t keyring = 0;
};

TEST_F(KeyringTest, keepsThePasswordThereAndNotInAFile) {
  Keychain::setPassword("first", ann);
  Keychain::setPassword("second", ann);
  EXPECT_EQ(Keychain::password(ann), OfSecret("second"));
  EXPECT_EQ(Keychain::password("bob@example.org"), std::nullopt);
  EXPECT_EQ(SecItem::add({Keychain::service, ann}, "third"), SecItem::duplicateItem);
  EXPECT_FALSE(Files::exists(root));
  EXPECT_THAT(ask("SearchItems dict:string:string:service,app.tavro.core.imap,account," + ann), HasSubstr(keyringPath));
  Keychain::setPassword("with bytes that no bus carries", "a\xff");
  EXPECT_EQ(files().size(), 1U);
  Keychain::deletePassword(ann);
  EXPECT_FALSE(Keychain::hasPassword(ann));
}

TEST_F(KeyringTest, leavesALockedOneLockedAndKeepsThePasswordInAFileThatStaysTheNewer) {
  Keychain::setPassword("old", ann);
  ask("Lock array:objpath:" + keyringPath);
  EXPECT_EQ(Keychain::password(ann), std::nullopt);
  EXPECT_TRUE(Keychain::hasPassword(ann));
  std::string secret;
  EXPECT_EQ(SecItem::copyMatching({Keychain::service, ann}, &secret), SecItem::interactionNotAllowed);
  Keychain::setPassword("new", ann);
  EXPECT_EQ(Keychain::password(ann), OfSecret("new"));
  EXPECT_EQ(SecItem::remove({Keychain::service, "bob@example.org"}), SecItem::itemNotFound);
  startKeyring();
  EXPECT_EQ(Keychain::password(ann), OfSecret("new"));
  Keychain::setPassword("newest", ann);
  EXPECT_TRUE(files().empty());
  EXPECT_EQ(Keychain::password(ann), OfSecret("newest"));
}

TEST_F(KeyringTest, usesAFileWhereTheKeyringWasNeverSetUpAndWhereTheBusIsGone) {
  endKeyring();
  std::filesystem::remove_all(directory / "keyrings");
  Keychain::setPassword("before", ann);  // the bus starts a keyring for it, with nothing in it
  EXPECT_EQ(files().size(), 1U);
  EXPECT_EQ(Keychain::password(ann), OfSecret("before"));
  ::kill(processOf("org.freedesktop.secrets"), SIGKILL);
  ::kill(processOf("org.freedesktop.DBus"), SIGKILL);
  Keychain::setPassword("after", ann);
  EXPECT_EQ(Keychain::password(ann), OfSecret("after"));
}

// The last, for this process leaves keyrings alone from then on.
TEST_F(KeyringTest, waitsAFewSecondsForASilentOneAndThenUsesAFile) {
  ::kill(keyring, SIGSTOP);
  const auto begin = std::chrono::steady_clock::now();
  Keychain::setPassword("secret", ann);
  EXPECT_EQ(Keychain::password(ann), OfSecret("secret"));
  EXPECT_EQ(Keychain::password("bob@example.org"), std::nullopt);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
  EXPECT_EQ(files().size(), 1U);
}

}  // namespace
