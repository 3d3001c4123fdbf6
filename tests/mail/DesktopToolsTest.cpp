// Guards the tools for notes, contacts, Finder and quitting as an agent meets them: arguments go in, the
// script runs in the real osascript on a desktop of its own, and the very text comes out that is promised.
#include "Platform/Desktop.h"
#include "Platform/linux/stores/RunningApplications.h"
#include "TavroCore/mail/ContactTools.h"
#include "TavroCore/mail/DesktopTools.h"
#include "TavroCore/mail/NoteTools.h"
#include "TavroCore/scripting/OSAScript.h"
#include "tests/desktop/Desk.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

class DesktopToolsTest : public Desk {
 protected:
  DesktopToolsTest() {
    for (const auto& some : {NoteTools::all(), ContactTools::all(), DesktopTools::all()})
      tools.insert(tools.end(), some.begin(), some.end());
  }

  const Tool& tool(const std::string& id) const {
    return *std::find_if(tools.begin(), tools.end(), [&](const auto& one) { return one.id == id; });
  }

  std::string call(const std::string& id, const Arguments& args = {}) const {
    try {
      const auto script = tool(id).build(args);
      const auto result = OSAScript::run(script.text, script.argv);
      return result.ok ? result.output : "error: " + result.error;
    } catch (const ToolError& error) {
      return "refused: " + error.description();
    }
  }

  void putNote(const std::string& folder, const std::string& title, const std::string& body = "") const {
    put("notes/Mine/" + folder + "/" + title + ".html", "<div>" + title + "</div><div>" + body + "</div>");
  }

  std::vector<Tool> tools;
};

TEST_F(DesktopToolsTest, standInTheCataloguesOrder) {
  std::string ids;
  for (const auto& one : tools) ids += one.id + ":" + std::string(rawValue(one.effect)) + " ";
  EXPECT_EQ(ids,
            "note.list:read note.find:read note.read:read note.add:create note.open:read note.update:create "
            "note.delete:destructive contact.find:read contact.add:create finder.reveal:read app.quit:create ");
}

TEST_F(DesktopToolsTest, refuseMissingAndBadArgumentsBeforeAnythingRuns) {
  const std::string missing = "refused: missing required argument: ";
  EXPECT_EQ(call("note.read", {{"name", ""}}), missing + "name");
  EXPECT_EQ(call("note.add", {{"body", "x"}}), missing + "title");
  EXPECT_EQ(call("note.open"), missing + "name");
  EXPECT_EQ(call("note.update"), missing + "append or body");
  EXPECT_EQ(call("note.update", {{"body", "x"}}), missing + "name");
  EXPECT_EQ(call("note.delete"), missing + "name");
  EXPECT_EQ(call("contact.find", {{"limit", "3"}}), missing + "query or email");
  EXPECT_EQ(call("contact.add", {{"email", "x"}}), missing + "first, last, or name");
  EXPECT_EQ(call("finder.reveal"), missing + "path");
  EXPECT_EQ(call("app.quit"), missing + "name");
  EXPECT_EQ(
      call("app.quit", {{"name", "Safari"}}),
      "refused: app.quit name must be one of: Mail, Contacts, Calendar, Notes, Messages, Reminders - got \"Safari\"");
}

