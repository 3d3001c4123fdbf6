// Notes: accounts hold folders, folders hold notes, all of it in the NotesStore. A note is found again by
// its path, which is its id.
#include <algorithm>
#include <cerrno>

#include "Platform/Desktop.h"
#include "Platform/Files.h"
#include "Platform/Text.h"
#include "Platform/linux/apps/Applications.h"
#include "Platform/linux/apps/DesktopApplication.h"
#include "Platform/linux/apps/Presenter.h"
#include "Platform/linux/stores/NotesStore.h"

using namespace AppleScript;

namespace {

Dictionary notesDictionary() {
  return {
      .classes =
          {
              {.name = "application",
               .plural = "applications",
               .properties = {{"default account"}, {"selection"}},
               .elements = {"account", "folder", "note"}},
              {.name = "account",
               .plural = "accounts",
               .properties = {{"name"}, {"id"}, {"default folder"}, {"upgraded"}},
               .elements = {"folder", "note"}},
              {.name = "folder",
               .plural = "folders",
               .properties = {{"name"}, {"id"}, {"container"}, {"shared"}},
               .elements = {"folder", "note"}},
              {.name = "note",
               .plural = "notes",
               .properties = {{"name"},
                              {"id"},
                              {"container"},
                              {"body", true},
                              {"plaintext"},
                              {"creation date"},
                              {"modification date"},
                              {"password protected"},
                              {"shared"}},
               .elements = {"attachment"}},
              {.name = "attachment",
               .plural = "attachments",
               .properties = {{"name"}, {"id"}, {"container"}, {"content identifier"}, {"URL"}}},
          },
      .commands = {{.name = "show", .parameters = {{.label = "separately", .flag = true}}}},
      .constants = {},
  };
}

std::string lastPart(const std::string& path) { return Text::repairUTF8(path.substr(path.rfind('/') + 1)); }

std::string escapedHtml(std::string_view text) {
  return Text::replaceAll(Text::replaceAll(Text::replaceAll(text, "&", "&amp;"), "<", "&lt;"), ">", "&gt;");
}

class Notes : public DesktopApplication {
 public:
  Notes() : DesktopApplication("Notes", notesDictionary()), store(Desktop::root() / "notes") {}

  std::vector<ObjectPtr> notesOf(const std::string& folder);
  std::vector<ObjectPtr> foldersOf(const std::string& parent);
  ObjectPtr account(const std::string& path);

  NotesStore store;

 protected:
  Value ownProperty(std::string_view name) override;
  std::vector<ObjectPtr> ownElements(std::string_view className) override;
  Value execute(const Command& command) override;

 private:
  ObjectPtr make(const DesktopValues::Making& making);
  void remove(const ObjectPtr& object);
};

/// Something that the store knows by a path, which is also its id.
class StoredObject : public DesktopObject {
 public:
  StoredObject(Notes& notes, std::string place) : DesktopObject(notes), path(std::move(place)), notes_(notes) {}
  std::string specifier() const override {
    return className() + " id " + DesktopValues::quoted(Text::repairUTF8(path));
  }

  std::string path;

 protected:
  Notes& notes_;
};

// ---- Attachments: the pictures that a note shows.

class Attachment : public StoredObject {
 public:
  Attachment(Notes& notes, std::string note, std::string source)
      : StoredObject(notes, note + "#" + source), note_(std::move(note)), source_(std::move(source)) {}

  std::string className() const override { return "attachment"; }
  Value property(std::string_view name) override;

 private:
  bool isEmbedded() const { return source_.starts_with("data:"); }

  std::string note_;
  std::string source_;
};

// ---- Notes.

class Note : public StoredObject {
 public:
  using StoredObject::StoredObject;
  std::string className() const override { return "note"; }
  bool exists() override { return notes_.store.isNote(path); }

  Value property(std::string_view name) override {
    return reading([&] { return read(name); });
  }

  void setProperty(std::string_view, const Value& value) override {
    reading([&] { notes_.store.setBody(path, asText(value)); });
  }

