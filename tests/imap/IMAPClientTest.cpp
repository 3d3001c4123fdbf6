// Guards the conversation with a mail server: what goes over the wire, in which order and in which quotes, what is
// read out of the answers, and that no server, however odd, makes the client hang, swell, or act on another message.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TavroCore/mail/IMAPClient.h"
#include "tests/imap/Dovecot.h"
#include "tests/imap/FakeServer.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

using Manners = FakeServer::Manners;
using Script = FakeServer::Script;
using IDs = std::vector<std::string>;

constexpr const char* email = "ann@example.org";

std::string archive(std::uint16_t port, const IDs& ids, const std::string& password = "secret") {
  try {
    return std::to_string(IMAPClient::archiveByMessageID("localhost", port, email, password, ids));
  } catch (const IMAPClient::IMAPError& failure) {
    return failure.description();
  }
}

std::string verify(std::uint16_t port, const std::string& password, const std::string& login = email) {
  try {
    IMAPClient::verifyLogin("localhost", port, login, password);
    return "OK";
  } catch (const IMAPClient::IMAPError& failure) {
    return failure.description();
  }
}

class IMAPClientTest : public testing::Test {
 protected:
  TemporaryDirectory directory_;
  Certificate certificate_{directory_.path()};
  Environment::Setting trust_{"SSL_CERT_FILE", certificate_.file.c_str()};
};

TEST(IMAPClientAndDovecot, archivingMovesTheNamedMessagesAndNoOther) {
  const std::string password = "s\"e\\c ret";
  Dovecot dovecot("[Gmail]/All Mail");
  dovecot.addUser(email, password);
  for (const char* id : {"<1@x>", "<2@x>", "<3@x>", "<\"4\\\"@x>"}) dovecot.deliver(email, Dovecot::message(id));
  EXPECT_EQ(archive(dovecot.port(), {"1@x", "<3@x>", "5@x", "<", "", "1@x"}, password), "2") << dovecot.log();
  EXPECT_EQ(archive(dovecot.port(), {"\"4\\\"@x"}, password), "1") << dovecot.log();
  EXPECT_THAT(dovecot.inbox(email), ElementsAre("<2@x>"));
  EXPECT_THAT(dovecot.allMail(email), ElementsAre("<\"4\\\"@x>", "<1@x>", "<3@x>"));
}

TEST(IMAPClientAndDovecot, aLoginIsTestedAndARefusalToldInTheServersWords) {
  Dovecot dovecot;
  dovecot.addUser(email, "secret");
  EXPECT_EQ(verify(dovecot.port(), "secret"), "OK") << dovecot.log();
  EXPECT_EQ(verify(dovecot.port(), "wrong"), "imap server: a1 NO [AUTHENTICATIONFAILED] Authentication failed.");
}

TEST_F(IMAPClientTest, archivingSaysExactlyThisInThisOrder) {
  FakeServer server(certificate_, {{"UID SEARCH", "* search 5 7\r\n% OK done\r\n"}});
  EXPECT_EQ(archive(server.port(), {"a@x", "<b\"\\@x>"}, "p\"\\w"), "4");
  EXPECT_THAT(server.wire(),
              ElementsAre(R"(a1 LOGIN "ann@example.org" "p\"\\w")", R"(a2 LIST "" "*")", "a3 SELECT INBOX",
                          R"(a4 UID SEARCH HEADER MESSAGE-ID "<a@x>")", R"(a5 UID MOVE 5 "[Gmail]/All Mail")",
                          R"(a6 UID MOVE 7 "[Gmail]/All Mail")", R"(a7 UID SEARCH HEADER MESSAGE-ID "<b\"\\@x>")",
                          R"(a8 UID MOVE 5 "[Gmail]/All Mail")", R"(a9 UID MOVE 7 "[Gmail]/All Mail")", "a10 LOGOUT"));
}

