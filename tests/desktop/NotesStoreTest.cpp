// Guards the owner's notes: nothing that stands in a file is lost by an edit, a move or a deletion, and
// files that other programs write, cut off or take away are borne.
#include <sys/stat.h>

#include "Platform/linux/stores/NotesStore.h"
#include "tests/desktop/Desk.h"

namespace {

using testing::ElementsAre;

class NotesStoreTest : public Desk {
 protected:
  NotesStore store{root / "notes"};
};

TEST_F(NotesStoreTest, listsWhatIsANoteAndPassesOverTheRest) {
  put("notes/Home/Garden/b.html", "b");
  put("notes/Home/Garden/a.htm", "a");
  put("notes/Home/Garden/.hidden.html", "no");
  put("notes/Home/Garden/picture.png", "no");
  put("notes/Home/Garden/pages.html/inner.txt", "no");
  put("notes/.stversions/Garden/old.html", "no");
  put("notes/loose.html", "no");
  ::mkfifo((root / "notes/Home/Garden/pipe.html").c_str(), 0600);
  EXPECT_THAT(store.accounts(), ElementsAre("Home"));
  EXPECT_THAT(store.folders("Home"), ElementsAre("Home/Garden"));
  EXPECT_THAT(store.notes("Home/Garden"), ElementsAre("Home/Garden/a.htm", "Home/Garden/b.html"));
  EXPECT_TRUE(store.notes("Home/Vanished").empty());
  EXPECT_TRUE(store.folders("Vanished").empty());
}

TEST_F(NotesStoreTest, namesANoteByItsFirstLine) {
  const std::string longLine(10'000, 'x');
  const std::vector<std::pair<std::string, std::string>> files = {
      {"<div><b>Groceries</b></div><div>Bread</div>", "Groceries"},
      {"\n\n  Plain text\nof another program", "Plain text of another program"},
      {"<p> </p><p>&nbsp;</p><p>Third</p>", "Third"},
      {longLine + "<br>rest", longLine},
      {"<!doctype html><html><head><title>no</title></head><body>Page</body></html>", "Page"},
      {"<img src=x>", "file"},
      {"", "file"},
      {"\xFF\xFE", "\uFFFD\uFFFD"},
  };
  for (const auto& [bytes, name] : files) {
    put("notes/A/B/file.html", bytes);
    EXPECT_EQ(store.name("A/B/file.html"), name) << bytes;
  }
  EXPECT_EQ(store.name("A/B/gone.html"), "gone");
}

TEST_F(NotesStoreTest, keepsWhatStandsAroundTheBody) {
  const std::string head = "<!DOCTYPE html>\n<html lang=de><head><meta name=x></head>\n<BODY class=\"a\">";
  put("notes/A/B/page.html", head + "old" + "</body>\n<!-- tail --></html>\n");
  EXPECT_EQ(store.body("A/B/page.html"), "old");
  store.setBody("A/B/page.html", "new \xFF \"bytes\"");
  const auto bytes = get("notes/A/B/page.html");
  EXPECT_THAT(bytes, testing::EndsWith("-->\n" + head + "new \xFF \"bytes\"</body>\n<!-- tail --></html>\n"));
  EXPECT_EQ(store.body("A/B/page.html"), "new \xFF \"bytes\"");
}

TEST_F(NotesStoreTest, keepsTheDayOfCreationThroughEdits) {
  const auto created = *Dates::parseISO8601("2019-05-04T10:20:30Z");
  std::string note;
  {
    const Dates::FixedClock clock(created);
    note = store.createNote("A/B", "<div>T</div>");
  }
  EXPECT_THAT(get("notes/" + note), testing::StartsWith("<!-- created 2019-05-04T10:20:30Z -->"));
  store.setBody(note, "<div>U</div>");
  EXPECT_EQ(store.created(note), created);
  EXPECT_GT(store.modified(note), created);
  EXPECT_EQ(store.body(note), "<div>U</div>");
  EXPECT_EQ(note, "A/B/T.html");
}

TEST_F(NotesStoreTest, bearsAFileCutAtEveryByte) {
  const std::string whole =
      "<!-- created 2019-05-04T10:20:30Z --><meta charset=\"utf-8\">\n<!doctype html><html><body x><div>T\xC3\xA4</div>&auml;"
      "</body></html>";
  for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
    put("notes/A/B/cut.html", whole.substr(0, cut));
    store.plaintext("A/B/cut.html");
    store.name("A/B/cut.html");
    store.created("A/B/cut.html");
    store.setBody("A/B/cut.html", store.body("A/B/cut.html"));
    EXPECT_THAT(get("notes/A/B/cut.html"), testing::EndsWith(whole.substr(0, cut))) << cut;
  }
}

TEST_F(NotesStoreTest, makesFileNamesThatAreSafeAndNeverTaken) {
  const std::vector<std::pair<std::string, std::string>> titles = {
      {"a/b\\c:d", "a-b\\c:d.html"},   {"../../etc/passwd", "-..-etc-passwd.html"},
      {"...", "Untitled.html"},        {"tab\tand\x01", "tab and.html"},
      {"", "New Note.html"},           {"\xF0\x9F\x98\x80 \xC3", "😀 \uFFFD.html"},
      {"a/b\\c:d", "a-b\\c:d 2.html"},
  };
  for (const auto& [title, file] : titles) EXPECT_EQ(store.createNote("A/B", title), "A/B/" + file) << title;
  std::string emoji;
  for (int i = 0; i < 300; ++i) emoji += "👩‍👩‍👧‍👧";
  for (int i = 0; i < 12; ++i) EXPECT_LT(store.createNote("A/B", emoji).size(), 255u);
  EXPECT_EQ(store.notes("A/B").size(), titles.size() + 12);
}

TEST_F(NotesStoreTest, deletesIntoTheTrashAndOverwritesNothingThere) {
  put("notes/A/Recently Deleted/note.html", "older");
  put("notes/A/B/note.html", "newer");
  put("notes/A/B/C/note.html", "newest");
  EXPECT_EQ(store.removeNote("A/B/note.html"), "A/Recently Deleted/note 2.html");
  EXPECT_EQ(store.removeNote("A/B/C/note.html"), "A/Recently Deleted/note 3.html");
  EXPECT_THROW(store.removeNote("A/B/note.html"), FileFailure);
  EXPECT_EQ(get("notes/A/Recently Deleted/note.html"), "older");
  EXPECT_EQ(get("notes/A/Recently Deleted/note 2.html"), "newer");
  EXPECT_EQ(get("notes/A/Recently Deleted/note 3.html"), "newest");
  EXPECT_EQ(store.removeNote("A/Recently Deleted/note.html"), std::nullopt);
  EXPECT_EQ(store.notes("A/Recently Deleted").size(), 2u);
  EXPECT_THROW(store.setBody("A/B/note.html", "x"), FileFailure);
}

TEST_F(NotesStoreTest, refusesToWriteOverWhatAnotherProgramWroteSinceTheBodyWasRead) {
  put("notes/A/B/a.html", "mine");
  store.setBody("A/B/a.html", store.body("A/B/a.html") + " and more");
  store.setBody("A/B/a.html", store.body("A/B/a.html") + "!");
  put("notes/A/B/a.html", "theirs");
  EXPECT_THROW(store.setBody("A/B/a.html", "mine"), Error);
  EXPECT_EQ(store.body("A/B/a.html"), "theirs");
  store.removeNote("A/B/a.html");
  put("notes/A/B/a.html", "another");
  store.setBody("A/B/a.html", "new");
  EXPECT_EQ(store.body("A/B/a.html"), "new");
}

TEST_F(NotesStoreTest, leavesWhatALinkedFolderLeadsToWhenTheLinkGoes) {
  put("../outside/note.html", "note");
  put("../outside/inner/note.html", "inner");
  put("notes/A/B/note.html", "note");
  std::filesystem::create_directory_symlink(directory / "outside", root / "notes/A/Link");
  store.removeFolder("A/Link");
  EXPECT_FALSE(store.isFolder("A/Link"));
  EXPECT_EQ(get("../outside/note.html") + get("../outside/inner/note.html"), "noteinner");
}

TEST_F(NotesStoreTest, leavesOtherProgramsFilesWhenAFolderGoes) {
  put("notes/A/B/note.html", "note");
  put("notes/A/B/C/inner.html", "inner");
  put("notes/A/B/sketch.svg", "svg");
  store.removeFolder("A/B");
  EXPECT_EQ(get("notes/A/B/sketch.svg"), "svg");
  EXPECT_FALSE(store.isFolder("A/B/C"));
  EXPECT_THAT(store.notes("A/Recently Deleted"),
              ElementsAre("A/Recently Deleted/inner.html", "A/Recently Deleted/note.html"));
}

}  // namespace