TEST_F(DesktopToolsTest, carryANoteFromItsMakingToItsEnd) {
  giveScreen();
  Desktop::initialize(/*sample=*/false);
  EXPECT_EQ(call("note.list"), "Notes (0)");
  EXPECT_EQ(call("note.add", {{"title", "Trip"}, {"body", "one\ntwo"}}), "OK note: Trip");
  const std::string file = "notes/On My Computer/Notes/Trip.html";
  EXPECT_THAT(get(file), HasSubstr("\n<div><b>Trip</b></div><div>one<br>two</div>"));
  EXPECT_EQ(call("note.read", {{"name", "TRI"}}), "Trip\n----\nTrip\none\ntwo");
  EXPECT_EQ(call("note.update", {{"name", "trip"}, {"append", "three\nfour"}}), "OK updated: Trip");
  EXPECT_THAT(get(file), HasSubstr("<div>one<br>two</div><div>three<br>four</div>"));
  EXPECT_EQ(call("note.update", {{"name", "trip"}, {"append", "after"}, {"body", "new\nbody"}}), "OK updated: Trip");
  EXPECT_THAT(get(file), testing::EndsWith("\n<div><b>Trip</b></div><div>new<br>body</div><div>after</div>"));
  EXPECT_EQ(call("note.open", {{"name", "trip"}}), "OK opened: Trip");
  EXPECT_EQ(shownFile(), (root / file).string() + "\n");
  EXPECT_EQ(call("note.list"), "Notes (1)");
  EXPECT_EQ(call("note.delete", {{"name", "trip"}}), "OK deleted 1 note(s)");
  EXPECT_EQ(call("note.delete", {{"name", "trip"}}), "OK deleted 0 note(s)");
  EXPECT_EQ(call("note.read", {{"name", "trip"}}), "(no matching note)");
  EXPECT_EQ(call("note.open", {{"name", "trip"}}), "(no matching note)");
  EXPECT_EQ(call("note.update", {{"name", "trip"}, {"body", "x"}}), "(no matching note)");
  EXPECT_EQ(call("note.list"), "Notes (0)\nRecently Deleted (1)");
  EXPECT_EQ(call("note.add", {{"title", "Empty"}}), "OK note: Empty");
  EXPECT_THAT(get("notes/On My Computer/Notes/Empty.html"), testing::EndsWith("<div><b>Empty</b></div><div></div>"));
}

TEST_F(DesktopToolsTest, leaveSeveralMatchesAlone) {
  putNote("Home", "Garden plan");
  putNote("Work", "garden tools");
  const auto before = get("notes/Mine/Home/Garden plan.html");
  const std::string refusal = "(ambiguous: 2 notes match; make name= more specific)";
  EXPECT_EQ(call("note.read", {{"name", "GARDEN"}}), refusal);
  EXPECT_EQ(call("note.update", {{"name", "GARDEN"}, {"body", "x"}}), refusal);
  EXPECT_EQ(get("notes/Mine/Home/Garden plan.html"), before);
}

TEST_F(DesktopToolsTest, passOverTheTrashInEveryLanguageAndCase) {
  putNote("Home", "Plan");
  for (const char* trash :
       {"Recently Deleted", "supprimées RÉCEMMENT", "Suppressions récentes", "Eliminadas recientemente",
        "ZULETZT GELÖSCHT", "Eliminati di recente", "Eliminate di recente", "Onlangs verwijderd",
        "Recentemente eliminadas", "Apagados recentemente"})
    putNote(trash, "Plan");
  EXPECT_THAT(call("note.find"), MatchesRegex("Home \\|\\| Plan \\|\\| [^\n]+"));
  EXPECT_THAT(call("note.read", {{"name", "plan"}}), StartsWith("Plan\n----\n"));
  EXPECT_EQ(call("note.delete", {{"name", "plan"}}), "OK deleted 1 note(s)");
  putNote("Recently Deleted Things", "Plan");
  EXPECT_THAT(call("note.read", {{"name", "plan"}}), StartsWith("Plan\n----\n"));
}

