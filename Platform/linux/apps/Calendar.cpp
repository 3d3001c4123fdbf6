// Calendar: calendars hold events, all of them in the CalendarStore. A script sees an event once, however often it
// repeats, with the times of the first.
#include <array>
#include <charconv>
#include <optional>

#include "Platform/Desktop.h"
#include "Platform/linux/apps/Applications.h"
#include "Platform/linux/apps/CalendarShelf.h"
#include "Platform/linux/apps/Presenter.h"

using namespace AppleScript;
using namespace CalendarShelf;

namespace {

using Events = Shelf<CalendarStore::FiledEvent>;
using CalendarPtr = std::shared_ptr<Events>;
using EventPtr = Events::ItemPtr;

constexpr int clashingProperties = -10025;

Dictionary calendarDictionary() {
  return {
      .classes =
          {
              {.name = "application", .plural = "applications", .elements = {"calendar"}},
              {.name = "calendar",
               .plural = "calendars",
               .properties = {{"name", true}, {"id"}, {"uid"}, {"writable"}, {"description"}, {"color"}},
               .elements = {"event"}},
              {.name = "event",
               .plural = "events",
               .properties = {{"summary", true},
                              {"start date", true},
                              {"end date", true},
                              {"allday event", true},
                              {"location", true},
                              {"description", true},
                              {"url", true},
                              {"status", true},
                              {"id"},
                              {"uid"},
                              {"recurrence", true},
                              {"sequence"},
                              {"stamp date"}}},
          },
      .commands = {{.name = "show"}, {.name = "reload calendars", .takesDirect = false}},
      .constants = {"cancelled", "confirmed", "none", "tentative"},
  };
}

class Calendar : public DesktopApplication {
 public:
  Calendar() : DesktopApplication("Calendar", calendarDictionary()), store(Desktop::root()) {}

  const std::vector<CalendarPtr>& calendars();
  const std::vector<EventPtr>& events(Events& calendar);

  CalendarStore store;

 protected:
  std::vector<ObjectPtr> ownElements(std::string_view className) override;
  Value execute(const Command& command) override;

 private:
  ObjectPtr make(const DesktopValues::Making& making);
  void remove(const ObjectPtr& object);

  std::optional<std::vector<CalendarPtr>> calendars_;
};

// ---- Events.

struct Status {
  std::string_view name;
  std::string_view written;
};
constexpr std::array<Status, 3> statuses = {
    {{"cancelled", "CANCELLED"}, {"confirmed", "CONFIRMED"}, {"tentative", "TENTATIVE"}}};

Value status(const std::optional<std::string>& written) {
  for (const auto& status : statuses)
    if (written && Text::equalIgnoringCase(Text::trim(*written), status.written))
      return Constant{std::string(status.name)};
  return Constant{"none"};
}

std::optional<std::string> statusText(const Value& value) {
  const auto* constant = value.as<Constant>();
  if (constant != nullptr && constant->name == "none") return std::nullopt;
  for (const auto& status : statuses)
    if (constant != nullptr && constant->name == status.name) return std::string(status.written);
  throw ScriptError(ErrorNumber::cannotCoerce, "Can’t make " + sourceForm(value) + " into type event status.");
}

std::optional<std::string> rule(const Value& value) {
  const auto given = optionalText(value).value_or("");
  const auto text = Text::trim(given);
  if (text.empty() || ICalendar::parseRule(text)) return text.empty() ? std::nullopt : std::optional(std::string(text));
  throw ScriptError(ErrorNumber::cannotSet,
                    "Can’t set recurrence to " + sourceForm(value) + ". It is a rule like \"FREQ=WEEKLY;COUNT=10\".");
}

/// False for a property that isn't a script's to set.
bool set(CalendarStore::FiledEvent& event, std::string_view name, const Value& value) {
  if (name == "summary")
    event.title = optionalText(value);
  else if (name == "start date")
    event.begins = instant(asDate(value));
  else if (name == "end date")
    event.ends = instant(asDate(value));
  else if (name == "allday event")
    event.isAllDay = asBoolean(value);
  else if (name == "location")
    event.location = optionalText(value);
  else if (name == "description")
    event.notes = optionalText(value);
  else if (name == "url")
    event.url = optionalText(value);
  else if (name == "recurrence")
    event.recurrence = rule(value);
  else if (name == "status")
    event.status = statusText(value);
  else
    return false;
  return true;
}

void checkTimes(const CalendarStore::FiledEvent& event) {
  if (event.ends < event.begins) throw ScriptError(clashingProperties, "The start date must be before the end date.");
}

class CalendarObject : public DesktopObject {
 public:
  CalendarObject(Calendar& owner, CalendarPtr of) : DesktopObject(owner), calendar(std::move(of)), owner_(owner) {}

