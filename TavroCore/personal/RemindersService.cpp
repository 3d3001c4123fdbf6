#include "TavroCore/personal/RemindersService.h"

#include <fmt/format.h>

#include <algorithm>
#include <future>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "Platform/EventKit.h"
#include "Platform/Text.h"
#include "TavroCore/personal/EventKitAccess.h"
#include "TavroCore/personal/OneLine.h"

namespace {

// ---- What the store has.

/// A store of our own, for one operation.
class Store : public EKEventStore {
 public:
  /// Throws AccessError.
  Store() { EventKitAccess::ensureAccess(*this, EKEntityType::reminder); }

  std::vector<EKCalendar> lists() { return calendars(EKEntityType::reminder); }
  std::vector<EKReminder> reminders();
};

/// Waits for the store's answer, which may come on a thread of its own; both ends hold what it is put into.
std::vector<EKReminder> Store::reminders() {
  const auto answer = std::make_shared<std::promise<std::vector<EKReminder>>>();
  fetchReminders(predicateForReminders(), [answer](auto found) { answer->set_value(std::move(found)); });
  return answer->get_future().get();
}

/// Titles that look the same are the same, however their accents are written.
std::vector<EKCalendar> listsTitled(Store& store, const std::string& name) {
  auto lists = store.lists();
  std::erase_if(lists,
                [wanted = Text::composed(name)](const auto& list) { return Text::composed(list.title) != wanted; });
  if (lists.empty()) throw RemindersService::RemError::noList(name);
  return lists;
}

std::vector<EKReminder> remindersIn(Store& store, const std::optional<std::string>& list) {
  auto reminders = store.reminders();
  if (!list || list->empty()) return reminders;
  std::set<std::string> wanted;
  for (const auto& titled : listsTitled(store, *list)) wanted.insert(titled.calendarIdentifier);
  std::erase_if(reminders,
                [&](const auto& reminder) { return !wanted.contains(reminder.calendar.calendarIdentifier); });
  return reminders;
}

std::vector<EKReminder> completedIn(Store& store, const std::optional<std::string>& list) {
  auto reminders = remindersIn(store, list);
  std::erase_if(reminders, [](const auto& reminder) { return !reminder.isCompleted; });
  return reminders;
}

// ---- Due dates.

std::optional<Dates::Instant> dueDate(const EKReminder& reminder) {
  if (!reminder.dueDateComponents) return std::nullopt;
  return reminder.dueDateComponents->date();
}

/// Has `text` a digit wherever `form` has one, and else the same characters?
bool hasForm(std::string_view text, std::string_view form) {
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  return std::equal(text.begin(), text.end(), form.begin(), form.end(),
                    [&](char c, char f) { return isDigit(f) ? isDigit(c) : c == f; });
}

/// The fields of a text that is a date, or a date and a time, as a whole: what follows one would be lost without a
/// word.
std::optional<Dates::Local> fieldsOf(const std::string& text) {
  const bool hasTime = hasForm(text, "0000-00-00 00:00");
  if (!hasTime && !hasForm(text, "0000-00-00")) return std::nullopt;
  const auto number = [&](std::size_t place, std::size_t size) { return std::stoi(text.substr(place, size)); };
  Dates::Local fields{.year = number(0, 4), .month = number(5, 2), .day = number(8, 2)};
  if (hasTime) fields.hour = number(11, 2);
  if (hasTime) fields.minute = number(14, 2);
  const auto day = std::chrono::year(fields.year) / fields.month / fields.day;
  return day.ok() && fields.year > 0 && fields.hour < 24 && fields.minute < 60 ? std::optional(fields) : std::nullopt;
}

struct Due {
  Dates::Instant date;
  EKDateComponents components;
};

/// The components are the instant's, so that a time that a clock change skips is kept as the one that takes its place.
Due parseDue(const std::string& text) {
  const auto fields = fieldsOf(text);
  if (!fields) throw RemindersService::RemError::badDate(text);
  const auto date = Dates::fromLocal(*fields);
  const auto local = Dates::local(date);
  Due due{.date = date, .components = {.year = local.year, .month = local.month, .day = local.day}};
  if (text.find(' ') != std::string::npos) {
    due.components.hour = local.hour;
    due.components.minute = local.minute;
  }
  return due;
}

/// Those at fixed times keep their distance to the due date. The others hang on it anyway.
void shiftAlarms(EKReminder& reminder, Dates::Instant::duration delta) {
  for (auto& alarm : reminder.alarms)
    if (alarm.absoluteDate) *alarm.absoluteDate += delta;
}

// ---- Texts.

/// By what `key` gives for each; those with the same key stay in the order of the store.
template <typename Record, typename Key>
void sortBy(std::vector<Record>& records, Key key) {
  std::multimap<decltype(key(records.front())), Record> sorted;
  for (auto& record : records) sorted.emplace(key(record), std::move(record));
  records.clear();
  for (auto& entry : sorted) records.push_back(std::move(entry.second));
}

std::string titleOf(const EKCalendar& list) { return list.title.empty() ? "?" : onOneLine(list.title); }
std::string titleOf(const EKReminder& reminder) { return onOneLine(reminder.title.value_or("")); }

std::string lineOf(const EKReminder& reminder) {
  const auto due = dueDate(reminder);
  return fmt::format("{} || {} || {} || {}", titleOf(reminder.calendar), reminder.isCompleted ? "done" : "todo",
                     due ? Dates::localText(*due, Dates::Unit::minute) : "", titleOf(reminder));
}

/// The open reminder that is meant, and no other.
EKReminder onlyMatch(Store& store, const std::string& name, const std::optional<std::string>& list) {
  auto reminders = remindersIn(store, list);
  std::erase_if(reminders, [&](const auto& reminder) {
    return reminder.isCompleted || !Text::containsIgnoringCase(reminder.title.value_or(""), name);
  });
  if (reminders.empty()) throw RemindersService::RemError::noMatch(name);
  if (reminders.size() > 1) throw RemindersService::RemError::ambiguous(name, reminders.size());
  return std::move(reminders.front());
}

}  // namespace

