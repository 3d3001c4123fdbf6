#include "Platform/linux/apps/TerminalWindows.h"

#include <fcntl.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>

#include "Platform/linux/terminal/ProcessTree.h"
#include "Platform/linux/terminal/WindowPlacement.h"
#include "Platform/posix/Descriptor.h"

using namespace AppleScript;

namespace {

constexpr std::array<std::string_view, 3> kinds = {"window", "tab", "session"};

/// The lines and columns of a terminal that others have open.
winsize sizeOf(const std::string& tty) {
  winsize size{};
  const Descriptor terminal(::open(tty.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (terminal.isOpen()) ::ioctl(terminal.number(), TIOCGWINSZ, &size);
  return size;
}

WindowPlacement::Bounds asBounds(const Value& value) {
  const auto* list = value.list();
  if (list == nullptr || list->size() != 4)
    throw ScriptError(ErrorNumber::cannotCoerce, "Can’t make " + sourceForm(value) + " into type bounding rectangle.");
  const auto side = [&](std::size_t index) {
    return static_cast<int>(std::clamp<std::int64_t>(asInteger((*list)[index]), -1'000'000, 1'000'000));
  };
  return {.left = side(0), .top = side(1), .right = side(2), .bottom = side(3)};
}

/// A window, its tab or its session.
class Part : public DesktopObject {
 public:
  Part(DesktopApplication& owner, TerminalSession shown, std::string_view kind)
      : DesktopObject(owner), session(std::move(shown)), owner_(owner), kind_(kind) {}

  std::string className() const override { return std::string(kind_); }
  std::string specifier() const override {
    const auto window = "window id " + std::to_string(session.process);
    if (kind_ == "window") return window;
    const auto tab = "tab 1 of " + window;
    return kind_ == "tab" ? tab : "session id " + DesktopValues::quoted(session.id) + " of " + tab;
  }
  bool exists() override { return TerminalSessions::isThere(session); }

  Value property(std::string_view name) override;
  void setProperty(std::string_view name, const Value& value) override;
  /// What has gone has nothing in it: a window may close while a script goes through them all.
  std::vector<ObjectPtr> elements(std::string_view className) override {
    if (!exists()) return {};
    return {part(className)};
  }

  const TerminalSession session;

 private:
  ObjectPtr part(std::string_view className) const;
  std::int64_t index() const;
  Value bounds() const;
  Value identifier() const;

  DesktopApplication& owner_;
  std::string_view kind_;
};

ObjectPtr Part::part(std::string_view className) const {
  return std::make_shared<Part>(owner_, session, *std::ranges::find(kinds, className));
}

/// Among the windows, or of the tab in its window.
std::int64_t Part::index() const {
  if (kind_ != "window") return 1;
  const auto all = TerminalSessions::all(session.application);
  const auto found = std::ranges::find(all, session.id, &TerminalSession::id);
  return found - all.begin() + 1;
}

Value Part::bounds() const {
  const auto found = WindowPlacement::bounds(TerminalSessions::window(session));
  if (!found) return Missing();
  return List{found->left, found->top, found->right, found->bottom};
}

Value Part::identifier() const {
  if (kind_ == "window") return std::int64_t{session.process};
  return session.id;
}

Value Part::property(std::string_view name) {
  if (name == "id" || name == "unique ID") return identifier();
  if (name == "tty") return session.tty;
  if (name == "bounds") return bounds();
  if (name == "index") return index();
  if (name == "frontmost") return index() == 1;
  if (name == "current tab" || name == "selected tab") return part("tab");
  if (name == "current session") return part("session");
  if (name == "name") return ProcessTree::foreground(session.shell);
  if (name == "columns") return sizeOf(session.tty).ws_col;
  if (name == "rows") return sizeOf(session.tty).ws_row;
  if (name == "visible" || name == "selected") return exists();
  const auto running = ProcessTree::session(session.shell);
  if (name == "busy" || name == "is processing") return running.size() > 1;
  return List(running.begin(), running.end());  // processes
}

void Part::setProperty(std::string_view name, const Value& value) {
  if (name == "bounds") return WindowPlacement::place(TerminalSessions::window(session), asBounds(value));
  if (name == "index" ? asInteger(value) == 1 : asBoolean(value)) TerminalSessions::bringToFront(session);
}

const TerminalSession& sessionOf(const Object& object) {
  const auto* part = dynamic_cast<const Part*>(&object);
  if (part == nullptr) throw ScriptError(ErrorNumber::notUnderstood, object.specifier() + " has no terminal.");
  return part->session;
}

}  // namespace

const std::vector<PropertyTerm> TerminalWindows::windowProperties = {
    {"id"}, {"name"}, {"bounds", true}, {"index", true}, {"frontmost", true}, {"visible"}};

Value TerminalApplication::ownProperty(std::string_view) {
  const auto all = TerminalSessions::all(name());
  if (all.empty()) return Missing();
  return ObjectPtr(std::make_shared<Part>(*this, all.front(), "window"));
}

std::vector<ObjectPtr> TerminalApplication::ownElements(std::string_view className) {
  const auto kind = *std::ranges::find(kinds, className);
  std::vector<ObjectPtr> found;
  for (auto& session : TerminalSessions::all(name()))
    found.push_back(std::make_shared<Part>(*this, std::move(session), kind));
  return found;
}

ObjectPtr TerminalApplication::open(std::string_view className, const std::string& command) {
  auto session = TerminalSessions::open({.application = name(), .command = command});
  return std::make_shared<Part>(*this, std::move(session), *std::ranges::find(kinds, className));
}

void TerminalApplication::type(const Object& into, const std::string& text) {
  TerminalSessions::type(sessionOf(into), text);
}

Value TerminalApplication::execute(const Command& command) {
  const bool closes = command.name == "close";
  if (!closes && command.name != "select") DesktopValues::notUnderstood(command);
  for (const auto& object : DesktopValues::objects(command)) {
    const auto& session = sessionOf(*object);
    if (!object->exists()) DesktopValues::cannotGet(*object);
    closes ? static_cast<void>(TerminalSessions::close(session)) : TerminalSessions::bringToFront(session);
  }
  return {};
}
