// Reminders: lists hold reminders, all of them in the CalendarStore. There is one account, which holds all lists.
#include <algorithm>
#include <optional>

#include "Platform/Desktop.h"
#include "Platform/linux/apps/Applications.h"
#include "Platform/linux/apps/CalendarShelf.h"
#include "Platform/linux/apps/Presenter.h"

using namespace AppleScript;
using namespace CalendarShelf;

namespace {

using List = Shelf<CalendarStore::Reminder>;
using ListPtr = std::shared_ptr<List>;
using ReminderPtr = List::ItemPtr;

Dictionary remindersDictionary() {
  return {
      .classes =
          {
              {.name = "application",
               .plural = "applications",
               .properties = {{"default list"}, {"default account"}},
               .elements = {"account", "list", "reminder"}},
              {.name = "account",
               .plural = "accounts",
               .properties = {{"name"}, {"id"}},
               .elements = {"list", "reminder"}},
              {.name = "list",
               .plural = "lists",
               .properties = {{"name", true}, {"id"}, {"container"}, {"color"}, {"emblem"}},
               .elements = {"reminder"}},
              {.name = "reminder",
               .plural = "reminders",
               .properties = {{"name", true},
                              {"id"},
                              {"container"},
                              {"body", true},
                              {"completed", true},
                              {"completion date", true},
                              {"due date", true},
                              {"allday due date", true},
                              {"remind me date", true},
                              {"priority", true},
                              {"flagged", true},
                              {"creation date"},
                              {"modification date"}}},
          },
      .commands = {{.name = "show"}},
      .constants = {},
  };
}

class Reminders : public DesktopApplication {
 public:
  Reminders() : DesktopApplication("Reminders", remindersDictionary()), store(Desktop::root()) {}

  const std::vector<ListPtr>& lists();
  const std::vector<ReminderPtr>& reminders(List& list);
  std::vector<ObjectPtr> objects(std::string_view className);

  CalendarStore store;

 protected:
  Value ownProperty(std::string_view name) override;
  std::vector<ObjectPtr> ownElements(std::string_view className) override;
  Value execute(const Command& command) override;

 private:
  ListPtr defaultList();
  ListPtr addList(const std::string& title);
  ObjectPtr make(const DesktopValues::Making& making);
  void remove(const ObjectPtr& object);

  std::optional<std::vector<ListPtr>> lists_;
};

// ---- Reminders.

Value dueDate(const std::optional<CalendarStore::Due>& due) {
  if (!due) return Missing();
  return Date{due->at.time_since_epoch().count()};
}

/// A midnight means the day, which is the same wherever the owner is, unless the reminder has been given a time.
std::optional<CalendarStore::Due> due(const Value& value, bool isDay, const std::optional<CalendarStore::Due>& before) {
  if (value.isMissing()) return std::nullopt;
  const auto at = wall(asDate(value));
  const ICalendar::Wall day(std::chrono::floor<std::chrono::days>(at));
  const bool hasTime = !isDay && (at != day || (before && before->hasTime));
  return CalendarStore::Due{.at = hasTime ? at : day, .hasTime = hasTime};
}

int priority(const Value& value) {
  constexpr std::int64_t lowest = 9;
  const auto number = asInteger(value);
  if (number >= 0 && number <= lowest) return static_cast<int>(number);
  throw ScriptError(ErrorNumber::cannotSet, "Can’t set priority to " + sourceForm(value) +
                                                ". It goes from 1 (high) to 9 (low), and is 0 for none.");
}

/// False for a property that isn't a script's to set.
bool set(CalendarStore::Reminder& reminder, std::string_view name, const Value& value) {
  if (name == "name") {
    reminder.title = optionalText(value);
  } else if (name == "body") {
    reminder.notes = optionalText(value);
  } else if (name == "completed") {
    reminder.isCompleted = asBoolean(value);
    if (!reminder.isCompleted) reminder.completedAt.reset();
  } else if (name == "completion date") {
    reminder.completedAt = optionalInstant(value);
    reminder.isCompleted = reminder.completedAt.has_value();
  } else if (name == "due date" || name == "allday due date") {
    reminder.due = due(value, name != "due date", reminder.due);
  } else if (name == "remind me date") {
    reminder.remindsAt = optionalInstant(value);
  } else if (name == "priority") {
    reminder.priority = priority(value);
  } else if (name == "flagged") {
    reminder.isFlagged = asBoolean(value);
  } else {
    return false;
  }
  return true;
}

class ListObject : public DesktopObject {
 public:
  ListObject(Reminders& reminders, ListPtr of) : DesktopObject(reminders), list(std::move(of)), reminders_(reminders) {}