  std::string className() const override { return "calendar"; }
  std::string specifier() const override {
    return "calendar id " + DesktopValues::quoted(Text::repairUTF8(calendar->collection.id));
  }
  bool exists() override { return !calendar->isGone; }

  Value property(std::string_view name) override;
  void setProperty(std::string_view, const Value& value) override {
    const auto name = title(value, "calendar");
    calendar->collection.title = owner_.store.calendarFolders().rename(calendar->collection.id, name);
  }
  std::vector<ObjectPtr> elements(std::string_view) override;

  const CalendarPtr calendar;

 private:
  Calendar& owner_;
};

class EventObject : public DesktopObject {
 public:
  EventObject(Calendar& owner, CalendarPtr calendar, EventPtr of)
      : DesktopObject(owner), in(std::move(calendar)), event(std::move(of)), owner_(owner) {}

  std::string className() const override { return "event"; }
  std::string specifier() const override {
    return "event id " + DesktopValues::quoted(event->id) + " of calendar id " +
           DesktopValues::quoted(Text::repairUTF8(in->collection.id));
  }
  bool exists() override { return !event->isGone && !in->isGone; }

  Value property(std::string_view name) override;
  void setProperty(std::string_view name, const Value& value) override {
    if (!exists()) DesktopValues::cannotGet(*this);
    auto changed = event->stored;
    set(changed, name, value);
    checkTimes(changed);
    event->stored = owner_.store.save(changed);
  }

  const CalendarPtr in;
  const EventPtr event;

