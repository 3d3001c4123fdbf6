// Guards how a call of a mail tool becomes a script's arguments, and what is refused before anything runs: the names,
// the order of the checks, the texts. In place of osascript stands a program that shows what it is given.
#include "Platform/Process.h"
#include "TavroCore/mail/MailCriteria.h"
#include "tests/desktop/Desk.h"
#include "tests/mail/MailCall.h"

namespace {

using testing::HasSubstr;

class MailToolsTest : public Desk {
 protected:
  MailToolsTest() {
    ::setenv("TAVRO_PLATFORM_BIN", (directory / "bin").c_str(), 1);
    ::setenv("TAVRO_HOME", (directory / "home").c_str(), 1);
    answerWith("shift; for one; do printf '[%s]' \"$one\"; done");
  }
  ~MailToolsTest() override {
    ::unsetenv("TAVRO_PLATFORM_BIN");
    ::unsetenv("TAVRO_HOME");
  }

  void answerWith(const std::string& shell) const {
    put("../bin/osascript", "#!/bin/sh\n" + shell + "\n");
    Files::setMode(directory / "bin/osascript", 0700);
  }
};

TEST_F(MailToolsTest, sayWhichArgumentIsMissingInTheirOrder) {
  const std::string filter =
      "at least one filter: from / to / before=YYYY-MM-DD / after / olderThan=Ndays / minSize=MB / maxSize=MB / "
      "subject / subjectContains / status=unread|read / hasAttachment";
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"account",
       {"headers|", "headers|account=;mailbox=i", "audit|subject=s", "open|subject=s", "messageId|to=a",
        "replyAll|subject=s;body=b", "delete|status=read", "move|dest=d;before=x", "archive|from=a"}},
      {"mailbox",
       {"headers|account=w", "audit|account=w", "body|subjectContains=s;account=w", "messageId|to=a;account=w",
        "reply|subject=s;account=w", "junk|hasAttachment=false;account=w"}},
      {"subject or subjectContains", {"body|account=w;mailbox=i;from=a", "open|", "reply|body=b", "forward|to=t"}},
      {filter,
       {"search|account=w;mailbox=i;limit=3;from=", "messageId|", "delete|account=w;mailbox=i", "move|dest=d",
        "archive|account=w", "flag|flag=true;account=w;mailbox=i", "junk|junk=true"}},
      {"to", {"draft|subject=s", "send|", "forward|subject=s;account=w;mailbox=i;body=b"}},
      {"subject", {"send|to=a;body=b"}},
      {"body", {"reply|subject=s;account=w;mailbox=i"}},
      {"dest", {"move|"}},
  };
  for (const auto& [missing, calls] : cases)
    for (const auto& one : calls)
      EXPECT_EQ(call(one.substr(0, one.find('|')), one.substr(one.find('|') + 1)),
                "missing required argument: " + missing)
          << one;
}

TEST_F(MailToolsTest, handScriptsEveryValueInItsPlace) {
  const std::string place = "account=w;mailbox=i;";
  const std::string all =
      "from=f;to=t;before=b;after=a;olderThan=o;minSize=1.5;maxSize=2;subject=s;subjectContains=c;status=u;"
      "hasAttachment=h";
  const std::string eleven = "[f][t][b][a][o][1572864][2097152][s][c][u][h]";
  const std::string onlyFrom = "[f][][][][][][][][][][]";
  EXPECT_EQ(call("accounts", "x=y"), "");
  EXPECT_EQ(call("headers", place), "[w][i][0]");
  EXPECT_EQ(call("audit", place + "limit=abc;" + all), "[w][i]" + eleven + "[0]");
  EXPECT_EQ(call("search", "from=f"), "[all][all]" + onlyFrom + "[50]");
  EXPECT_EQ(call("search", "from=f;account=;mailbox=;limit=0"), "[][]" + onlyFrom + "[0]");
  EXPECT_EQ(call("body", place + "subjectContains=c;from=f"), "[w][i][][c][f]");
  EXPECT_EQ(call("open", place + "subject=s"), "[w][i][s][][]");
  EXPECT_EQ(call("messageId", place + all), "[w][i]" + eleven);
  EXPECT_EQ(call("draft", "to=t;subject=s"), "[t][s][][][]");
  EXPECT_EQ(call("send", "to=t;subject=s;body=b\n-e 'x' \"y\";from=f;attachments= /a.pdf , ,/b c.pdf\t,"),
            "[t][s][b\n-e 'x' \"y\"][/a.pdf\n/b c.pdf][f]");
  EXPECT_EQ(call("reply", place + "subject=s;body=b"), "[w][i][s][][][b][0]");
  EXPECT_EQ(call("replyAll", place + "subject=s;body=b;from=f"), "[w][i][s][][f][b][1]");
  EXPECT_EQ(call("forward", place + "subject=s;to=t"), "[w][i][s][][][t][]");
  EXPECT_EQ(call("delete", place + all), "[w][i]" + eleven);
  EXPECT_EQ(call("move", place + "from=f;dest=d"), "[w][i]" + onlyFrom + "[d]");
  EXPECT_EQ(call("flag", place + "from=f;color=pink"), "[w][i]" + onlyFrom + "[1][]");
  EXPECT_EQ(call("flag", place + "from=f;flag=FALSE;color=GREY"), "[w][i]" + onlyFrom + "[0][6]");
  EXPECT_EQ(call("junk", place + "from=f;junk=no"), "[w][i]" + onlyFrom + "[1]");
  EXPECT_EQ(call("junk", place + "from=f;junk=False"), "[w][i]" + onlyFrom + "[0]");
}