TEST_F(DesktopToolsTest, findNotesByNameBodyAndLimit) {
  const auto count = [&](const Arguments& args) {
    const auto output = call("note.find", args);
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
  const auto preview = [&](const Arguments& args) { return tool("note.delete").preview(args); };
  for (int i = 1; i <= 5; ++i) putNote("Home", "Note " + std::to_string(i));
  EXPECT_EQ(preview({{"name", "note"}}), "5 note(s): Note 1, Note 2, Note 3, Note 4, Note 5");
  for (int i = 6; i <= 7; ++i) putNote("Work", "Note " + std::to_string(i));
  EXPECT_EQ(preview({{"name", "note"}}), "7 note(s): Note 1, Note 2, Note 3, Note 4, Note 5...");
  EXPECT_EQ(preview({{"name", "none"}}), "0 note(s)");
  EXPECT_EQ(preview({}), std::nullopt);
  put("../broken/osascript", "#!/bin/sh\nexit 1\n");
  Files::setMode(directory / "broken/osascript", 0700);
  ::setenv("TAVRO_PLATFORM_BIN", (directory / "broken").c_str(), 1);
  EXPECT_EQ(preview({{"name", "note"}}), std::nullopt);
  ::unsetenv("TAVRO_PLATFORM_BIN");
}

TEST_F(DesktopToolsTest, passEveryTextUnchanged) {
  const std::string odd = "\"quoted\" \\back\\ 'single' $(x) ` 😀 é \t end";
  EXPECT_EQ(call("note.add", {{"title", odd}, {"body", "-- & | " + odd}}).substr(0, 20),
            ("OK note: " + odd).substr(0, 20));
  EXPECT_THAT(call("note.find", {{"name", "\\back\\ 'single' $(x) ` 😀"}}), HasSubstr("\"quoted\""));
  EXPECT_EQ(call("contact.add", {{"first", odd}, {"org", "a,b;c\nd"}, {"email", "-e"}}), "OK contact created: " + odd);
  EXPECT_EQ(call("contact.find", {{"query", "$(X) ` 😀"}}), odd + " || a,b;c\nd || -e ||");
}

TEST_F(DesktopToolsTest, makeAndFindPeople) {
  EXPECT_EQ(call("contact.add", {{"name", "Ann Lee"}}), "OK contact created: Ann Lee");
  EXPECT_EQ(call("contact.add", {{"first", "Bo"},
                                 {"last", "Lee"},
                                 {"name", "ignored"},
                                 {"email", "bo@lee.example"},
                                 {"phone", "+1 201"},
                                 {"org", "Lee & Co"}}),
            "OK contact created: Bo Lee");
  EXPECT_EQ(call("contact.find", {{"query", "ann"}}), "Ann Lee ||  || ||");
  EXPECT_EQ(call("contact.find", {{"email", "LEE.EX"}}), "Bo Lee || Lee & Co || bo@lee.example || +1 201");
  EXPECT_EQ(call("contact.find", {{"query", "ann"}, {"email", "lee.ex"}}), "");
  const auto cards = Files::list(root / "contacts");
  ASSERT_EQ(cards.size(), 2u);
  const auto both = get("contacts/" + cards[0]) + get("contacts/" + cards[1]);
  EXPECT_THAT(both, HasSubstr("N:;Ann Lee;;;\r\nFN:Ann Lee\r\n"));
  EXPECT_THAT(both, HasSubstr("EMAIL;TYPE=WORK:bo@lee.example\r\nTEL;TYPE=CELL:+1 201\r\n"));
  for (int i = 0; i < 22; ++i) put("contacts/x" + std::to_string(i) + ".vcf", "BEGIN:VCARD\nFN:Lee\nEND:VCARD\n");
  const auto lines = [&](const Arguments& args) {
    const auto output = call("contact.find", args);
    return std::count(output.begin(), output.end(), '\n') + 1;
  };
  EXPECT_EQ(lines({{"query", "lee"}}), 20);
  EXPECT_EQ(lines({{"query", "lee"}, {"limit", "1"}}), 1);
  EXPECT_EQ(lines({{"query", "lee"}, {"limit", "0"}}), 24);
}

TEST_F(DesktopToolsTest, quitWhatRunsAndNothingElse) {
  EXPECT_EQ(call("app.quit", {{"name", "MAIL"}}), "(not running: Mail)");
  EXPECT_EQ(call("app.quit", {{"name", "notes"}}), "(not running: Notes)");
  EXPECT_EQ(call("note.list"), "");
  EXPECT_EQ(RunningApplications::names(), std::vector<std::string>{"Notes"});
  EXPECT_EQ(call("app.quit", {{"name", "nOTES"}}), "OK quit: Notes");
  EXPECT_EQ(call("app.quit", {{"name", "Notes"}}), "(not running: Notes)");
}

TEST_F(DesktopToolsTest, revealAFileOrSayWhyNot) {
  const auto file = root / "a b\"c.txt";
  EXPECT_THAT(call("finder.reveal", {{"path", file}}), MatchesRegex("error: execution error: .*\\((-43|-1700)\\)"));
  put("a b\"c.txt", "");
  EXPECT_THAT(call("finder.reveal", {{"path", file}}),
              MatchesRegex("error: execution error: Finder got an error: .*\\(-10000\\)"));
  giveScreen();
  EXPECT_EQ(call("finder.reveal", {{"path", file}}), "OK revealed " + file.string());
  EXPECT_EQ(shownFile(), root.string() + "\n");
}

}  // namespace
