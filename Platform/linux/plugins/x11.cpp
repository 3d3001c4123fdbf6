// What an X server tells of monitors and windows, as the module Contents/PlugIns/x11.so.
//
// Each question has a connection of its own on a thread of its own, since to connect may take as long as a server, or
// a network, likes: who asks gets no answer then, and the thread ends with the process at the latest.
#include <xcb/randr.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

#include "Platform/Screens.h"
#include "Platform/linux/PlugIn.h"
#include "Platform/linux/terminal/WindowPlacement.h"

namespace {

using WindowPlacement::Bounds;
using WindowPlacement::Window;

constexpr xcb_window_t noWindow = XCB_WINDOW_NONE;
constexpr auto patience = std::chrono::seconds(3);

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
template <class Answer>
using Reply = std::unique_ptr<Answer, Free>;

struct Rectangle {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  int border = 0;  // of a window
};

struct Monitor : Rectangle {
  bool isPrimary = false;
};

/// How far a window's frame goes beyond it.
struct Frame {
  int left = 0;
  int right = 0;
  int top = 0;
  int bottom = 0;
};

/// A connection, and what we ask over it. A request that fails has no reply, which reads as nothing.
class Server {
 public:
  Server() : connection_(xcb_connect(nullptr, &number_)) {}
  ~Server() { xcb_disconnect(connection_); }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  bool isThere() {
    if (xcb_connection_has_error(connection_) != 0) return false;
    auto each = xcb_setup_roots_iterator(xcb_get_setup(connection_));
    for (; each.rem > 0 && number_ > 0; --number_) xcb_screen_next(&each);
    screen_ = each.rem > 0 ? each.data : nullptr;
    return screen_ != nullptr;
  }

  std::vector<Monitor> monitors();
  /// Of the first monitor that is the primary; without one, of the first of all.
  Rectangle primary();

  xcb_window_t clientWindow(const Window& window);
  Rectangle place(xcb_window_t window);
  Frame frame(xcb_window_t window);
  void configure(xcb_window_t window, const Rectangle& to);
  void raise(xcb_window_t window);

 private:
  xcb_atom_t atom(std::string_view name) {
    const auto asked = xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(name.size()), name.data());
    const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection_, asked, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
  }
  std::vector<std::uint32_t> numbers(xcb_window_t window, std::string_view property);
  std::vector<xcb_window_t> children(xcb_window_t window, xcb_window_t* parent = nullptr);
  bool hasState(xcb_window_t window) { return !numbers(window, "WM_STATE").empty(); }
  xcb_window_t aroundOf(xcb_window_t window);
  std::optional<pid_t> processOf(xcb_window_t window);
  std::vector<xcb_window_t> clients();
  xcb_window_t onlyOneOf(const std::vector<pid_t>& processes);

  int number_ = 0;
  xcb_connection_t* connection_;
  xcb_screen_t* screen_ = nullptr;
};

// ---- Monitors

std::vector<Monitor> Server::monitors() {
  const auto asked = xcb_randr_get_monitors(connection_, screen_->root, 1);
  const Reply<xcb_randr_get_monitors_reply_t> reply(xcb_randr_get_monitors_reply(connection_, asked, nullptr));
  std::vector<Monitor> found;
  if (reply) {
    for (auto each = xcb_randr_get_monitors_monitors_iterator(reply.get()); each.rem > 0;
         xcb_randr_monitor_info_next(&each))
      found.push_back({{each.data->x, each.data->y, each.data->width, each.data->height, 0}, each.data->primary != 0});
  }
  // A server without RandR 1.5 has its one screen.
  if (found.empty()) found.push_back({{0, 0, screen_->width_in_pixels, screen_->height_in_pixels, 0}, true});
  return found;
}

Rectangle Server::primary() {
  const auto all = monitors();
  const auto primary = std::ranges::find_if(all, &Monitor::isPrimary);
  return primary == all.end() ? all.front() : *primary;
}

// ---- Windows

std::vector<std::uint32_t> Server::numbers(xcb_window_t window, std::string_view property) {
  constexpr std::uint32_t most = 65536;
  const auto name = atom(property);
  const auto asked = xcb_get_property(connection_, 0, window, name, XCB_GET_PROPERTY_TYPE_ANY, 0, most);
  const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection_, asked, nullptr));
  if (!reply || reply->format != 32) return {};
  const auto* values = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
  return {values, values + reply->value_len};
}

