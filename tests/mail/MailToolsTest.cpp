// Guards how a call of a mail tool becomes a script's arguments, and what is refused before anything runs: the names,
// the order of the checks, the texts. In place of osascript stands a program that shows what it is given.
#include <fmt/format.h>

#include "Platform/Process.h"
#include "TavroCore/harness/HarnessRunner.h"
#include "TavroCore/harness/Tools.h"
#include "TavroCore/mail/MailCriteria.h"
#include "tests/desktop/Desk.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/// A call in one line: "from=ann;subject=Hi".
Arguments arguments(const std::string& text) {
  Arguments args;
  std::istringstream pairs(text);
  for (std::string pair; std::getline(pairs, pair, ';');)
    args[pair.substr(0, pair.find('='))] = pair.substr(pair.find('=') + 1);
  return args;
}

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

  /// As behind the gate: the check of the arguments, then the run.
  static std::string call(const std::string& id, const Arguments& args) try {
    Tools::find(id)->build(args);
    const auto built = HarnessRunner::executeBuilt(*Tools::find(id), args);
    return built.ok ? built.output : built.error;
  } catch (const ToolError& error) {
    return error.description();
  }
  static std::string call(const std::string& id, const std::string& args) { return call(id, arguments(args)); }
};

TEST_F(MailToolsTest, leadTheCatalogueInOrder) {
  std::string ids;
  for (const Tool& tool : Tools::all())
    if (tool.id.starts_with("mail.") && &tool - Tools::all().data() < 18)
      ids += tool.id.substr(5) + ":" + std::string(rawValue(tool.effect)) + " ";
  EXPECT_EQ(ids,
            "accounts:read headers:read audit:read search:read body:read open:read messageId:read draft:create "
            "send:destructive notify:create reply:destructive replyAll:destructive forward:destructive "
            "delete:destructive move:destructive archive:destructive flag:destructive junk:destructive ");
}

TEST_F(MailToolsTest, sayWhichArgumentIsMissingInTheirOrder) {
  const std::string filter =
      "at least one filter: from / to / before=YYYY-MM-DD / after / olderThan=Ndays / minSize=MB / maxSize=MB / "
      "subject / subjectContains / status=unread|read / hasAttachment";
  const std::string selector = "subject or subjectContains";
  const struct {
    const char* call;
    std::string missing;
  } cases[] = {
      {"headers|", "account"},
      {"headers|account=", "account"},
      {"headers|account=w", "mailbox"},
      {"audit|subject=s", "account"},
      {"audit|account=w", "mailbox"},
      {"search|account=w;mailbox=i;limit=3;from=", filter},
      {"body|account=w;mailbox=i;from=a", selector},
      {"open|subject=s", "account"},
      {"body|subjectContains=s;account=w", "mailbox"},
      {"messageId|", filter},
      {"messageId|to=a", "account"},
      {"messageId|to=a;account=w", "mailbox"},
      {"draft|subject=s", "to"},
      {"send|to=a;body=b", "subject"},
      {"reply|body=b", selector},
      {"replyAll|subject=s;body=b", "account"},
      {"reply|subject=s;account=w", "mailbox"},
      {"reply|subject=s;account=w;mailbox=i", "body"},
      {"forward|subject=s;account=w;mailbox=i;body=b", "to"},
      {"delete|account=w;mailbox=i", filter},
      {"delete|status=read", "account"},
      {"move|", "dest"},
      {"move|dest=d", filter},
      {"move|dest=d;before=x", "account"},
      {"archive|from=a", "account"},
      {"archive|account=w", filter},
      {"flag|flag=true;account=w;mailbox=i", filter},
      {"junk|hasAttachment=false;account=w", "mailbox"},
  };
  for (const auto& [line, missing] : cases) {
    const std::string text = line;
    const auto bar = text.find('|');
    EXPECT_EQ(call("mail." + text.substr(0, bar), text.substr(bar + 1)), "missing required argument: " + missing)
        << text;
  }
}

