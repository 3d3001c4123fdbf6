// Guards that a message reaches the command whole, and that a failure is told in words that help.
#include "Platform/Error.h"
#include "Platform/linux/stores/SendCommand.h"
#include "tests/maildir/Mailbox.h"

namespace {

class SendCommandTest : public MailTest {};

TEST_F(SendCommandTest, givesTheMessageAndNothingElse) {
  const auto message = "Subject: x\n\n" + std::string(1 << 20, 'x') + std::string("\0\xFF$(id)'\"\n", 10);
  SendCommand::send("cat > '" + (root / "sent").string() + "'; echo warning >&2", message);
  EXPECT_EQ(get("sent"), message);
  SendCommand::send("true", message);  // need not read it
}

TEST_F(SendCommandTest, saysHowTheCommandEndedAndWhatItWroteLast) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"echo a >&2; echo; printf 'no \\033[1mroute' >&2; exit 75", " ended with status 75: a; no  [1mroute"},
      {"echo only this; false", " ended with status 1: only this"},
      {"exit 3", " ended with status 3 and said nothing"},
      {"kill -9 $$", " was ended by signal 9 and said nothing"},
      {"printf '1\\n2\\n3\\r\\n\\377\\n' >&2; exit 1", " ended with status 1: 2; 3; \uFFFD"},
  };
  for (const auto& [command, end] : rows) {
    try {
      SendCommand::send(command, "x");
      FAIL() << command;
    } catch (const Error& error) {
      EXPECT_EQ(error.description(), "the send command" + end);
    }
  }
  try {
    SendCommand::send("yes | head -c 3000000 | tr -d '\\n' >&2; exit 1", "x");
    FAIL();
  } catch (const Error& error) {
    EXPECT_LT(error.description().size(), 400u);
  }
}

}  // namespace
