// iCalendar files (RFC 5545) that keep every byte which an edit doesn't touch: unknown properties, their order,
// foldings and line ends. Only a line whose value is set is written anew.
//
// A file that isn't valid has no document: BEGIN and END must match, what stands between them must be content
// lines, and everything must lie in VCALENDARs. So nothing is ever made of half a file, nor written over one.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Platform/linux/stores/ContentLines.h"

namespace ICalendar {

using ContentLines::Line;

/// VCALENDAR, VEVENT, VTODO, VALARM, VTIMEZONE or any other.
class Component : public std::enable_shared_from_this<Component> {
 public:
  using Pointer = std::shared_ptr<Component>;

  /// An empty one: its BEGIN and END.
  Component(std::string_view name, std::string_view lineEnd);
  /// With all that is in it.
  Pointer copy() const;

  const std::string& name() const { return name_; }  // upper case

  // Properties, by name in upper case.

  /// The first one, or null. Valid until the next change.
  const Line* find(std::string_view name) const;
  std::vector<const Line*> all(std::string_view name) const;
  /// Every one, in order.
  std::vector<const Line*> lines() const;
  /// Of the first one; nothing when there is none.
  std::optional<std::string> text(std::string_view name) const;

  /// Sets the first one or adds one; nothing removes all.
  void setText(std::string_view name, const std::optional<std::string>& text);
  void set(std::string_view name, std::string_view parameters, std::string_view escapedValue);
  void add(std::string_view name, std::string_view parameters, std::string_view escapedValue);
  void remove(std::string_view name);

  // Components.

  std::vector<Pointer> components() const;
  std::vector<Pointer> components(std::string_view name) const;
  /// Behind `neighbour`, or at the end where that is null.
  void insert(const Pointer& component, const Component* neighbour);
  void insertFirst(const Pointer& component);
  void remove(const Component& component);
  void removeIf(const std::function<bool(const Component&)>& isGone);

  void appendBytes(std::string& bytes) const;
  std::string bytes() const;

 private:
  friend class Reader;
  using Part = std::variant<Line, Pointer>;
  std::vector<Part>::iterator lineNamed(std::string_view name);
  std::vector<Part>::iterator firstComponent();

  std::string name_;
  std::string lineEnd_;
  std::string begin_;  // its line
  std::string end_;
  std::vector<Part> parts_;
};

struct Document {
  std::string before;                         // a byte order mark, blank lines
  std::vector<Component::Pointer> calendars;  // VCALENDARs, at least one
  std::string after;

  std::string bytes() const;
};

/// Nothing when the bytes are no valid file. Takes linear time.
std::optional<Document> parse(std::string_view bytes);

}  // namespace ICalendar
