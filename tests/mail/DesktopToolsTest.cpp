// Guards the tools for notes, contacts, Finder and quitting as an agent meets them: arguments go in, the
// script runs in the real osascript on a desktop of its own, and the very text comes out that is promised.
#include "Platform/Desktop.h"
#include "Platform/linux/stores/RunningApplications.h"
#include "tests/desktop/Desk.h"
#include "tests/support/ToolCall.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

class DesktopToolsTest : public Desk {
 protected:
  void putNote(const std::string& folder, const std::string& title, const std::string& body = "") const {
    put("notes/Mine/" + folder + "/" + title + ".html", "<div>" + title + "</div><div>" + body + "</div>");
  }
};

TEST_F(DesktopToolsTest, refuseMissingAndBadArgumentsBeforeAnythingRuns) {
  const std::string missing = "missing required argument: ";
  EXPECT_EQ(callTool("note.read", {{"name", ""}}), missing + "name");
  EXPECT_EQ(callTool("note.add", {{"body", "x"}}), missing + "title");
  EXPECT_EQ(callTool("note.open"), missing + "name");
  EXPECT_EQ(callTool("note.update"), missing + "append or body");
  EXPECT_EQ(callTool("note.update", {{"body", "x"}}), missing + "name");
  EXPECT_EQ(callTool("note.delete"), missing + "name");
  EXPECT_EQ(callTool("contact.find", {{"limit", "3"}}), missing + "query or email");
  EXPECT_EQ(callTool("contact.add", {{"email", "x"}}), missing + "first, last, or name");
  EXPECT_EQ(callTool("finder.reveal"), missing + "path");
  EXPECT_EQ(callTool("app.quit"), missing + "name");
  EXPECT_EQ(callTool("app.quit", {{"name", "Safari"}}),
            "app.quit name must be one of: Mail, Contacts, Calendar, Notes, Messages, Reminders - got \"Safari\"");
}

TEST_F(DesktopToolsTest, carryANoteFromItsMakingToItsEnd) {
  giveScreen();
  Desktop::initialize(/*sample=*/false);
  EXPECT_EQ(callTool("note.list"), "Notes (0)");
  EXPECT_EQ(callTool("note.add", {{"title", "Trip"}, {"body", "one\ntwo"}}), "OK note: Trip");
  const std::string file = "notes/On My Computer/Notes/Trip.html";
  EXPECT_THAT(get(file), HasSubstr("\n<div><b>Trip</b></div><div>one<br>two</div>"));
  EXPECT_EQ(callTool("note.read", {{"name", "TRI"}}), "Trip\n----\nTrip\none\ntwo");
  EXPECT_EQ(callTool("note.update", {{"name", "trip"}, {"append", "three\nfour"}}), "OK updated: Trip");
  EXPECT_THAT(get(file), HasSubstr("<div>one<br>two</div><div>three<br>four</div>"));
  EXPECT_EQ(callTool("note.update", {{"name", "trip"}, {"append", "after"}, {"body", "new\nbody"}}),
            "OK updated: Trip");
  EXPECT_THAT(get(file), testing::EndsWith("\n<div><b>Trip</b></div><div>new<br>body</div><div>after</div>"));
  EXPECT_EQ(callTool("note.open", {{"name", "trip"}}), "OK opened: Trip");
  EXPECT_EQ(shownFile(), (root / file).string() + "\n");
  EXPECT_EQ(callTool("note.list"), "Notes (1)");
  EXPECT_EQ(callTool("note.delete", {{"name", "trip"}}), "OK deleted 1 note(s)");
  EXPECT_EQ(callTool("note.delete", {{"name", "trip"}}), "OK deleted 0 note(s)");
  EXPECT_EQ(callTool("note.read", {{"name", "trip"}}), "(no matching note)");
  EXPECT_EQ(callTool("note.open", {{"name", "trip"}}), "(no matching note)");
  EXPECT_EQ(callTool("note.update", {{"name", "trip"}, {"body", "x"}}), "(no matching note)");
  EXPECT_EQ(callTool("note.list"), "Notes (0)\nRecently Deleted (1)");
  EXPECT_EQ(callTool("note.add", {{"title", "Empty"}}), "OK note: Empty");
  EXPECT_THAT(get("notes/On My Computer/Notes/Empty.html"), testing::EndsWith("<div><b>Empty</b></div><div></div>"));
}