TEST_F(MailToolsTest, turnMegabytesIntoBytesAndRefuseWhatDoesNotFit) {
  const std::string cases =
      "0=0;1.5=1572864;.5=524288;+2=2097152;1e-3=1048;-1=-1048576;-0=0;0x10=16777216;1e-400=0;"
      "8796093022207.99=9223372036854765568;-8796093022207=-9223372036853727232;abc=abc; 1= 1;1 =1 ;1,5=1,5;1MB=1MB";
  for (const auto& [given, bytes] : arguments(cases)) {
    EXPECT_EQ(MailCriteria::criteriaArgv({{"minSize", given}})[5], bytes) << given;
    EXPECT_EQ(MailCriteria::criteriaArgv({{"maxSize", given}})[6], bytes) << given;
  }
  for (const std::string given : {"inf", "-INF", "Infinity", "nan", "NaN", "nan(1)", "1e400", "8796093022208", "-9e12"})
    for (const char* id : {"search", "archive"})
      EXPECT_EQ(call(id, "account=w;maxSize=" + given),
                "maxSize must be a number of megabytes whose bytes fit in 64 bits - got \"" + given + "\"");
}

TEST_F(MailToolsTest, nameAnArgumentThatIsTooLong) {
  const std::string longest(Process::longestArgument, 'x');
  EXPECT_EQ(call("draft", "to=t;subject=s;body=" + longest), "[t][s][" + longest + "][][]");
  EXPECT_EQ(call("draft", "to=t;subject=y" + longest), "subject is 131072 bytes long, and at most 131071 fit");
  EXPECT_THAT(call("send", "to=t;subject=s;body=y" + longest),
              AllOf(HasSubstr("body is 131072 bytes long"), HasSubstr("attachments")));
  for (const char* id : {"search", "delete", "move", "archive"})
    EXPECT_THAT(call(id, "account=w;mailbox=i;dest=d;from=y" + longest), HasSubstr("from is 131072")) << id;
}

TEST_F(MailToolsTest, notifyNobodyButTheOwner) {
  const auto noOwner = "missing required argument: notify email (set it in Settings → Notifications)";
  EXPECT_EQ(call("notify", "subject=s;body= "), noOwner);
  put("../home/config.json", R"({"notifyEmail": " \n"})");
  EXPECT_EQ(call("notify"), noOwner);
  put("../home/config.json", R"({"notifyEmail": " me@own.example\n"})");
  EXPECT_EQ(call("notify", "body= \n\t"),
            "body is empty - refusing to send a blank notification (use body-file= for large content)");
  EXPECT_EQ(call("notify", "body=b"), "missing required argument: subject");
  EXPECT_EQ(call("notify", "subject=s;body= b\n;to=someone@else.example;from=x;attachments=/a,/b"),
            "[s][me@own.example][ b\n][me@own.example][/a\n/b]");
}

TEST_F(MailToolsTest, tellWhatAnActionWouldTouch) {
  answerWith("shift; [ \"$1|$2|$3\" = 'w||f' ] && echo '3|2048'");
  const auto suffix = [](const std::string& id, const std::string& args) {
    const auto text = preview(id, "account=w;from=f;" + args);
    EXPECT_THAT(text, testing::StartsWith("3 message(s), 2.0 MB"));
    return text.substr(20);
  };
  EXPECT_EQ(suffix("delete", ""), "");
  EXPECT_EQ(suffix("move", "dest=Old") + suffix("move", "x="), " → Old → ?");
  EXPECT_EQ(suffix("flag", "color=pink") + suffix("flag", "flag=FALSE;color=Red"), " → flag → unflag red");
  EXPECT_EQ(suffix("junk", "junk=no") + suffix("junk", "junk=false"), " → junk → not junk");
  EXPECT_EQ(preview("delete", "account=w;from=f;mailbox=m"), "(none)");
  answerWith("[ \"$3\" = INBOX ] && echo '12|1536'");
  EXPECT_EQ(preview("archive", "account=w;from=f"), "12 message(s), 1.5 MB → Archive");
  for (const char* odd : {"oops", "3", "3|x", "1|2|3", "|", "3|2048.5"})
    EXPECT_EQ(MailCriteria::formatImpact(odd, ""), std::nullopt) << odd;
  EXPECT_EQ(MailCriteria::formatImpact("||0|51|", ""), "0 message(s), 0.0 MB");
}

}  // namespace
