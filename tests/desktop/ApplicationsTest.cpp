// Guards the applications as scripts see them, one small script after the other on one desktop.
#include "Platform/linux/stores/RunningApplications.h"
#include "tests/desktop/ScriptedDesk.h"
#include "tests/desktop/SessionBus.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

using ApplicationsTest = ScriptedDesk;

TEST_F(ApplicationsTest, notesHoldAccountsFoldersAndNotes) {
  put("notes/Mine/Home/a.html", "<b>Ant</b><p>black &amp; small</p><img src='pics/ant.png'>");
  put("notes/Mine/Home/Deep/b.html", "Bee");
  put("notes/Yours/Odd \xFF name/c.html", "Cat");
  const std::vector<Step> steps = {
      {"name of accounts", "Mine, Yours"},
      {"name of every folder of account \"mine\"", "Home, Deep"},
      {"name of folders", "Home, Deep, Odd \uFFFD name"},
      {"name of folders of folder \"Home\"", "Deep"},
      {"name of container of folder \"Deep\"", "Home"},
      {"name of container of folder \"Home\"", "Mine"},
      {"count of notes", "3"},
      {"name of notes of account \"Mine\"", "Ant, Bee"},
      {"plaintext of note \"ant\"", "Ant\nblack & small"},
      {"name of attachments of note \"Ant\"", "ant.png"},
      {"name of (first note whose plaintext contains \"SMALL\")", "Ant"},
      {"name of note id \"Mine/Home/Deep/b.html\"", "Bee"},
      {"id of note \"Bee\" of folder \"Deep\"", "Mine/Home/Deep/b.html"},
      {"exists note \"Dog\"", "false"},
      {"(creation date of note \"Ant\") is not greater than (current date)", "true"},
      {"set body of note \"Ant\" to \"<div>Aardvark</div>\"\nname of notes of folder \"Home\"", "Aardvark"},
      {"id of (make new note at folder \"Deep\" with properties {name:\"1 < 2\", body:\"<p>x</p>\"})",
       "Mine/Home/Deep/1 < 2.html"},
      {"plaintext of note \"1 < 2\"", "1 < 2\nx"},
      {"tell account \"Yours\" to id of (make new note with properties {body:\"Dog\"})",
       "Yours/Odd \uFFFD name/Dog.html"},
      {"id of (make new folder at account \"Yours\" with properties {name:\"a/b\"})", "Yours/a-b"},
      {"move note \"Dog\" to folder \"a-b\"\nid of notes of folder \"a-b\"", "Yours/a-b/Dog.html"},
      {"set n to note \"Dog\"\ndelete n\nid of n", "Yours/Recently Deleted/Dog.html"},
      {"delete folder \"Home\"\nid of notes of account \"Mine\"",
       "Mine/Recently Deleted/1 < 2.html, Mine/Recently Deleted/a.html, Mine/Recently Deleted/b.html"},
      {"delete every note of account \"Mine\"\ncount of notes of account \"Mine\"", "0"},
      {"name of default folder of default account", "Notes"},
  };
  for (const auto& [script, result] : steps) EXPECT_EQ(tell("Notes", script), result) << script;
}

TEST_F(ApplicationsTest, notesRefuseWhatCannotBe) {
  put("notes/Mine/Home/a.html", "Ant");
  const std::vector<Step> steps = {
      {"set n to note \"Ant\"\ndelete n\ndelete n\nbody of n", "-1728"},
      {"delete account \"Mine\"", "-10003"},
      {"set name of folder \"Home\" to \"x\"", "-10003"},
      {"make new note with properties {colour:\"red\"}", "-10006"},
      {"make new folder with properties {body:\"x\"}", "-10006"},
      {"show folder \"Home\"", "-10000"},
      {"move folder \"Home\" to folder \"Home\"", "-1708"},
      {"body of note \"Dog\"", "-1728"},
  };
  for (const auto& [script, number] : steps)
    EXPECT_THAT(tell("Notes", script), MatchesRegex("Notes got an error: .* \\(" + number + "\\)")) << script;
}