TEST_F(DesktopToolsTest, leaveSeveralMatchesAlone) {
  putNote("Home", "Garden plan");
  putNote("Work", "garden tools");
  const auto before = get("notes/Mine/Home/Garden plan.html");
  const std::string refusal = "(ambiguous: 2 notes match; make name= more specific)";
  EXPECT_EQ(callTool("note.read", {{"name", "GARDEN"}}), refusal);
  EXPECT_EQ(callTool("note.update", {{"name", "GARDEN"}, {"body", "x"}}), refusal);
  EXPECT_EQ(get("notes/Mine/Home/Garden plan.html"), before);
}

TEST_F(DesktopToolsTest, passOverTheTrashInEveryLanguageAndCase) {
  putNote("Home", "Plan");
  for (const char* trash :
       {"Recently Deleted", "supprimées RÉCEMMENT", "Suppressions récentes", "Eliminadas recientemente",
        "ZULETZT GELÖSCHT", "Eliminati di recente", "Eliminate di recente", "Onlangs verwijderd",
        "Recentemente eliminadas", "Apagados recentemente"})
    putNote(trash, "Plan");
  EXPECT_THAT(callTool("note.find"), MatchesRegex("Home \\|\\| Plan \\|\\| [^\n]+"));
  EXPECT_THAT(callTool("note.read", {{"name", "plan"}}), StartsWith("Plan\n----\n"));
  EXPECT_EQ(callTool("note.delete", {{"name", "plan"}}), "OK deleted 1 note(s)");
  putNote("Recently Deleted Things", "Plan");
  EXPECT_THAT(callTool("note.read", {{"name", "plan"}}), StartsWith("Plan\n----\n"));
}

TEST_F(DesktopToolsTest, findNotesByNameBodyAndLimit) {
  const auto count = [&](const Arguments& args) {
    const auto output = callTool("note.find", args);
    return output.empty() ? 0 : std::count(output.begin(), output.end(), '\n') + 1;
  };
  for (int i = 10; i < 45; ++i) putNote("Home", "Note " + std::to_string(i), i % 2 ? "Odd one" : "even");
  EXPECT_EQ(count({}), 30);
  EXPECT_EQ(count({{"limit", "abc"}}), 30);
  EXPECT_EQ(count({{"limit", "0"}}), 35);
  EXPECT_EQ(count({{"limit", "-1"}}), 35);
  EXPECT_EQ(count({{"limit", "2"}}), 2);
  EXPECT_EQ(count({{"name", "NOTE 1"}}), 10);
  EXPECT_EQ(count({{"name", "note 1"}, {"body", "oDD ONE"}}), 5);
  EXPECT_EQ(count({{"body", "no such"}}), 0);
}

TEST_F(DesktopToolsTest, previewWhatADeletionWouldTouch) {
  const auto preview = [](const std::string& args) { return previewOf("note.delete", args); };
  for (int i = 1; i <= 5; ++i) putNote("Home", "Note " + std::to_string(i));
  EXPECT_EQ(preview("name=note"), "5 note(s): Note 1, Note 2, Note 3, Note 4, Note 5");
  for (int i = 6; i <= 7; ++i) putNote("Work", "Note " + std::to_string(i));
  EXPECT_EQ(preview("name=note"), "7 note(s): Note 1, Note 2, Note 3, Note 4, Note 5...");
  EXPECT_EQ(preview("name=none"), "0 note(s)");
  EXPECT_EQ(preview(""), "(none)");
  put("../broken/osascript", "#!/bin/sh\nexit 1\n");
  Files::setMode(directory / "broken/osascript", 0700);
  ::setenv("TAVRO_PLATFORM_BIN", (directory / "broken").c_str(), 1);
  EXPECT_EQ(preview("name=note"), "(none)");
  ::unsetenv("TAVRO_PLATFORM_BIN");
}

