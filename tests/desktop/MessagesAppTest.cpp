// Guards what scripts send through Messages: it goes to whom they name and to nobody else, nothing is half recorded,
// and another program's file keeps its shape.
#include <sqlite3.h>
#include <sys/stat.h>

#include "tests/desktop/ScriptedDesk.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class MessagesAppTest : public ScriptedDesk {
 protected:
  MessagesAppTest() { ::setenv("HOME", directory.c_str(), 1); }

  /// Every row of the answer, its columns joined by "|".
  std::vector<std::string> sql(const std::string& statements) const {
    std::vector<std::string> rows;
    sqlite3* handle = nullptr;
    sqlite3_open(file.c_str(), &handle);
    const auto addRow = [](void* list, int count, char** values, char**) {
      std::string row;
      for (int i = 0; i < count; ++i) row += (i ? "|" : "") + std::string(values[i] ? values[i] : "NULL");
      static_cast<std::vector<std::string>*>(list)->push_back(row);
      return 0;
    };
    char* problem = nullptr;
    sqlite3_exec(handle, statements.c_str(), addRow, &rows, &problem);
    EXPECT_EQ(problem, nullptr) << problem;
    sqlite3_close(handle);
    return rows;
  }
  std::vector<std::string> sent() const {
    return sql("SELECT h.id, m.text FROM message m JOIN handle h ON m.handle_id = h.ROWID ORDER BY m.ROWID");
  }
  static std::string send(const std::string& text, const std::string& to) {
    return tell("Messages", "send \"" + text + "\" to participant \"" + to + "\" of account 1");
  }
  void account(const std::string& json) const { put("messages/account.json", json); }

  const std::filesystem::path file = directory / "Library/Messages/chat.db";
};

TEST_F(MessagesAppTest, sendsToPhoneNumbersAndMailAddressesAndToNothingElse) {
  const std::vector<std::pair<std::string, std::string>> handles = {{"+49 (170) 123-45.6", "+49170123456"},
                                                                    {" 0170/123456 ", "0170123456"},
                                                                    {"70007", "70007"},
                                                                    {"eva@home.example", "eva@home.example"}};
  for (const auto& [given, known] : handles)
    EXPECT_EQ(tell("Messages", "get handle of participant \"" + given + "\" of account 1"), known);
  for (const char* other : {"", "Eva", "12", "+", "+49 170 x", "++49170", "49+170", "eva@", "a@b.example, c@d.example",
                            "-oops@home.example", "-49170123", "+49\\n170123", "123456789012345678901", "٠١٢٣٤"})
    EXPECT_THAT(send("x", other), testing::EndsWith("of account id \"iMessage\". (-1728)")) << other;
  EXPECT_FALSE(Files::exists(file));
}

TEST_F(MessagesAppTest, answersWhatScriptsAskOfItsAccount) {
  account(R"({"handle": "+49170999"})");
  const std::vector<Step> steps = {
      {"get id of (1st account whose service type is iMessage)", "iMessage"},
      {"get service type of account 1", "iMessage"},
      {"count (every account whose service type is SMS)", "0"},
      {"get {description, enabled, connection status} of account 1", "+49170999, true, disconnected"},
      {"get connection status of account 1 is connected", "false"},
      {"count participants", "0"},
      {"send \"b\" to chat id \"iMessage;-;+49 170 2\"", ""},
      {"send 3 to participant \"+491703\"", ""},
      {"get handle of every participant of account 1", "+491703, +491702"},
      {"get id of chats", "iMessage;-;+491703, iMessage;-;+491702"},
      {"get handle of participant 1 of chat 2", "+491702"},
      {"get {name, first name} of participant 2", "+491702, missing value"},
      {"send \"x\" to participant id (id of participant 2)", ""},
      {"send \"x\" to chat id \"iMessage;+;chat42\"",
       "Messages got an error: Can’t get chat id \"iMessage;+;chat42\". (-1728)"},
      {"send \"x\" to \"+491703\"", "Messages got an error: Can’t get \"+491703\". (-1728)"},
      {"send \"\" to participant \"+491703\"", "Messages got an error: There is no text to send. (-10000)"},
      {"send (POSIX file \"/etc/hosts\") to participant \"+491703\"",
       "Messages got an error: Messages sends no files here. (-10000)"},
  };
  for (const auto& [script, result] : steps) EXPECT_EQ(tell("Messages", script), result) << script;
  EXPECT_THAT(sent(), ElementsAre("+491702|b", "+491703|3", "+491702|x"));
}

// ---- What is recorded.

