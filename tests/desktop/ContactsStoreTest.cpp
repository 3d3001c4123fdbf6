// Guards what reaches the disk: whole files, at `save` only, and never over what another program wrote.
#include <atomic>
#include <thread>

#include "Platform/linux/stores/ContactsStore.h"
#include "tests/desktop/Desk.h"

namespace {

class ContactsStoreTest : public Desk {
 protected:
  ContactsStore store{root / "contacts"};
};

TEST_F(ContactsStoreTest, findsANameWhereverACardHasOne) {
  const std::vector<std::pair<std::string, std::string>> cards = {
      {"FN:Ann Lee\nN:x;y", "Ann Lee"},
      {"FN: \nN:Lee;Ann;B.;Dr.;Jr.", "Dr. Ann B. Lee Jr."},
      {"ORG:Lindgren\\, Ltd;Sales", "Lindgren, Ltd"},
      {"EMAIL:a@b.example", "a@b.example"},
      {"NOTE:nobody", ""},
  };
  std::string file;
  for (const auto& [lines, name] : cards) file += "BEGIN:VCARD\n" + lines + "\nEND:VCARD\n";
  put("contacts/all.vcf", file);
  put("contacts/all.vcf.bak", file);
  put("contacts/.all.vcf", file);
  ASSERT_EQ(store.people().size(), cards.size());
  for (std::size_t i = 0; i < cards.size(); ++i) EXPECT_EQ(store.people()[i]->displayName(), cards[i].second);
  EXPECT_EQ(store.people()[1]->id, "all.vcf#2");
}

TEST_F(ContactsStoreTest, writesANewPersonAtSaveAsOneFile) {
  const auto person = store.add();
  person->setNamePart(1, "Ann \"Q;\"");
  person->setOrganization({"Lindgren", "Sales"});
  EXPECT_FALSE(Files::exists(root / "contacts"));
  store.save();
  EXPECT_FALSE(store.hasChanges());
  EXPECT_EQ(
      get("contacts/" + person->id + ".vcf"),
      "BEGIN:VCARD\r\nVERSION:3.0\r\nPRODID:-//Tavro//Desktop//EN\r\nN:;Ann \"Q\\;\";;;\r\nFN:Ann \"Q\\;\"\r\nUID:" +
          person->id + "\r\nORG:Lindgren;Sales\r\nEND:VCARD\r\n");
}

TEST_F(ContactsStoreTest, removesACardAndKeepsItsNeighbours) {
  put("contacts/two.vcf", "BEGIN:VCARD\nFN:A\nEND:VCARD\n\nBEGIN:VCARD\nFN:B\nEND:VCARD\n");
  put("contacts/one.vcf", "BEGIN:VCARD\nFN:C\nEND:VCARD\n");
  store.remove(store.people()[0]);
  store.remove(store.people()[0]);
  store.save();
  EXPECT_FALSE(Files::exists(root / "contacts/one.vcf"));
  EXPECT_EQ(get("contacts/two.vcf"), "\nBEGIN:VCARD\nFN:B\nEND:VCARD\n");
}

TEST_F(ContactsStoreTest, refusesToWriteOverWhatAnotherProgramWrote) {
  put("contacts/a.vcf", "BEGIN:VCARD\nFN:A\nEND:VCARD\n");
  store.people()[0]->setNamePart(0, "B");
  put("contacts/a.vcf", "BEGIN:VCARD\nFN:Theirs\nEND:VCARD\n");
  EXPECT_THROW(store.save(), Error);
  EXPECT_EQ(get("contacts/a.vcf"), "BEGIN:VCARD\nFN:Theirs\nEND:VCARD\n");
  EXPECT_TRUE(store.hasChanges());
}

TEST_F(ContactsStoreTest, losesNoneOfManySavesAtOnce) {
  put("contacts/a.vcf", "BEGIN:VCARD\nFN:A\nEND:VCARD\n");
  std::atomic<std::size_t> saved = 0;
  const auto write = [&] {
    for (int turn = 0; turn < 40; ++turn) try {
        ContactsStore own(root / "contacts");
        own.people().at(0)->card->add("EMAIL", "a@b.example");
        own.save();
        ++saved;
      } catch (const Error&) {  // refused: another was first
      }
  };
  std::thread other(write);
  write();
  other.join();
  EXPECT_EQ(store.people().at(0)->card->all("EMAIL").size(), saved);
}

}  // namespace
