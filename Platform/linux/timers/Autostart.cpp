#include "Platform/linux/timers/Autostart.h"

#include <fmt/format.h>

#include <string>

#include "Platform/Desktop.h"
#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Program.h"
#include "Platform/Text.h"

namespace {

std::filesystem::path file() { return Environment::userConfigDirectory() / "autostart/tavro-launchd.desktop"; }

/// An argument of an Exec line (Desktop Entries of freedesktop.org): escaped for its quotes, then as a text of the
/// file, in which a backslash is two; "%" is a field code.
std::string argument(std::string text) {
  for (const char* mark : {"\\", "\"", "`", "$"}) text = Text::replaceAll(text, mark, std::string("\\") + mark);
  text = Text::replaceAll(Text::replaceAll(text, "\\", "\\\\"), "%", "%%");
  return '"' + Text::replaceAll(Text::replaceAll(text, "\n", "\\n"), "\r", "\\r") + '"';
}

std::string entry() {
  const auto root = std::filesystem::absolute(Desktop::root()).string();
  return fmt::format(
      "[Desktop Entry]\n"
      "Type=Application\n"
      "Name=Tavro's timers\n"
      "Comment=Starts the automations that you have set up\n"
      "Exec=env {} {}\n"
      "NoDisplay=true\n",
      argument("TAVRO_DESKTOP=" + root), argument(Platform::program("launchd").string()));
}

}  // namespace

void Autostart::add() noexcept try {
  const auto text = entry();
  if (Files::readIfPossible(file()) == text) return;
  Files::createDirectories(file().parent_path());
  Files::replace(file(), text);
} catch (const std::exception&) {
}

void Autostart::remove() noexcept try { Files::remove(file()); } catch (const std::exception&) {
}