TEST_F(IMAPClientTest, theFolderIsReadOutOfEveryFormOfAListLine) {
  const std::pair<const char*, const char*> cases[] = {
      {R"(* LIST (\All \HasNoChildren) "/" "All")", R"("All")"},
      {R"(* LIST (\All) NIL "All")", R"("All")"},
      {R"(* LIST (\All) NIL Archive)", R"("Archive")"},
      {R"(* LIST (\All) "/" Archive )", R"("Archive")"},
      {R"(* LIST (\All) " " "All Mail")", R"("All Mail")"},
      {R"(* LIST (\All) " " Archive)", R"("Archive")"},
      {R"(* LIST (\All) "/" "a\\b")", R"("a\\\\b")"},
      {"* LIST (\\All) \"/\" \"\xD0\x92\xD1\x81\xFF\"", "\"\xD0\x92\xD1\x81\uFFFD\""},
      {"* LIST (\\All) \"/\" {3}\r\nAll", R"("[Gmail]/All Mail")"},
      {R"(* LIST (\All) "All)", R"("[Gmail]/All Mail")"},
      {R"(* LIST (\all) "/" "All")", R"("[Gmail]/All Mail")"},
      {R"(* list (\All) "/" "All")", R"("[Gmail]/All Mail")"},
      {"* LIST () \"/\" \"A\"\r\n* LIST (\\All) \"/\" \"B\"\r\n* LIST (\\All) \"/\" \"C\"", R"("B")"},
      {"* OK", R"("[Gmail]/All Mail")"},
  };
  for (const auto& [line, folder] : cases) {
    for (const Manners manners : {Manners::good, Manners::byteByByte}) {
      FakeServer server(certificate_, {{"LIST", std::string(line) + "\r\n% OK\r\n"}}, manners);
      EXPECT_EQ(archive(server.port(), {"a@x"}), "1") << line;
      EXPECT_THAT(server.wire(), Contains("a5 UID MOVE 7 " + std::string(folder))) << line;
    }
  }
}

TEST_F(IMAPClientTest, whatAServerAnswersDecidesTheOutcome) {
  struct Case {
    Script script;
    const char* outcome;
  };
  const Case cases[] = {
      {{{"greeting", "* PREAUTH hello\r\n* OK still waiting\r\n"}, {"LOGIN", "% ok done\r\n"}}, "1"},
      {{{"LOGIN", "a12 NO other\r\na1NO\r\n* a1 NO\r\n% OK\r\n"}}, "1"},
      {{{"UID SEARCH", "* SEARCH\r\n% OK\r\n"}}, "0"},
      {{{"UID SEARCH", "% OK\r\n"}}, "0"},
      {{{"UID SEARCH", "* SEARCH  5 x -1 18446744073709551616 7 \r\n* SEARCH 8\r\n% OK\r\n"}}, "2"},
      {{{"LOGOUT", "% BAD not now\r\n"}}, "1"},
      {{{"LOGOUT", "* BYE\r\n<close>"}}, "1"},
      {{{"LOGIN", "* NO hint\r\n% NO [ALERT] Zug\xC3\xA4nglich \xFF?\r\n"}},
       "imap server: a1 NO [ALERT] Zug\u00E4nglich \uFFFD?"},
      {{{"SELECT", "% BAD what?\r\n"}}, "imap server: a3 BAD what?"},
      {{{"UID MOVE", "% NO [TRYCREATE] no such folder\r\n"}}, "imap server: a5 NO [TRYCREATE] no such folder"},
      {{{"LOGIN", "% NO LOGIN ann secret is wrong\r\n"}}, "imap server: a1 NO LOGIN ann [password] is wrong"},
      {{{"LIST", "* LIST (\\All) \"/\" \"A\nB\"\r\n% OK\r\n"}},
       "imap server: the All Mail folder's name holds a line break or a NUL byte; nothing was sent"},
      {{{"greeting", "* BYE busy\r\n<close>"}}, "imap connect: connection closed"},
      {{{"greeting", "* OK<close>"}}, "imap connect: connection closed"},
      {{{"SELECT", "* 5 EXISTS\r\n% O<close>"}}, "imap connect: connection closed"},
      {{{"SELECT", "* 5 EXISTS\r\n% O<goodbye>"}}, "imap connect: connection closed"},
  };
  for (const auto& [script, outcome] : cases) {
    for (const Manners manners : {Manners::good, Manners::byteByByte}) {
      FakeServer server(certificate_, script, manners);
      EXPECT_EQ(archive(server.port(), {"a@x"}), outcome) << testing::PrintToString(script);
    }
  }
}