TEST_F(MessagesAppTest, makesAFileForItsOwnerAlone) {
  ::umask(0);
  EXPECT_EQ(send("Hi", "+491701"), "");
  EXPECT_EQ(send("Hi", "+491702"), "");
  EXPECT_EQ(send("again", "+491701"), "");
  struct stat status {};
  ASSERT_EQ(::stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  ::stat(file.parent_path().c_str(), &status);
  EXPECT_EQ(status.st_mode & 0777, 0700u);
  EXPECT_THAT(sent(), ElementsAre("+491701|Hi", "+491702|Hi", "+491701|again"));
  EXPECT_THAT(sql("SELECT COUNT(*), COUNT(DISTINCT guid), MIN(is_from_me), MIN(service), MIN(abs(date / 1000000000 + "
                  "978307200 - strftime('%s')) < 60) FROM message"),
              ElementsAre("3|3|1|iMessage|1"));
  sql("UPDATE handle SET service = 'SMS'; INSERT INTO handle (id, service) VALUES ('+491701', 'iMessage')");
  EXPECT_EQ(send("by our service", "+491701"), "");
  EXPECT_THAT(sql("SELECT MAX(handle_id) FROM message"), ElementsAre("3"));
}

TEST_F(MessagesAppTest, findsItsPlaceInAnotherProgramsFile) {
  std::filesystem::create_directories(file.parent_path());
  sql("PRAGMA journal_mode = WAL; CREATE TABLE handle (id TEXT UNIQUE, person TEXT);"
      "CREATE TABLE message (text TEXT, handle_id INTEGER, date INTEGER, is_from_me INTEGER, is_read INTEGER DEFAULT 7);"
      "INSERT INTO handle (id) VALUES ('+49 170 1'), ('Eva@Home.example')");
  EXPECT_EQ(send("a", "+491701"), "");
  EXPECT_EQ(send("b", "eva@home.example"), "");
  EXPECT_EQ(send("c", "+491702"), "");
  EXPECT_THAT(sent(), ElementsAre("+49 170 1|a", "Eva@Home.example|b", "+491702|c"));
  EXPECT_THAT(sql("SELECT DISTINCT is_from_me, is_read FROM message"), ElementsAre("1|7"));
}

TEST_F(MessagesAppTest, leavesAFileThatCannotTakeTheMessageAsItWas) {
  std::filesystem::create_directories(file.parent_path());
  const std::string handle = "CREATE TABLE handle (id TEXT);";
  const std::vector<std::pair<std::string, std::string>> shapes = {
      {"CREATE TABLE notes (id)", "no such table: handle"},
      {handle, "no such table: message"},
      {handle + "CREATE TABLE message (text, handle_id, is_from_me)", "its table message has no column date"},
      {handle + "CREATE TABLE message (text, handle_id, date, is_from_me, chat NOT NULL)",
       "NOT NULL constraint failed: message.chat"},
      {handle + "CREATE VIEW message AS SELECT 1 AS text, 1 AS handle_id, 1 AS date, 1 AS is_from_me",
       "cannot modify message because it is a view"},
  };
  for (const auto& [shape, reason] : shapes) {
    std::filesystem::remove(file);
    sql(shape);
    const auto before = get(file);
    EXPECT_EQ(send("x", "+491701"),
              "Messages got an error: could not use " + file.string() + ": " + reason + " (-10000)");
    EXPECT_EQ(get(file), before) << shape;
  }
  account(R"({"send": "touch )" + (directory / "out").string() + "\"}");  // what can't be recorded isn't sent either
  EXPECT_THAT(send("x", "+491701"), HasSubstr("because it is a view"));
  EXPECT_FALSE(Files::exists(directory / "out"));
}

// ---- What carries messages out.

TEST_F(MessagesAppTest, handsMessagesToTheSendCommandBeforeItRecordsThem) {
  const auto out = (directory / "out").string();
  account(R"({"handle": "+49170999", "send": "{ echo \"$TAVRO_MESSAGE_TO\"; cat; } >> )" + out + "\"}");
  EXPECT_EQ(send("It's $HOME `id`\\nand more", "+49 1701"), "");
  EXPECT_EQ(get(out), "+491701\nIt's $HOME `id`\nand more");
  EXPECT_THAT(sent(), ElementsAre("+491701|It's $HOME `id`\nand more"));
  EXPECT_EQ(tell("Messages", "get connection status of account 1"), "connected");
}

TEST_F(MessagesAppTest, recordsNothingThatDidNotGoOut) {
  account(R"({"send": "echo no route to secret=$0 >&2; exit 69 # secret-token"})");
  const auto refusal = send("x", "+491701");
  EXPECT_THAT(refusal, HasSubstr("the send command ended with status 69: no route to secret="));
  EXPECT_THAT(refusal, testing::Not(HasSubstr("secret-token")));
  EXPECT_THAT(sent(), IsEmpty());
  EXPECT_THAT(sql("SELECT * FROM handle"), IsEmpty());
}

TEST_F(MessagesAppTest, sendsNothingByABrokenAccount) {
  for (const char* broken : {"{", "[]", R"({"send": 5})", R"({"send": ["a"]})"}) {
    account(broken);
    EXPECT_THAT(send("x", "+491701"), HasSubstr("account.json")) << broken;
  }
  EXPECT_FALSE(Files::exists(file));
}

}  // namespace
