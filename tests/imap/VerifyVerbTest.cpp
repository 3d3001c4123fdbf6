// Guards `tavro imap verify`: the owner's way from "no account" to a login that works, each step naming the next.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/cli/Sandbox.h"
#include "tests/imap/Dovecot.h"

using testing::HasSubstr;

namespace {

class VerifyVerbTest : public testing::Test {
 protected:
  VerifyVerbTest() {
    std::filesystem::create_directory(sandbox_.root() / "home");
    dovecot_.addUser("ann@example.org", "secret");
  }

  void settle(long port) {
    std::ofstream(sandbox_.root() / "home/config.json")
        << R"({"imapAccounts":[{"mailAccountName":"Work","email":"ann@example.org","host":"localhost","port":)" << port
        << "}]}";
  }
  /// Everything that is said, and the status.
  std::string says(const std::string& command) {
    const auto result = sandbox_.shell("unset DBUS_SESSION_BUS_ADDRESS; " + command);
    return result.output + result.errors + "status " + std::to_string(result.status.code);
  }

  Sandbox sandbox_;
  Dovecot dovecot_;
};

TEST_F(VerifyVerbTest, leadsTheOwnerToALoginThatWorks) {
  const std::string verify = "tavro imap verify ann@example.org";
  EXPECT_THAT(says(verify), HasSubstr("home/config.json, as {\"mailAccountName\""));
  settle(dovecot_.port());
  EXPECT_THAT(says(verify), HasSubstr("`tavro imap password ann@example.org`"));
  EXPECT_THAT(says("echo wrong | tavro imap password --yes ann@example.org"), HasSubstr("status 0"));
  EXPECT_EQ(says(verify),
            "tavro: could not log in to localhost as ann@example.org: imap server: a1 NO [AUTHENTICATIONFAILED] "
            "Authentication failed.\n"
            "If the password is another one by now, `tavro imap password ann@example.org` replaces it.\nstatus 1");
  EXPECT_THAT(says("echo secret | tavro imap password --yes ann@example.org"), HasSubstr("status 0"));
  EXPECT_EQ(says("tavro imap verify Ann@Example.org"), "OK logged in to localhost as ann@example.org\nstatus 0");
  settle(70000);
  EXPECT_THAT(says(verify), HasSubstr("a port lies between 0 (for the usual 993) and 65535"));
}

}  // namespace