namespace RemindersService {

RemError RemError::noList(const std::string& name) {
  return RemError(fmt::format("no Reminders list named \"{}\".", name));
}
RemError RemError::noMatch(const std::string& name) {
  return RemError(fmt::format("no incomplete reminder whose name contains \"{}\".", name));
}
RemError RemError::ambiguous(const std::string& name, std::size_t count) {
  return RemError(
      fmt::format("{} incomplete reminders match \"{}\" - make name= unique (or scope with list=).", count, name));
}
RemError RemError::badDate(const std::string& text) {
  return RemError(fmt::format("can't parse due=\"{}\" - use YYYY-MM-DD or \"YYYY-MM-DD HH:MM\".", text));
}

std::string placeName(const std::optional<std::string>& list) {
  return list && !list->empty() ? fmt::format("list \"{}\"", *list) : "all lists";
}

std::string listAll() {
  struct Count {
    std::size_t active = 0, done = 0;
  };
  Store store;
  auto lists = store.lists();
  if (lists.empty()) return "(no reminder lists)";
  sortBy(lists, [](const auto& list) { return Text::listOrder(list.title); });
  std::map<std::string, Count> counts;
  for (const auto& reminder : store.reminders()) {
    auto& count = counts[reminder.calendar.calendarIdentifier];
    ++(reminder.isCompleted ? count.done : count.active);
  }
  std::vector<std::string> lines;
  for (const auto& list : lists) {
    const auto& count = counts[list.calendarIdentifier];
    lines.push_back(fmt::format("{} || active={} || done={}", onOneLine(list.title), count.active, count.done));
  }
  return Text::join(lines, "\n");
}

std::string find(const std::optional<std::string>& list, bool includeCompleted, long long limit) {
  Store store;
  auto reminders = remindersIn(store, list);
  if (!includeCompleted) std::erase_if(reminders, [](const auto& reminder) { return reminder.isCompleted; });
  if (reminders.empty()) return "(no reminders)";
  sortBy(reminders, [](const auto& reminder) { return dueDate(reminder).value_or(Dates::Instant::max()); });
  if (limit > 0 && reminders.size() > static_cast<unsigned long long>(limit))
    reminders.resize(static_cast<std::size_t>(limit));
  std::vector<std::string> lines;
  for (const auto& reminder : reminders) lines.push_back(lineOf(reminder));
  return Text::join(lines, "\n");
}

std::string update(const std::string& name, const std::optional<std::string>& list, const std::string& due) {
  Store store;
  auto reminder = onlyMatch(store, name, list);
  const auto parsed = parseDue(due);
  const auto old = dueDate(reminder);
  if (old) shiftAlarms(reminder, parsed.date - *old);
  reminder.dueDateComponents = parsed.components;
  store.save(reminder);
  return fmt::format("OK \"{}\" due {} -> {} (list \"{}\")", titleOf(reminder),
                     old ? Dates::localText(*old, Dates::Unit::day) : "(none)", due, titleOf(reminder.calendar));
}

void checkDay(const std::string& due) {
  const auto isNumber = [&](std::size_t place, std::size_t size) {
    return due.size() >= place + size && due.find_first_not_of("0123456789", place) >= place + size;
  };
  const auto month = isNumber(5, 2) ? std::stoi(due.substr(5, 2)) : 0;
  if (!isNumber(0, 4) || month < 1 || month > 12 || !isNumber(8, 2)) throw RemError::badDate(due);
}

std::string deleteList(const std::string& name) {
  Store store;
  const auto lists = listsTitled(store, name);
  for (const auto& list : lists) store.removeCalendar(list);
  store.commit();
  const auto deleted = fmt::format("OK deleted list \"{}\"", name);
  return lists.size() == 1 ? deleted : fmt::format("{} ({} lists shared that name)", deleted, lists.size());
}

std::string clearCompleted(const std::optional<std::string>& list) {
  Store store;
  const auto completed = completedIn(store, list);
  for (const auto& reminder : completed) store.remove(reminder);
  store.commit();
  return fmt::format("OK deleted {} completed reminder(s) from {}", completed.size(), placeName(list));
}

std::size_t listCount(const std::string& name) try {
  Store store;
  return remindersIn(store, name).size();
} catch (const std::exception&) {
  return 0;
}

std::size_t completedCount(const std::optional<std::string>& list) try {
  Store store;
  return completedIn(store, list).size();
} catch (const std::exception&) {
  return 0;
}

}  // namespace RemindersService
