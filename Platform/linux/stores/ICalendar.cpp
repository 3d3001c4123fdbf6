#include "Platform/linux/stores/ICalendar.h"

#include <algorithm>
#include <utility>

#include "Platform/Text.h"

namespace ICalendar {

using std::string_view;

namespace {

template <typename Part>
const Line* lineOf(const Part& part) {
  return std::get_if<Line>(&part);
}

bool isName(string_view name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
    const bool isOdd = c == '_';  // not in the standard, but in files
    return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || isOdd;
  });
}

}  // namespace

// ---- Components.

Component::Component(string_view name, string_view lineEnd)
    : name_(name), lineEnd_(lineEnd), begin_("BEGIN:" + name_ + lineEnd_), end_("END:" + name_ + lineEnd_) {}

Component::Pointer Component::copy() const {
  auto twin = std::make_shared<Component>(*this);
  for (auto& part : twin->parts_)
    if (auto* inner = std::get_if<Pointer>(&part)) *inner = (*inner)->copy();
  return twin;
}

const Line* Component::find(string_view name) const {
  for (const auto& part : parts_)
    if (const auto* line = lineOf(part); line != nullptr && line->name == name) return line;
  return nullptr;
}

std::vector<const Line*> Component::all(string_view name) const {
  auto found = lines();
  std::erase_if(found, [&](const Line* line) { return line->name != name; });
  return found;
}

std::vector<const Line*> Component::lines() const {
  std::vector<const Line*> found;
  for (const auto& part : parts_)
    if (const auto* line = lineOf(part)) found.push_back(line);
  return found;
}

std::optional<std::string> Component::text(string_view name) const {
  const auto* line = find(name);
  return line == nullptr ? std::nullopt : std::optional(line->text());
}

void Component::setText(string_view name, const std::optional<std::string>& text) {
  if (!text) return remove(name);
  const auto* old = find(name);
  // Another form of the text, which ALTREP names, would tell what it was before.
  const bool keepsParameters = old != nullptr && !old->parameterText("ALTREP");
  set(name, keepsParameters ? old->parameters : "", ContentLines::escaped(*text));
}

void Component::set(string_view name, string_view parameters, string_view escapedValue) {
  const auto place = lineNamed(name);
  if (place == parts_.end()) return add(name, parameters, escapedValue);
  *place = ContentLines::make(name, parameters, escapedValue, lineEnd_);
}

void Component::add(string_view name, string_view parameters, string_view escapedValue) {
  parts_.insert(firstComponent(), ContentLines::make(name, parameters, escapedValue, lineEnd_));
}

void Component::remove(string_view name) {
  std::erase_if(parts_, [&](const Part& part) { return lineOf(part) != nullptr && lineOf(part)->name == name; });
}

std::vector<Component::Pointer> Component::components() const {
  std::vector<Pointer> found;
  for (const auto& part : parts_)
    if (const auto* inner = std::get_if<Pointer>(&part)) found.push_back(*inner);
  return found;
}

std::vector<Component::Pointer> Component::components(string_view name) const {
  auto found = components();
  std::erase_if(found, [&](const Pointer& inner) { return inner->name() != name; });
  return found;
}

void Component::insert(const Pointer& component, const Component* neighbour) {
  auto place = std::find_if(parts_.begin(), parts_.end(), [&](const Part& part) {
    const auto* inner = std::get_if<Pointer>(&part);
    return inner != nullptr && inner->get() == neighbour;
  });
  if (place != parts_.end()) ++place;
  parts_.insert(place, component);
}

void Component::insertFirst(const Pointer& component) { parts_.insert(firstComponent(), component); }

void Component::remove(const Component& component) {
  removeIf([&](const Component& inner) { return &inner == &component; });
}

void Component::removeIf(const std::function<bool(const Component&)>& isGone) {
  std::erase_if(parts_, [&](const Part& part) {
    const auto* inner = std::get_if<Pointer>(&part);
    return inner != nullptr && isGone(**inner);
  });
}

void Component::appendBytes(std::string& bytes) const {
  bytes += begin_;
  for (const auto& part : parts_)
    if (const auto* line = lineOf(part))
      bytes += line->raw;
    else
      std::get<Pointer>(part)->appendBytes(bytes);
  bytes += end_;
}

std::string Component::bytes() const {
  std::string bytes;
  appendBytes(bytes);
  return bytes;
}

std::vector<Component::Part>::iterator Component::lineNamed(string_view name) {
  return std::find_if(parts_.begin(), parts_.end(),
                      [&](const Part& part) { return lineOf(part) != nullptr && lineOf(part)->name == name; });
}

std::vector<Component::Part>::iterator Component::firstComponent() {
  return std::find_if(parts_.begin(), parts_.end(), [](const Part& part) { return lineOf(part) == nullptr; });
}

// ---- Files.

/// Takes a file apart, line by line.
class Reader {
 public:
  std::optional<Document> read(string_view bytes) {
    constexpr string_view byteOrderMark = "\xEF\xBB\xBF";
    std::size_t at = bytes.starts_with(byteOrderMark) ? byteOrderMark.size() : 0;
    document_.before = bytes.substr(0, at);
    while (at < bytes.size())
      if (!take(ContentLines::parse(ContentLines::take(bytes, at)))) return std::nullopt;
    if (!open_.empty() || document_.calendars.empty()) return std::nullopt;
    return std::move(document_);
  }

 private:
  bool take(Line line) {
    if (line.name.empty()) return takeBlank(std::move(line));
    if (!line.group.empty() || line.raw.front() == '.' || !isName(line.name)) return false;  // calendars have no groups
    if (line.name == "BEGIN") return begin(line);
    if (open_.empty()) return false;
    if (line.name == "END") return end(line);
    open_.back()->parts_.emplace_back(std::move(line));
    return true;
  }

  bool takeBlank(Line line) {
    if (!Text::trim(line.raw).empty()) return false;
    if (!open_.empty())
      open_.back()->parts_.emplace_back(std::move(line));
    else
      (document_.calendars.empty() ? document_.before : document_.after) += line.raw;
    return true;
  }

  bool begin(const Line& line) {
    constexpr std::size_t deepest = 16;  // nobody goes beyond three
    const auto name = ContentLines::uppercase(Text::trim(line.value()));
    if (!isName(name) || open_.size() == deepest || open_.empty() != (name == "VCALENDAR")) return false;
    auto component = std::make_shared<Component>(name, line.raw.ends_with("\r\n") ? "\r\n" : "\n");
    component->begin_ = line.raw;
    if (open_.empty()) {
      component->begin_.insert(0, std::exchange(document_.after, {}));  // blank lines between two
      document_.calendars.push_back(component);
    } else {
      open_.back()->parts_.emplace_back(component);
    }
    open_.push_back(component.get());
    return true;
  }

  bool end(const Line& line) {
    if (ContentLines::uppercase(Text::trim(line.value())) != open_.back()->name_) return false;
    open_.back()->end_ = line.raw;
    open_.pop_back();
    return true;
  }

  Document document_;
  std::vector<Component*> open_;
};

std::string Document::bytes() const {
  auto bytes = before;
  for (const auto& calendar : calendars) calendar->appendBytes(bytes);
  return bytes + after;
}

std::optional<Document> parse(string_view bytes) { return Reader().read(bytes); }

}  // namespace ICalendar