TEST_F(MailToolsTest, handScriptsEveryValueInItsPlace) {
  const std::string place = "account=w;mailbox=i";
  const std::string all =
      "from=f;to=t;before=b;after=a;olderThan=o;minSize=1.5;maxSize=2;subject=s;subjectContains=c;status=u;hasAttachment=h";
  const std::string eleven = "[f][t][b][a][o][1572864][2097152][s][c][u][h]";
  const std::string onlyFrom = "[f][][][][][][][][][][]";
  EXPECT_EQ(call("mail.accounts", "x=y"), "");
  EXPECT_EQ(call("mail.headers", place), "[w][i][0]");
  EXPECT_EQ(call("mail.headers", place + ";limit=7"), "[w][i][7]");
  EXPECT_EQ(call("mail.audit", place + ";limit=abc;" + all), "[w][i]" + eleven + "[0]");
  EXPECT_EQ(call("mail.search", "from=f"), "[all][all]" + onlyFrom + "[50]");
  EXPECT_EQ(call("mail.search", "from=f;account=;mailbox=;limit=0"), "[][]" + onlyFrom + "[0]");
  EXPECT_EQ(call("mail.body", place + ";subjectContains=c;from=f"), "[w][i][][c][f]");
  EXPECT_EQ(call("mail.open", place + ";subject=s"), "[w][i][s][][]");
  EXPECT_EQ(call("mail.messageId", place + ";" + all), "[w][i]" + eleven);
  EXPECT_EQ(call("mail.draft", "to=t;subject=s"), "[t][s][][][]");
  EXPECT_EQ(call("mail.send", "to=t;subject=s;body=b\n-e 'x' \"y\";from=f;attachments= /a.pdf , ,/b c.pdf\t,"),
            "[t][s][b\n-e 'x' \"y\"][/a.pdf\n/b c.pdf][f]");
  EXPECT_EQ(call("mail.reply", place + ";subject=s;body=b"), "[w][i][s][][][b][0]");
  EXPECT_EQ(call("mail.replyAll", place + ";subject=s;body=b;from=f"), "[w][i][s][][f][b][1]");
  EXPECT_EQ(call("mail.forward", place + ";subject=s;to=t"), "[w][i][s][][][t][]");
  EXPECT_EQ(call("mail.delete", place + ";" + all), "[w][i]" + eleven);
  EXPECT_EQ(call("mail.move", place + ";from=f;dest=d"), "[w][i]" + onlyFrom + "[d]");
  EXPECT_EQ(call("mail.flag", place + ";from=f"), "[w][i]" + onlyFrom + "[1][]");
  EXPECT_EQ(call("mail.flag", place + ";from=f;flag=FALSE;color=GREY"), "[w][i]" + onlyFrom + "[0][6]");
  EXPECT_EQ(call("mail.junk", place + ";from=f;junk=no"), "[w][i]" + onlyFrom + "[1]");
  EXPECT_EQ(call("mail.junk", place + ";from=f;junk=False"), "[w][i]" + onlyFrom + "[0]");
}

TEST_F(MailToolsTest, knowTheColorsOfFlags) {
  std::string indexes;
  for (const char* color : {"red", "Orange", "YELLOW", "green", "blue", "purple", "gray", "grey", "pink", " red", ""})
    indexes += "[" + MailCriteria::flagColorIndex(color) + "]";
  EXPECT_EQ(indexes, "[0][1][2][3][4][5][6][6][][][]");
}

TEST_F(MailToolsTest, turnMegabytesIntoBytesAndRefuseWhatDoesNotFit) {
  const struct {
    const char* given;
    const char* bytes;
  } cases[] = {{"0", "0"},
               {"1.5", "1572864"},
               {".5", "524288"},
               {"+2", "2097152"},
               {"1e-3", "1048"},
               {"-1", "-1048576"},
               {"-0", "0"},
               {"0x10", "16777216"},
               {"1e-400", "0"},
               {"8796093022207.99", "9223372036854765568"},
               {"-8796093022207", "-9223372036853727232"},
               {"abc", "abc"},
               {" 1", " 1"},
               {"1 ", "1 "},
               {"1,5", "1,5"},
               {"1MB", "1MB"},
               {"", ""}};
  for (const auto& [given, bytes] : cases) {
    EXPECT_EQ(MailCriteria::criteriaArgv({{"minSize", given}})[5], bytes) << given;
    EXPECT_EQ(MailCriteria::criteriaArgv({{"maxSize", given}})[6], bytes) << given;
  }
  for (const std::string given : {"inf", "-INF", "Infinity", "nan", "NaN", "nan(1)", "1e400", "8796093022208", "-9e12"})
    for (const char* id : {"mail.search", "mail.archive"})
      EXPECT_EQ(call(id, {{"account", "w"}, {"maxSize", given}}),
                "maxSize must be a number of megabytes whose bytes fit in 64 bits - got \"" + given + "\"");
}