TEST_F(ApplicationsTest, contactsShowAndChangeACard) {
  put("contacts/ann.vcf",
      "BEGIN:VCARD\nVERSION:3.0\nFN:Ann Lee\nN:Lee;Ann;;;\nX-KEEP: me\nitem1.TEL:1\nitem1.X-ABLabel:_$!<HomeFAX>!$_\n"
      "EMAIL;TYPE=INTERNET,HOME:a@lee.example\nADR;TYPE=work:;;1 Hill;Bath;;BA1;UK\nBDAY:19840517\nEND:VCARD\n");
  const std::vector<Step> steps = {
      {"label of emails of person 1 & value of emails of person 1", "home, a@lee.example"},
      {"label of phones of person \"ann lee\"", "homefax"},
      {"tell address 1 of person 1 to get {street, city, state, zip, country}", "1 Hill, Bath, missing value, BA1, UK"},
      {"tell person 1 to get {organization, note, middle name}", "missing value, missing value, missing value"},
      {"year of (birth date of person 1 as date)", "1984"},
      {"name of people whose value of emails contains \"a@lee.example\"", "Ann Lee"},
      {"set p to person 1\nset last name of p to \"Lee; Moss\"\nset organization of p to \"Moss\"\n{name of p, unsaved}",
       "Ann Lee; Moss, true"},
      {"set p to person 1\nset e to make new email at end of emails of p with properties {label:\"School\", value:\"s@x\"}\n"
       "set label of e to \"Uni\"\nset city of address 1 of p to \"Wells\"\nsave\n{label of e, unsaved}",
       "Uni, false"},
      {"delete email \"a@lee.example\" of person 1", "Contacts got an error"},
      {"delete (first email of person 1 whose value is \"a@lee.example\")\nsave\nvalue of emails of person 1", "s@x"},
      {"set company of person 1 to true\nset birth date of person 1 to missing value\nsave\ncompany of person 1",
       "true"},
  };
  for (const auto& [script, result] : steps)
    EXPECT_THAT(tell("Contacts", script), testing::StartsWith(result)) << script;
  EXPECT_EQ(get("contacts/ann.vcf"),
            "BEGIN:VCARD\nVERSION:3.0\nFN:Ann Lee\\; Moss\nN:Lee\\; Moss;Ann;;;\nX-KEEP: me\nitem1.TEL:1\n"
            "item1.X-ABLabel:_$!<HomeFAX>!$_\nADR;TYPE=work:;;1 Hill;Wells;;BA1;UK\nORG:Moss\nitem2.EMAIL:s@x\n"
            "item2.X-ABLABEL:Uni\nX-ABSHOWAS:COMPANY\nEND:VCARD\n");
  EXPECT_EQ(tell("Contacts", "delete person 1\nsave\ncount of people"), "0");
  EXPECT_FALSE(Files::exists(root / "contacts/ann.vcf"));
}

TEST_F(ApplicationsTest, contactsLoseNothingOfAScriptThatForgetsToSave) {
  EXPECT_EQ(tell("Contacts", "set first name of (make new person) to \"Bo\"\nerror \"stop\""), "stop (-2700)");
  EXPECT_EQ(tell("Contacts", "name of people"), "Bo");
}

TEST_F(ApplicationsTest, runFromTheFirstWordUntilTheyQuit) {
  put("notes/Mine/Home/a.html", "Ant");
  const std::string running = "tell application \"System Events\" to name of every application process";
  EXPECT_EQ(run("running of application \"Notes\""), "false");
  EXPECT_EQ(run(running), "");
  tell("Notes", "count of notes");
  tell("Contacts", "activate");
  EXPECT_EQ(run(running), "Contacts, Notes");
  EXPECT_EQ(run("tell application \"System Events\" to exists process \"notes\""), "true");
  EXPECT_EQ(run("set x to \"Notes\"\ntell application x to quit\nrunning of application x"), "false");
  EXPECT_EQ(run(running), "Contacts");
  // What ran before the computer started again doesn't run now; neither does what can't be read.
  put("running.json", R"({"Contacts": "1999-01-01T00:00:00Z", "Finder": "yesterday"})");
  EXPECT_EQ(run(running), "");
  put("running.json", "{\"Contacts\"");
  EXPECT_EQ(run(running), "");
}

TEST_F(ApplicationsTest, startTogetherWithoutLosingOneAnother) {
  std::vector<pid_t> children;
  for (int number = 0; number < 16; ++number) {
    children.push_back(::fork());
    if (children.back() != 0) continue;
    RunningApplications::add("App " + std::to_string(number));
    RunningApplications::remove("App " + std::to_string(number));
    RunningApplications::add("App " + std::to_string(number));
    ::_exit(0);
  }
  for (const auto child : children) ::waitpid(child, nullptr, 0);
  EXPECT_EQ(RunningApplications::names().size(), children.size());
}

TEST_F(ApplicationsTest, finderKnowsFilesByTheirPath) {
  put("a b.txt", "");
  const auto file = (root / "a b.txt").string();
  EXPECT_EQ(tell("Finder", "URL of item \"" + file + "\""), "file://" + root.string() + "/a%20b.txt");
  EXPECT_EQ(tell("Finder", "exists file \"" + file + "x\""), "false");
  EXPECT_THAT(tell("Finder", "reveal POSIX file \"" + file + "\""),
              MatchesRegex("Finder got an error: Can’t show .* \\(-10000\\)"));
  EXPECT_THAT(tell("Finder", "reveal POSIX file \"" + file + "x\""), MatchesRegex("Finder got an error: .* \\(-43\\)"));
  giveScreen();
  tell("Finder", "open {POSIX file \"" + file + "\"}");
  EXPECT_EQ(shownFile(), file + "\n");
}

TEST_F(ApplicationsTest, finderAsksTheFileManagerAndOpensTheFolderWithoutOne) {
  put("a b.txt", "");
  const auto reveal = "reveal POSIX file \"" + (root / "a b.txt").string() + "\"";
  giveScreen();
  {
    SessionBus bus(directory / "bus", /*hasFileManager=*/true);
    tell("Finder", reveal);
    EXPECT_THAT(bus.call(), AllOf(HasSubstr("org.freedesktop.FileManager1"), HasSubstr("ShowItems"),
                                  HasSubstr("file://" + root.string() + "/a%20b.txt")));
    EXPECT_FALSE(Files::exists(shown()));
  }
  SessionBus bus(directory / "bus2", /*hasFileManager=*/false);
  tell("Finder", reveal);
  EXPECT_EQ(shownFile(), root.string() + "\n");
}

}  // namespace