TEST_F(IMAPClientTest, aPasswordIsLeftOutOfARefusalInBothOfItsForms) {
  FakeServer server(certificate_, {{"LOGIN", "% NO p\"\\w or \"p\\\"\\\\w\"\r\n"}});
  EXPECT_EQ(verify(server.port(), "p\"\\w"), "imap server: a1 NO [password] or \"[password]\"");
}

TEST_F(IMAPClientTest, noTextFromOutsideBeginsACommandOfItsOwn) {
  const std::string nul("a\0b@x", 5);
  FakeServer server(certificate_);
  EXPECT_EQ(archive(server.port(), {"a@x>\"\r\na5 DELETE INBOX", "a\nb@x", "a\rb@x", nul}), "0");
  EXPECT_THAT(server.wire(), ElementsAre(HasSubstr("LOGIN"), HasSubstr("LIST"), "a3 SELECT INBOX", "a4 LOGOUT"));
  for (const auto& text : {std::string("x\r\na2 DELETE INBOX"), std::string("x\n"), std::string("x\r"), nul}) {
    FakeServer one(certificate_);
    EXPECT_THAT(verify(one.port(), text), HasSubstr("the password holds a line break"));
    EXPECT_THAT(one.wire(), IsEmpty());
    FakeServer other(certificate_);
    EXPECT_THAT(verify(other.port(), "secret", text), HasSubstr("the e-mail address holds a line break"));
    EXPECT_THAT(other.wire(), IsEmpty());
  }
}

TEST_F(IMAPClientTest, anIdThatOtherMessagesContainIsNotSearchedFor) {
  for (const char* id : {"", "<", "<>", "<a"}) {
    FakeServer server(certificate_);
    EXPECT_EQ(archive(server.port(), {id}), "0") << id;
    EXPECT_THAT(server.wire(), Not(Contains(HasSubstr("SEARCH")))) << id;
  }
}

TEST_F(IMAPClientTest, aReplyWithoutEndIsRefusedBeforeItFillsTheMemory) {
  for (const char* where : {"greeting", "LIST"}) {
    FakeServer server(certificate_, {{where, "* LIST (\\All) <flood>"}});
    EXPECT_EQ(archive(server.port(), {"a@x"}), "imap server: a reply is longer than 8 MB") << where;
    EXPECT_LT(server.flooded(), 30'000'000U) << where;
  }
}

TEST_F(IMAPClientTest, aLongReplyOfShortLinesIsReadInOnePass) {
  std::string reply;
  while (reply.size() < IMAPClient::longestReply - 100) reply += "* x\r\n";
  FakeServer server(certificate_, {{"LIST", reply + "% OK\r\n"}});
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(archive(server.port(), {"a@x"}), "1");
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60)) << "quadratic would be minutes";
}

TEST_F(IMAPClientTest, aServerThatFallsSilentIsLeft) {
  const std::vector<std::pair<Manners, std::string>> rows = {{Manners::silentFromStart, "imap timeout: connect"},
                                                             {Manners::silent, "imap timeout: read"}};
  for (const auto& [manners, said] : rows) {
    FakeServer server(certificate_, {}, manners);
    try {
      IMAPClient::verifyLogin("localhost", server.port(), email, "secret", 0.3);
      ADD_FAILURE() << said;
    } catch (const IMAPClient::IMAPError& error) {
      EXPECT_EQ(error.description(), said);
    }
  }
}

TEST_F(IMAPClientTest, thePortThatCantBeDialledIs993) {
  constexpr FakeServer::Address address = {"127.31.41.59", 993};
  Certificate certificate(directory_.path(), "IP:127.31.41.59");
  try {
    FakeServer server(certificate, {}, Manners::good, address);
    IMAPClient::verifyLogin(address.host, 0, email, "secret");
    EXPECT_THAT(server.wire(), ElementsAre(HasSubstr("LOGIN"), "a2 LOGOUT"));
  } catch (const asio::system_error& failure) {
    GTEST_SKIP() << "only who may listen on port 993 can tell: " << failure.what();
  }
}

}  // namespace
