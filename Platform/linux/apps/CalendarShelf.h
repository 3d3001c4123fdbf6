// What Calendar and Reminders share: directories of items, each read once a script. What a script changes is changed
// here as well, so it need not be read again: ten thousand reminders are ticked off with ten thousand small writes and
// one reading. What other programs change meanwhile is met by the store, which then writes nothing.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "Platform/Text.h"
#include "Platform/linux/apps/DesktopApplication.h"
#include "Platform/linux/stores/CalendarStore.h"

namespace CalendarShelf {

/// An event or a reminder. It stays the same one, wherever in its file it moves.
template <class Stored>
struct Item {
  Stored stored;
  std::string id;  // unique in its shelf
  bool isGone = false;
};

/// A calendar or a list.
template <class Stored>
class Shelf {
 public:
  using ItemPtr = std::shared_ptr<Item<Stored>>;

  explicit Shelf(CalendarStore::Collection of) : collection(std::move(of)) {}

  /// `read` is asked once.
  template <class Read>
  const std::vector<ItemPtr>& items(Read read) {
    if (isRead_) return items_;
    std::map<std::string, ItemPtr> made;  // by the script, before it looked; each in a file of its own
    for (auto& item : items_) made.emplace(item->stored.place.file, std::move(item));
    items_.clear();
    byFile_.clear();
    for (auto& stored : read()) {
      const auto known = made.find(stored.place.file);
      known == made.end() ? void(add(std::move(stored))) : keep(known->second);
    }
    isRead_ = true;
    return items_;
  }

  ItemPtr add(Stored stored) {
    const auto& place = stored.place;
    // The UID, unless the file has none or another item has it too.
    auto id = !place.uid.empty() && !ids_.contains(place.uid) ? place.uid
                                                              : place.file + "#" + std::to_string(place.index + 1);
    ids_.insert(id);
    keep(std::make_shared<Item<Stored>>(Item<Stored>{std::move(stored), Text::repairUTF8(std::move(id))}));
    return items_.back();
  }

  /// It has been removed from its file, where those behind it have moved up.
  void remove(const ItemPtr& gone) {
    gone->isGone = true;
    std::erase(items_, gone);
    const auto& from = gone->stored.place;
    auto& neighbours = byFile_[from.file];
    std::erase(neighbours, gone);
    for (const auto& item : neighbours)
      if (item->stored.place.index > from.index) --item->stored.place.index;
  }

  CalendarStore::Collection collection;
  bool isGone = false;

 private:
  void keep(const ItemPtr& item) {
    items_.push_back(item);
    byFile_[item->stored.place.file].push_back(item);
  }

  bool isRead_ = false;
  std::vector<ItemPtr> items_;
  std::unordered_map<std::string, std::vector<ItemPtr>> byFile_;
  std::set<std::string> ids_;
};

// ---- Dates and texts. A script's date is what a clock on the local wall shows.

/// Throws -10006 for a date that no file can hold.
ICalendar::Wall wall(AppleScript::Date date);
Dates::Instant instant(AppleScript::Date date);

AppleScript::Value textOrMissing(const std::optional<std::string>& text);
AppleScript::Value dateOrMissing(const std::optional<Dates::Instant>& instant);
std::optional<std::string> optionalText(const AppleScript::Value& value);  // nothing of missing value
std::optional<Dates::Instant> optionalInstant(const AppleScript::Value& value);

/// What a calendar or a list is to be called. Throws -10006 for a name of blanks.
std::string title(const AppleScript::Value& value, std::string_view className);

}  // namespace CalendarShelf