std::vector<xcb_window_t> Server::children(xcb_window_t window, xcb_window_t* parent) {
  const Reply<xcb_query_tree_reply_t> reply(
      xcb_query_tree_reply(connection_, xcb_query_tree(connection_, window), nullptr));
  if (parent != nullptr) *parent = reply ? reply->parent : noWindow;
  if (!reply) return {};
  const auto* first = xcb_query_tree_children(reply.get());
  return {first, first + xcb_query_tree_children_length(reply.get())};
}

/// The window that a window manager knows, or would: emulators tell the number of one inside of it, too. None when
/// there is no such window.
xcb_window_t Server::aroundOf(xcb_window_t window) {
  while (window != noWindow && !hasState(window)) {
    xcb_window_t parent = noWindow;
    children(window, &parent);
    if (parent == noWindow) return noWindow;
    if (parent == screen_->root) break;
    window = parent;
  }
  return window;
}

std::optional<pid_t> Server::processOf(xcb_window_t window) {
  const auto told = numbers(window, "_NET_WM_PID");
  return told.empty() ? std::nullopt : std::optional(static_cast<pid_t>(told.front()));
}

std::vector<xcb_window_t> Server::clients() {
  const auto listed = numbers(screen_->root, "_NET_CLIENT_LIST");
  return listed.empty() ? children(screen_->root) : listed;  // without a window manager
}

/// A process may have the windows of several terminals, which can't be told apart then.
xcb_window_t Server::onlyOneOf(const std::vector<pid_t>& processes) {
  std::vector<std::pair<pid_t, xcb_window_t>> owned;
  for (const auto window : clients())
    if (const auto process = processOf(window)) owned.emplace_back(*process, window);
  for (const auto process : processes) {
    const auto isIts = [&](const auto& entry) { return entry.first == process; };
    const auto count = std::ranges::count_if(owned, isIts);
    if (count > 0) return count == 1 ? std::ranges::find_if(owned, isIts)->second : noWindow;
  }
  return noWindow;
}

xcb_window_t Server::clientWindow(const Window& window) {
  const auto told = aroundOf(window.number);
  const auto owner = told == noWindow ? std::nullopt : processOf(told);
  const bool isOurs = !owner || std::ranges::find(window.processes, *owner) != window.processes.end();
  return told != noWindow && isOurs ? told : onlyOneOf(window.processes);
}

Rectangle Server::place(xcb_window_t window) {
  const auto size = xcb_get_geometry(connection_, window);
  const auto origin = xcb_translate_coordinates(connection_, window, screen_->root, 0, 0);
  const Reply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(connection_, size, nullptr));
  const Reply<xcb_translate_coordinates_reply_t> corner(xcb_translate_coordinates_reply(connection_, origin, nullptr));
  if (!geometry || !corner) return {};
  return {corner->dst_x, corner->dst_y, geometry->width, geometry->height, geometry->border_width};
}

/// Without a window manager its border, which lies around a window's own place.
Frame Server::frame(xcb_window_t window) {
  const auto told = numbers(window, "_NET_FRAME_EXTENTS");
  if (told.size() != 4) {
    const int border = place(window).border;
    return {border, border, border, border};
  }
  const auto width = [&](std::size_t side) { return static_cast<int>(std::min(told[side], 1000U)); };
  return {.left = width(0), .right = width(1), .top = width(2), .bottom = width(3)};
}

void Server::configure(xcb_window_t window, const Rectangle& to) {
  const std::array<std::uint32_t, 4> values = {static_cast<std::uint32_t>(to.x), static_cast<std::uint32_t>(to.y),
                                               static_cast<std::uint32_t>(to.width),
                                               static_cast<std::uint32_t>(to.height)};
  xcb_configure_window(connection_, window,
                       XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                       values.data());
  place(window);  // whose reply comes after it is done
}