  std::string className() const override { return "list"; }
  std::string specifier() const override {
    return "list id " + DesktopValues::quoted(Text::repairUTF8(list->collection.id));
  }
  bool exists() override { return !list->isGone; }

  Value property(std::string_view name) override;
  void setProperty(std::string_view, const Value& value) override {
    const auto name = title(value, "list");
    list->collection.title = reminders_.store.listFolders().rename(list->collection.id, name);
  }
  std::vector<ObjectPtr> elements(std::string_view) override;

  const ListPtr list;

 private:
  Reminders& reminders_;
};

class ReminderObject : public DesktopObject {
 public:
  ReminderObject(Reminders& reminders, ListPtr list, ReminderPtr of)
      : DesktopObject(reminders), in(std::move(list)), reminder(std::move(of)), reminders_(reminders) {}

  std::string className() const override { return "reminder"; }
  std::string specifier() const override {
    return "reminder id " + DesktopValues::quoted(reminder->id) + " of list id " +
           DesktopValues::quoted(Text::repairUTF8(in->collection.id));
  }
  bool exists() override { return !reminder->isGone && !in->isGone; }

  Value property(std::string_view name) override;
  void setProperty(std::string_view name, const Value& value) override {
    if (!exists()) DesktopValues::cannotGet(*this);
    auto changed = reminder->stored;
    set(changed, name, value);
    reminder->stored = reminders_.store.save(changed);
  }

  const ListPtr in;
  const ReminderPtr reminder;

 private:
  Reminders& reminders_;
};

class AccountObject : public DesktopObject {
 public:
  explicit AccountObject(Reminders& reminders) : DesktopObject(reminders), reminders_(reminders) {}
  std::string className() const override { return "account"; }
  std::string specifier() const override { return "account \"On My Computer\""; }
  Value property(std::string_view) override { return "On My Computer"; }
  std::vector<ObjectPtr> elements(std::string_view className) override { return reminders_.objects(className); }