  // The object stays the note, wherever it goes.
  void moveTo(const StoredObject& folder) {
    path = reading([&] { return notes_.store.moveNote(path, folder.path); });
  }
  void remove() {
    path = reading([&] { return notes_.store.removeNote(path); }).value_or(path);
  }

  std::vector<ObjectPtr> elements(std::string_view) override {
    std::vector<ObjectPtr> found;
    for (auto& source : reading([&] { return notes_.store.pictures(path); }))
      found.push_back(std::make_shared<Attachment>(notes_, path, std::move(source)));
    return found;
  }

 private:
  Value read(std::string_view name);

  /// A note that another program has removed meanwhile is one that can't be got.
  template <class Work>
  auto reading(Work work) -> decltype(work()) {
    try {
      return work();
    } catch (const FileFailure& failure) {
      if (failure.errorNumber() != ENOENT) throw;
      DesktopValues::cannotGet(*this);
    }
  }
};

// ---- Folders and accounts.

class Folder : public StoredObject {
 public:
  using StoredObject::StoredObject;
  std::string className() const override { return "folder"; }
  bool exists() override { return notes_.store.isFolder(path); }
  Value property(std::string_view name) override;
  std::vector<ObjectPtr> elements(std::string_view className) override {
    return className == "note" ? notes_.notesOf(path) : notes_.foldersOf(path);
  }
};

class Account : public StoredObject {
 public:
  using StoredObject::StoredObject;
  std::string className() const override { return "account"; }
  bool exists() override { return notes_.store.isFolder(path); }
  Value property(std::string_view name) override;
  std::vector<ObjectPtr> elements(std::string_view className) override;
};

Value Attachment::property(std::string_view name) {
  if (name == "name") return isEmbedded() ? "picture" : lastPart(source_);
  if (name == "id") return Text::repairUTF8(path);
  if (name == "container") return ObjectPtr(std::make_shared<Note>(notes_, note_));
  if (name == "content identifier") return source_;
  return isEmbedded() ? Value(Missing()) : Value(source_);  // URL
}

Value Note::read(std::string_view name) {
  auto& store = notes_.store;
  if (name == "name") return store.name(path);
  if (name == "id") return Text::repairUTF8(path);
  if (name == "container") return ObjectPtr(std::make_shared<Folder>(notes_, path.substr(0, path.rfind('/'))));
  if (name == "body") return store.body(path);
  if (name == "plaintext") return store.plaintext(path);
  if (name == "creation date") return DesktopValues::date(store.created(path));
  if (name == "modification date") return DesktopValues::date(store.modified(path));
  return false;  // password protected, shared
}

Value Folder::property(std::string_view name) {
  if (name == "name") return lastPart(path);
  if (name == "id") return Text::repairUTF8(path);
  if (name == "shared") return false;
  const auto parent = path.substr(0, path.rfind('/'));  // container
  if (parent.find('/') == std::string::npos) return notes_.account(parent);
  return ObjectPtr(std::make_shared<Folder>(notes_, parent));
}

Value Account::property(std::string_view name) {
  if (name == "name" || name == "id") return Text::repairUTF8(path);
  if (name == "upgraded") return true;
  return ObjectPtr(std::make_shared<Folder>(notes_, notes_.store.defaultFolder(path)));
}

/// An account's folders are those of every depth.
std::vector<ObjectPtr> Account::elements(std::string_view className) {
  std::vector<ObjectPtr> folders = notes_.foldersOf(path);
  // Links to directories may make a ring; nobody nests folders this deep.
  constexpr std::ptrdiff_t deepest = 8;
  for (std::size_t at = 0; at < folders.size(); ++at) {
    const auto& folder = static_cast<Folder&>(*folders[at]).path;
    if (std::count(folder.begin(), folder.end(), '/') >= deepest) continue;
    const auto inner = notes_.foldersOf(folder);
    folders.insert(folders.begin() + static_cast<std::ptrdiff_t>(at) + 1, inner.begin(), inner.end());
  }
  if (className == "folder") return folders;
  std::vector<ObjectPtr> found;
  for (const auto& folder : folders)
    for (auto& note : folder->elements("note")) found.push_back(std::move(note));
  return found;
}

// ---- The application.

std::vector<ObjectPtr> Notes::notesOf(const std::string& folder) {
  std::vector<ObjectPtr> found;
  for (auto& path : store.notes(folder)) found.push_back(std::make_shared<Note>(*this, std::move(path)));
  return found;
}

std::vector<ObjectPtr> Notes::foldersOf(const std::string& parent) {
  std::vector<ObjectPtr> found;
  for (auto& path : store.folders(parent)) found.push_back(std::make_shared<Folder>(*this, std::move(path)));
  return found;
}

ObjectPtr Notes::account(const std::string& path) { return std::make_shared<Account>(*this, path); }

Value Notes::ownProperty(std::string_view name) {
  if (name == "default account") return account(store.defaultAccount());
  return List();  // selection: nobody selects anything here
}

std::vector<ObjectPtr> Notes::ownElements(std::string_view className) {
  std::vector<ObjectPtr> found;
  for (const auto& name : store.accounts()) {
    const auto one = account(name);
    if (className == "account")
      found.push_back(one);
    else
      for (auto& element : one->elements(className)) found.push_back(std::move(element));
  }
  return found;
}

Value Notes::execute(const Command& command) {
  if (command.name == "make") return make(DesktopValues::making(command));
  if (command.name == "show") {
    for (const auto& object : DesktopValues::objects(command))
      if (const auto stored = std::dynamic_pointer_cast<StoredObject>(object))
        Presenter::open(store.file(stored->path));
    return command.direct;
  }
  if (command.name == "delete") {
    for (const auto& object : DesktopValues::objects(command)) remove(object);
    return {};
  }
  if (command.name == "move") {
    const auto folder = std::dynamic_pointer_cast<Folder>(DesktopValues::place(command.parameter("to")));
    for (const auto& object : DesktopValues::objects(command)) {
      const auto note = std::dynamic_pointer_cast<Note>(object);
      if (!note || !folder) DesktopValues::notUnderstood(command);
      note->moveTo(*folder);
    }
    return command.direct;
  }
  DesktopValues::notUnderstood(command);
}

/// The title of `name` stands in front of the body, as its first line.
std::string bodyOfNewNote(const Record& properties) {
  std::string title, body;
  for (const auto& [label, value] : properties) {
    if (label == "name")
      title = "<div><b>" + escapedHtml(asText(value)) + "</b></div>";
    else if (label == "body")
      body = asText(value);
    else
      DesktopValues::cannotMakeWith(label, "note");
  }
  return title + body;
}

ObjectPtr Notes::make(const DesktopValues::Making& making) {
  const auto place = std::dynamic_pointer_cast<StoredObject>(making.place);
  const auto path = place ? place->path : store.defaultAccount();
  if (making.className == "note") {
    const auto folder = std::dynamic_pointer_cast<Folder>(place) ? path : store.defaultFolder(path);
    return std::make_shared<Note>(*this, store.createNote(folder, bodyOfNewNote(making.properties)));
  }
  if (making.className == "folder") {
    const auto* name = DesktopValues::nameAlone(making);
    return std::make_shared<Folder>(*this, store.createFolder(path, name ? asText(*name) : "New Folder"));
  }
  DesktopValues::cannotMake(making);
}

void Notes::remove(const ObjectPtr& object) {
  if (const auto note = std::dynamic_pointer_cast<Note>(object)) {
    note->remove();
  } else if (const auto folder = std::dynamic_pointer_cast<Folder>(object)) {
    store.removeFolder(folder->path);
  } else {
    DesktopValues::cannotDelete(*object);
  }
}

}  // namespace

std::shared_ptr<Application> Applications::notes() { return std::make_shared<Notes>(); }