TEST_F(DesktopToolsTest, passEveryTextUnchanged) {
  const std::string odd = "\"quoted\" \\back\\ 'single' $(x) ` 😀 é \t end";
  EXPECT_EQ(callTool("note.add", {{"title", odd}, {"body", "-- & | " + odd}}).substr(0, 20),
            ("OK note: " + odd).substr(0, 20));
  EXPECT_THAT(callTool("note.find", {{"name", "\\back\\ 'single' $(x) ` 😀"}}), HasSubstr("\"quoted\""));
  EXPECT_EQ(callTool("contact.add", {{"first", odd}, {"org", "a,b;c\nd"}, {"email", "-e"}}),
            "OK contact created: " + odd);
  EXPECT_EQ(callTool("contact.find", {{"query", "$(X) ` 😀"}}), odd + " || a,b;c\nd || -e ||");
}

TEST_F(DesktopToolsTest, makeAndFindPeople) {
  EXPECT_EQ(callTool("contact.add", {{"name", "Ann Lee"}}), "OK contact created: Ann Lee");
  EXPECT_EQ(callTool("contact.add", {{"first", "Bo"},
                                     {"last", "Lee"},
                                     {"name", "ignored"},
                                     {"email", "bo@lee.example"},
                                     {"phone", "+1 201"},
                                     {"org", "Lee & Co"}}),
            "OK contact created: Bo Lee");
  EXPECT_EQ(callTool("contact.find", {{"query", "ann"}}), "Ann Lee ||  || ||");
  EXPECT_EQ(callTool("contact.find", {{"email", "LEE.EX"}}), "Bo Lee || Lee & Co || bo@lee.example || +1 201");
  EXPECT_EQ(callTool("contact.find", {{"query", "ann"}, {"email", "lee.ex"}}), "");
  const auto cards = Files::list(root / "contacts");
  ASSERT_EQ(cards.size(), 2u);
  const auto both = get("contacts/" + cards[0]) + get("contacts/" + cards[1]);
  EXPECT_THAT(both, HasSubstr("N:;Ann Lee;;;\r\nFN:Ann Lee\r\n"));
  EXPECT_THAT(both, HasSubstr("EMAIL;TYPE=WORK:bo@lee.example\r\nTEL;TYPE=CELL:+1 201\r\n"));
  for (int i = 0; i < 22; ++i) put("contacts/x" + std::to_string(i) + ".vcf", "BEGIN:VCARD\nFN:Lee\nEND:VCARD\n");
  const auto lines = [&](const Arguments& args) {
    const auto output = callTool("contact.find", args);
    return std::count(output.begin(), output.end(), '\n') + 1;
  };
  EXPECT_EQ(lines({{"query", "lee"}}), 20);
  EXPECT_EQ(lines({{"query", "lee"}, {"limit", "1"}}), 1);
  EXPECT_EQ(lines({{"query", "lee"}, {"limit", "0"}}), 24);
}

TEST_F(DesktopToolsTest, quitWhatRunsAndNothingElse) {
  EXPECT_EQ(callTool("app.quit", {{"name", "MAIL"}}), "(not running: Mail)");
  EXPECT_EQ(callTool("app.quit", {{"name", "notes"}}), "(not running: Notes)");
  EXPECT_EQ(callTool("note.list"), "");
  EXPECT_EQ(RunningApplications::names(), std::vector<std::string>{"Notes"});
  EXPECT_EQ(callTool("app.quit", {{"name", "nOTES"}}), "OK quit: Notes");
  EXPECT_EQ(callTool("app.quit", {{"name", "Notes"}}), "(not running: Notes)");
}

TEST_F(DesktopToolsTest, revealAFileOrSayWhyNot) {
  const auto file = root / "a b\"c.txt";
  EXPECT_THAT(callTool("finder.reveal", {{"path", file}}), MatchesRegex("execution error: .*\\((-43|-1700)\\)"));
  put("a b\"c.txt", "");
  EXPECT_THAT(callTool("finder.reveal", {{"path", file}}),
              MatchesRegex("execution error: Finder got an error: .*\\(-10000\\)"));
  giveScreen();
  EXPECT_EQ(callTool("finder.reveal", {{"path", file}}), "OK revealed " + file.string());
  EXPECT_EQ(shownFile(), root.string() + "\n");
}

}  // namespace