 private:
  Calendar& owner_;
};

/// Three numbers up to 65535 for "#RRGGBB".
Value color(const std::optional<std::string>& written) {
  if (!written) return Missing();
  AppleScript::List parts;
  for (const std::size_t at : {1, 3, 5}) {
    int part = 0;
    std::from_chars(written->data() + at, written->data() + at + 2, part, 16);
    parts.emplace_back(part * 257);
  }
  return parts;
}

Value CalendarObject::property(std::string_view name) {
  if (calendar->isGone) DesktopValues::cannotGet(*this);
  const auto& folders = owner_.store.calendarFolders();
  if (name == "name") return calendar->collection.title;
  if (name == "id" || name == "uid") return Text::repairUTF8(calendar->collection.id);
  if (name == "writable") return folders.isWritable(calendar->collection.id);
  if (name == "color") return color(folders.color(calendar->collection.id));
  return Missing();  // description
}

std::vector<ObjectPtr> CalendarObject::elements(std::string_view) {
  if (calendar->isGone) DesktopValues::cannotGet(*this);
  std::vector<ObjectPtr> found;
  const auto& all = owner_.events(*calendar);
  found.reserve(all.size());
  for (const auto& event : all) found.push_back(std::make_shared<EventObject>(owner_, calendar, event));
  return found;
}

Value EventObject::property(std::string_view name) {
  if (!exists()) DesktopValues::cannotGet(*this);
  const auto& stored = event->stored;
  if (name == "summary") return textOrMissing(stored.title);
  if (name == "start date") return DesktopValues::date(stored.begins);
  if (name == "end date") return DesktopValues::date(stored.ends);
  if (name == "allday event") return stored.isAllDay;
  if (name == "location") return textOrMissing(stored.location);
  if (name == "description") return textOrMissing(stored.notes);
  if (name == "url") return textOrMissing(stored.url);
  if (name == "status") return status(stored.status);
  if (name == "id" || name == "uid") return event->id;
  if (name == "recurrence") return textOrMissing(stored.recurrence);
  if (name == "sequence") return stored.sequence;
  return name == "stamp date" ? dateOrMissing(stored.stamped) : Value(Missing());
}

// ---- The application.

const std::vector<CalendarPtr>& Calendar::calendars() {
  if (calendars_) return *calendars_;
  calendars_.emplace();
  for (auto& calendar : store.calendars()) calendars_->push_back(std::make_shared<Events>(std::move(calendar)));
  return *calendars_;
}

const std::vector<EventPtr>& Calendar::events(Events& calendar) {
  return calendar.items([&] { return store.filedEvents(calendar.collection.id); });
}

std::vector<ObjectPtr> Calendar::ownElements(std::string_view) {
  std::vector<ObjectPtr> found;
  for (const auto& calendar : calendars()) found.push_back(std::make_shared<CalendarObject>(*this, calendar));
  return found;
}

/// The times that aren't told: an hour, or the day.
CalendarStore::FiledEvent newEvent(const Record& properties) {
  CalendarStore::FiledEvent event;
  bool hasStart = false, hasEnd = false;
  for (const auto& [label, value] : properties) {
    if (!set(event, label, value)) DesktopValues::cannotMakeWith(label, "event");
    hasStart |= label == "start date";
    hasEnd |= label == "end date";
  }
  if (!hasStart) throw ScriptError(ErrorNumber::handlerFailed, "Can’t make a new event without a start date.");
  if (!hasEnd) event.ends = event.begins + std::chrono::hours(event.isAllDay ? 0 : 1);
  checkTimes(event);
  return event;
}

ObjectPtr Calendar::make(const DesktopValues::Making& making) {
  if (making.className == "calendar") {
    const auto* name = DesktopValues::nameAlone(making);
    calendars();
    calendars_->push_back(
        std::make_shared<Events>(store.calendarFolders().add(name ? title(*name, "calendar") : "Untitled")));
    return std::make_shared<CalendarObject>(*this, calendars_->back());
  }
  const auto place = std::dynamic_pointer_cast<CalendarObject>(making.place);
  if (making.className != "event" || !place) DesktopValues::cannotMake(making);
  if (!place->exists()) DesktopValues::cannotGet(*place);
  const auto& calendar = place->calendar;
  auto event = newEvent(making.properties);
  event.place.collection = calendar->collection.id;
  return std::make_shared<EventObject>(*this, calendar, calendar->add(store.add(event)));
}

void Calendar::remove(const ObjectPtr& object) {
  if (!object->exists()) DesktopValues::cannotGet(*object);
  if (const auto event = std::dynamic_pointer_cast<EventObject>(object)) {
    store.remove(event->event->stored);
    event->in->remove(event->event);
  } else if (const auto calendar = std::dynamic_pointer_cast<CalendarObject>(object)) {
    const auto& id = calendar->calendar->collection.id;
    store.removeCalendar(id);
    calendar->calendar->isGone = true;
    // By its id: the calendars may have been reloaded since the script took this one.
    if (calendars_) std::erase_if(*calendars_, [&](const auto& one) { return one->collection.id == id; });
  } else {
    DesktopValues::cannotDelete(*object);
  }
}

Value Calendar::execute(const Command& command) {
  if (command.name == "make") return make(DesktopValues::making(command));
  if (command.name == "reload calendars") {
    calendars_.reset();
    return {};
  }
  if (command.name == "delete") {
    for (const auto& object : DesktopValues::objects(command)) remove(object);
    return {};
  }
  if (command.name == "show") {
    for (const auto& object : DesktopValues::objects(command)) {
      const auto event = std::dynamic_pointer_cast<EventObject>(object);
      if (!event) DesktopValues::notUnderstood(command);
      Presenter::open(store.file(event->event->stored));
    }
    return command.direct;
  }
  DesktopValues::notUnderstood(command);
}

}  // namespace

std::shared_ptr<Application> Applications::calendar() { return std::make_shared<Calendar>(); }