TEST_F(MailToolsTest, nameAnArgumentThatIsTooLong) {
  const std::string longest(Process::longestArgument, 'x');
  EXPECT_EQ(call("mail.draft", {{"to", "t"}, {"subject", "s"}, {"body", longest}}), "[t][s][" + longest + "][][]");
  EXPECT_EQ(call("mail.draft", {{"to", "t"}, {"subject", longest + "y"}}),
            "subject is 131072 bytes long, and at most 131071 fit");
  EXPECT_THAT(call("mail.send", {{"to", "t"}, {"subject", "s"}, {"body", longest + "y"}}),
              AllOf(HasSubstr("body is 131072 bytes long"), HasSubstr("attachments")));
  for (const char* id : {"mail.search", "mail.delete", "mail.move", "mail.archive"})
    EXPECT_THAT(call(id, {{"account", "w"}, {"mailbox", "i"}, {"dest", "d"}, {"from", longest + "y"}}),
                HasSubstr("from is 131072"));
}

TEST_F(MailToolsTest, notifyNobodyButTheOwner) {
  const auto missingOwner = "missing required argument: notify email (set it in Settings → Notifications)";
  EXPECT_EQ(call("mail.notify", "subject=s;body= "), missingOwner);
  put("../home/config.json", R"({"notifyEmail": " \n"})");
  EXPECT_EQ(call("mail.notify", ""), missingOwner);
  put("../home/config.json", R"({"notifyEmail": " me@own.example\n"})");
  EXPECT_EQ(call("mail.notify", "body= \n\t"),
            "body is empty - refusing to send a blank notification (use body-file= for large content)");
  EXPECT_EQ(call("mail.notify", "body=b"), "missing required argument: subject");
  EXPECT_EQ(call("mail.notify", "subject=s;body= b\n;to=someone@else.example;from=x;attachments=/a,/b"),
            "[s][me@own.example][ b\n][me@own.example][/a\n/b]");
}

TEST_F(MailToolsTest, tellWhatAnActionWouldTouch) {
  const auto preview = [](const std::string& id, const std::string& args) {
    return Tools::find(id)->preview(arguments(args)).value_or("(none)");
  };
  answerWith("shift; [ \"$1|$2|$3\" = 'w||f' ] && echo '3|2048'");
  EXPECT_EQ(preview("mail.delete", "account=w;from=f"), "3 message(s), 2.0 MB");
  EXPECT_EQ(preview("mail.move", "account=w;from=f;dest=Old"), "3 message(s), 2.0 MB → Old");
  EXPECT_EQ(preview("mail.move", "account=w;from=f"), "3 message(s), 2.0 MB → ?");
  EXPECT_EQ(preview("mail.flag", "account=w;from=f"), "3 message(s), 2.0 MB → flag");
  EXPECT_EQ(preview("mail.flag", "account=w;from=f;flag=FALSE;color=Red"), "3 message(s), 2.0 MB → unflag red");
  EXPECT_EQ(preview("mail.flag", "account=w;from=f;color=pink"), "3 message(s), 2.0 MB → flag");
  EXPECT_EQ(preview("mail.junk", "account=w;from=f"), "3 message(s), 2.0 MB → junk");
  EXPECT_EQ(preview("mail.junk", "account=w;from=f;junk=false"), "3 message(s), 2.0 MB → not junk");
  EXPECT_EQ(preview("mail.delete", "account=w;from=f;mailbox=m"), "(none)");
  answerWith("[ \"$3\" = INBOX ] && echo '12|1536'");
  EXPECT_EQ(preview("mail.archive", "account=w;from=f"), "12 message(s), 1.5 MB → Archive");
  for (const char* odd : {"oops", "3", "3|x", "1|2|3", "|", "3|2048.5"})
    EXPECT_EQ(MailCriteria::formatImpact(odd, ""), std::nullopt) << odd;
  EXPECT_EQ(MailCriteria::formatImpact("||0|51|", ""), "0 message(s), 0.0 MB");
}

TEST_F(MailToolsTest, readMessageIdsALine) {
  answerWith("shift; printf ' a@x \\r\\n\\n%s@%s\\n' \"$1\" \"${12}\"");
  const auto found = MailCriteria::mailMatchingMessageIDs("w", "INBOX", {{"status", "read"}});
  EXPECT_TRUE(found.ok);
  EXPECT_THAT(found.ids, ElementsAre("a@x", "w@read"));
  answerWith("echo 'x: execution error: no (-1)' >&2; echo a@x; exit 1");
  const auto failed = MailCriteria::mailMatchingMessageIDs("w", "INBOX", {});
  EXPECT_FALSE(failed.ok);
  EXPECT_TRUE(failed.ids.empty());
  EXPECT_EQ(failed.error, "execution error: no (-1)");
}

}  // namespace