/// Asked of the window manager, and done where there is none.
void Server::raise(xcb_window_t window) {
  const std::uint32_t above = XCB_STACK_MODE_ABOVE;
  xcb_configure_window(connection_, window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
  xcb_client_message_event_t message{};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = window;
  message.type = atom("_NET_ACTIVE_WINDOW");
  message.data.data32[0] = 2;  // the owner's wish, as a pager's would be
  xcb_send_event(connection_, 0, screen_->root,
                 XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                 reinterpret_cast<const char*>(&message));
  place(window);
}

// ---- The answers

/// What `work` makes of the server; nothing when there is none or it takes too long.
template <class Answer>
std::optional<Answer> ask(std::function<Answer(Server&)> work) {
  std::packaged_task<std::optional<Answer>()> task([work]() -> std::optional<Answer> {
    Server server;
    return server.isThere() ? std::optional(work(server)) : std::nullopt;
  });
  auto answer = task.get_future();
  try {
    std::thread(std::move(task)).detach();
  } catch (const std::system_error&) {
    return std::nullopt;
  }
  return answer.wait_for(patience) == std::future_status::ready ? answer.get() : std::nullopt;
}

Bounds boundsOf(Server& server, xcb_window_t window) {
  const auto origin = server.primary();
  const auto inside = server.place(window);
  const auto frame = server.frame(window);
  const int left = inside.x - origin.x, top = inside.y - origin.y;
  return {.left = left - frame.left,
          .top = top - frame.top,
          .right = left + inside.width + frame.right,
          .bottom = top + inside.height + frame.bottom};
}

/// X has 16 bits for each; a script may name anything.
void moveTo(Server& server, xcb_window_t window, const Bounds& bounds) {
  const auto fit = [](long long value, long long least) {
    return static_cast<int>(std::clamp<long long>(value, least, 32767));
  };
  const auto origin = server.primary();
  const auto frame = server.frame(window);
  const long long width = static_cast<long long>(bounds.right) - bounds.left - frame.left - frame.right;
  const long long height = static_cast<long long>(bounds.bottom) - bounds.top - frame.top - frame.bottom;
  const int x = fit(static_cast<long long>(bounds.left) + origin.x, -32768);
  const int y = fit(static_cast<long long>(bounds.top) + origin.y, -32768);
  server.configure(window, {x, y, fit(width, 1), fit(height, 1), 0});
}

/// Does `work` with the window; false when it can't be found.
bool with(const Window& wanted, std::function<void(Server&, xcb_window_t)> work) {
  const auto done = ask<bool>([wanted, work = std::move(work)](Server& server) {
    const auto window = server.clientWindow(wanted);
    if (window != noWindow) work(server, window);
    return window != noWindow;
  });
  return done.value_or(false);
}

/// Upward from the primary's lower left corner.
std::vector<Screens::Screen> screens(Server& server) {
  const auto origin = server.primary();
  bool hasMain = false;
  std::vector<Screens::Screen> all;
  for (const auto& monitor : server.monitors()) {
    const bool isMain = !hasMain && monitor.x == origin.x && monitor.y == origin.y && monitor.width == origin.width &&
                        monitor.height == origin.height;
    hasMain = hasMain || isMain;
    all.push_back({.x = static_cast<double>(monitor.x - origin.x),
                   .y = static_cast<double>(origin.y + origin.height - monitor.y - monitor.height),
                   .width = static_cast<double>(monitor.width),
                   .height = static_cast<double>(monitor.height),
                   .isMain = isMain});
  }
  return all;
}

}  // namespace

TAVRO_PLUG_IN std::vector<Screens::Screen>* x11Monitors() {
  auto found = ask<std::vector<Screens::Screen>>(screens);
  return new std::vector<Screens::Screen>(found ? std::move(*found) : std::vector<Screens::Screen>());
}

TAVRO_PLUG_IN bool x11WindowBounds(const Window& wanted, Bounds* const& result) {
  auto found = ask<std::optional<Bounds>>([wanted](Server& server) -> std::optional<Bounds> {
    const auto window = server.clientWindow(wanted);
    return window == noWindow ? std::nullopt : std::optional(boundsOf(server, window));
  });
  if (!found || !*found) return false;
  *result = **found;
  return true;
}

TAVRO_PLUG_IN bool x11PlaceWindow(const Window& wanted, const Bounds& bounds) {
  return with(wanted, [bounds](Server& server, xcb_window_t window) { moveTo(server, window, bounds); });
}

TAVRO_PLUG_IN bool x11RaiseWindow(const Window& wanted) {
  return with(wanted, [](Server& server, xcb_window_t window) { server.raise(window); });
}