 private:
  Reminders& reminders_;
};

Value ListObject::property(std::string_view name) {
  if (list->isGone) DesktopValues::cannotGet(*this);
  if (name == "name") return list->collection.title;
  if (name == "id") return Text::repairUTF8(list->collection.id);
  if (name == "container") return ObjectPtr(std::make_shared<AccountObject>(reminders_));
  if (name == "color") return textOrMissing(reminders_.store.listFolders().color(list->collection.id));
  return Missing();  // emblem
}

std::vector<ObjectPtr> ListObject::elements(std::string_view) {
  if (list->isGone) DesktopValues::cannotGet(*this);
  std::vector<ObjectPtr> found;
  const auto& all = reminders_.reminders(*list);
  found.reserve(all.size());
  for (const auto& reminder : all) found.push_back(std::make_shared<ReminderObject>(reminders_, list, reminder));
  return found;
}

Value ReminderObject::property(std::string_view name) {
  if (!exists()) DesktopValues::cannotGet(*this);
  const auto& stored = reminder->stored;
  if (name == "name") return stored.title.value_or("");
  if (name == "id") return reminder->id;
  if (name == "container") return ObjectPtr(std::make_shared<ListObject>(reminders_, in));
  if (name == "body") return textOrMissing(stored.notes);
  if (name == "completed") return stored.isCompleted;
  if (name == "completion date") return dateOrMissing(stored.completedAt);
  if (name == "due date" || name == "allday due date") return dueDate(stored.due);
  if (name == "remind me date") return dateOrMissing(stored.remindsAt);
  if (name == "priority") return stored.priority;
  if (name == "flagged") return stored.isFlagged;
  if (name == "creation date") return dateOrMissing(stored.created);
  return dateOrMissing(stored.modified);
}

// ---- The application.

const std::vector<ListPtr>& Reminders::lists() {
  if (lists_) return *lists_;
  lists_.emplace();
  for (auto& list : store.lists()) lists_->push_back(std::make_shared<List>(std::move(list)));
  return *lists_;
}

const std::vector<ReminderPtr>& Reminders::reminders(List& list) {
  return list.items([&] { return store.reminders(list.collection.id); });
}

std::vector<ObjectPtr> Reminders::objects(std::string_view className) {
  std::vector<ObjectPtr> found;
  for (const auto& list : lists()) {
    const auto object = std::make_shared<ListObject>(*this, list);
    if (className == "list")
      found.push_back(object);
    else
      for (auto& reminder : object->elements("reminder")) found.push_back(std::move(reminder));
  }
  return found;
}

Value Reminders::ownProperty(std::string_view name) {
  if (name == "default account") return ObjectPtr(std::make_shared<AccountObject>(*this));
  return ObjectPtr(std::make_shared<ListObject>(*this, defaultList()));
}

std::vector<ObjectPtr> Reminders::ownElements(std::string_view className) {
  if (className == "account") return {std::make_shared<AccountObject>(*this)};
  return objects(className);
}

/// The one called "Reminders", else the first.
ListPtr Reminders::defaultList() {
  constexpr const char* name = "Reminders";
  const auto& all = lists();
  const auto found =
      std::find_if(all.begin(), all.end(), [](const auto& list) { return list->collection.title == name; });
  if (found != all.end()) return *found;
  return all.empty() ? addList(name) : all.front();
}

ListPtr Reminders::addList(const std::string& title) {
  lists();
  const auto list = std::make_shared<List>(store.listFolders().add(title));
  lists_->push_back(list);
  return list;
}

ObjectPtr Reminders::make(const DesktopValues::Making& making) {
  if (making.className == "list") {
    const auto* name = DesktopValues::nameAlone(making);
    return std::make_shared<ListObject>(*this, addList(name ? title(*name, "list") : "New List"));
  }
  if (making.className != "reminder" || std::dynamic_pointer_cast<ReminderObject>(making.place))
    DesktopValues::cannotMake(making);
  CalendarStore::Reminder reminder;
  for (const auto& [label, value] : making.properties)
    if (!set(reminder, label, value)) DesktopValues::cannotMakeWith(label, "reminder");
  const auto place = std::dynamic_pointer_cast<ListObject>(making.place);
  const auto list = place ? place->list : defaultList();
  if (list->isGone) DesktopValues::cannotGet(*making.place);
  reminder.place.collection = list->collection.id;
  return std::make_shared<ReminderObject>(*this, list, list->add(store.add(reminder)));
}

void Reminders::remove(const ObjectPtr& object) {
  if (!object->exists()) DesktopValues::cannotGet(*object);
  if (const auto reminder = std::dynamic_pointer_cast<ReminderObject>(object)) {
    store.remove({reminder->reminder->stored}, {});
    reminder->in->remove(reminder->reminder);
  } else if (const auto list = std::dynamic_pointer_cast<ListObject>(object)) {
    store.remove({}, {list->list->collection.id});
    list->list->isGone = true;
    std::erase(*lists_, list->list);
  } else {
    DesktopValues::cannotDelete(*object);
  }
}

Value Reminders::execute(const Command& command) {
  if (command.name == "make") return make(DesktopValues::making(command));
  if (command.name == "delete") {
    for (const auto& object : DesktopValues::objects(command)) remove(object);
    return {};
  }
  if (command.name == "show") {
    for (const auto& object : DesktopValues::objects(command)) {
      const auto reminder = std::dynamic_pointer_cast<ReminderObject>(object);
      if (!reminder) DesktopValues::notUnderstood(command);
      Presenter::open(store.file(reminder->reminder->stored));
    }
    return command.direct;
  }
  DesktopValues::notUnderstood(command);
}

}  // namespace

std::shared_ptr<Application> Applications::reminders() { return std::make_shared<Reminders>(); }
