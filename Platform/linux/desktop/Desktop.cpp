// Sets up the tree, and a small sample of mail, calendars, reminders, notes and contacts to try the tools on.
#include "Platform/Desktop.h"

#include <array>

#include "Platform/Files.h"
#include "Platform/linux/desktop/SampleCalendar.h"
#include "Platform/linux/desktop/SampleMail.h"
#include "Platform/linux/stores/ContactsStore.h"
#include "Platform/linux/stores/NotesStore.h"

namespace {

struct SampleNote {
  const char* folder;
  const char* html;
};

// "Garden" is in the names of two: what a tool for a single note refuses.
constexpr std::array<SampleNote, 8> sampleNotes = {{
    {"Notes", "<div><b>Groceries</b></div><ul><li>Bread</li><li>Olive oil</li><li>Coffee</li></ul>"},
    {"Notes", "<div><b>Books to read</b></div><div>Middlemarch</div><div>The Left Hand of Darkness</div>"},
    {"Notes", "<div><b>Garden plan</b></div><div>Tomatoes by the south wall, beans behind them.</div>"},
    {"Home", "<div><b>Garden tools to repair</b></div><div>The spade&#39;s handle, the hose.</div>"},
    {"Home", "<div><b>Wi-Fi for guests</b></div><div>Network: Orchard</div><div>The password is on the fridge.</div>"},
    {"Work",
     "<div><b>Standup, Monday</b></div><div>Mira: release notes<br>Jonas: the slow import<br>I: the demo</div>"},
    {"Work", "<div><b>Questions for the accountant</b></div><div>Travel costs &amp; the new laptop</div>"},
    {NotesStore::trashFolder.data(), "<div><b>Old packing list</b></div><div>Tent, stove, lamp</div>"},
}};

struct SamplePerson {
  const char* first;
  const char* last;
  const char* organization;
  const char* email;
  const char* phone;
};

constexpr std::array<SamplePerson, 6> samplePeople = {{
    {"Mira", "Okafor", "Lindgren Studio", "mira@lindgren.example", "+44 20 7946 0102"},
    {"Jonas", "Lindgren", "Lindgren Studio", "jonas@lindgren.example", "+46 8 123 456"},
    {"Ana", "Ferreira", "", "ana.ferreira@mail.example", "+351 21 123 4567"},
    {"Hannah", "Weiß", "Weiß Steuerberatung", "kanzlei@weiss.example", "+49 30 123456"},
    {"Daniel", "Moreau", "", "dan@mail.example", ""},
    {"Yuki", "Tanaka", "Orchard Books", "yuki@orchard.example", "+81 3 1234 5678"},
}};

void makeDirectory(const std::filesystem::path& path, std::vector<std::string>& made) {
  if (Files::isDirectory(path)) return;
  Files::createDirectories(path);
  made.push_back("Made " + path.string());
}

void addNotes(NotesStore& store, std::vector<std::string>& made) {
  const auto account = store.defaultAccount() + "/";
  for (const auto& [folder, html] : sampleNotes)
    made.push_back("Added the note " + store.createNote(account + folder, html));
}

void addPeople(const std::filesystem::path& directory, std::vector<std::string>& made) {
  ContactsStore store(directory);
  for (const auto& sample : samplePeople) {
    const auto person = store.add();
    person->setNamePart(1, sample.first);
    person->setNamePart(0, sample.last);
    if (*sample.organization) person->setOrganization({sample.organization});
    person->card->add("EMAIL", VCard::escaped(sample.email), ";TYPE=WORK");
    if (*sample.phone) person->card->add("TEL", VCard::escaped(sample.phone), ";TYPE=CELL");
    made.push_back("Added the contact " + person->displayName());
  }
  store.save();
}

void addMail(const std::filesystem::path& account, std::vector<std::string>& made) {
  const auto count = SampleMail::add(account);
  made.push_back("Added the mail account " + account.filename().string() + " with " + std::to_string(count) +
                 " messages; what is sent from it goes nowhere");
}

void append(std::vector<std::string>& made, const std::vector<std::string>& more) {
  made.insert(made.end(), more.begin(), more.end());
}

bool isEmpty(const std::filesystem::path& directory) { return Files::list(directory).empty(); }

}  // namespace

std::vector<std::string> Desktop::initialize(bool sample) {
  std::vector<std::string> made;
  const auto mail = root() / "mail";
  const auto calendars = root() / "calendars";
  const auto reminders = root() / "reminders";
  const auto contacts = root() / "contacts";
  NotesStore notes(root() / "notes");
  makeDirectory(mail, made);
  makeDirectory(calendars, made);
  makeDirectory(reminders, made);
  makeDirectory(notes.file(""), made);
  makeDirectory(contacts, made);
  if (sample && isEmpty(mail)) addMail(mail / "Sample", made);
  if (sample && isEmpty(calendars)) append(made, SampleCalendar::addEvents(root()));
  if (sample && isEmpty(reminders)) append(made, SampleCalendar::addReminders(root()));
  if (sample && isEmpty(notes.file(""))) addNotes(notes, made);
  if (sample && isEmpty(contacts)) addPeople(contacts, made);
  makeDirectory(notes.file(notes.defaultFolder(notes.defaultAccount())), made);
  return made;
}
