#include "Platform/linux/timers/SystemdUnits.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "Platform/Json.h"
#include "Platform/Text.h"

namespace {

using std::string;
using std::string_view;

constexpr string_view jobComment = "# launchd: ";

bool isControl(char c) { return (c >= 0 && c < ' ') || c == 127; }
bool hasControls(string_view text) { return std::any_of(text.begin(), text.end(), isControl); }

/// In quotes, with C's escapes. "%" would be a specifier of systemd's.
string inQuotes(string_view text) {
  string words = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') words += '\\';
    if (c == '%') words += '%';
    words += isControl(c) ? fmt::format("\\x{:02x}", static_cast<unsigned char>(c)) : string(1, c);
  }
  return words + '"';
}

/// A word of a command line, where "$" would name a variable.
string argument(string_view text) { return Text::replaceAll(inQuotes(text), "$", "$$"); }

/// A path that is the rest of its line knows neither quotes nor escapes.
string barePath(string_view key, const string& path) {
  if (hasControls(path) || path.ends_with('\\') || path.ends_with(' '))
    throw Error(
        fmt::format("{} can't be told to systemd, as it has a control character in it or ends in a blank or a "
                    "backslash: {}",
                    key, path));
  return Text::replaceAll(path, "%", "%%");
}

/// In the program's own path systemd refuses quotes and backslashes, and takes "$$" as it is; so a shell starts it.
string commandLine(const std::vector<string>& arguments) {
  const bool isPlain = arguments.front().find_first_of("\"'\\$") == string::npos && !hasControls(arguments.front());
  string line = isPlain ? "" : R"(/bin/sh -c "exec \"$$0\" \"$$@\"" )";
  for (const auto& word : arguments) line += (&word == &arguments.front() ? "" : " ") + argument(word);
  return line;
}

string assignment(const string& name, const string& value) {
  const auto isRefused = [](char c) { return isControl(c) && c != '\t' && c != '\n'; };
  if (std::any_of(value.begin(), value.end(), isRefused))
    throw Error("the variable " + name + " can't be told to systemd, as it has a control character in it");
  return "Environment=" + inQuotes(name + "=" + value) + "\n";
}

string field(const std::optional<int>& value, string_view form = "{}") {
  return value ? fmt::format(fmt::runtime(form), *value) : "*";
}

string calendarLine(const CalendarTime& time, const std::optional<int>& day, const std::optional<int>& weekday) {
  constexpr std::array<const char*, 7> names = {"Sun ", "Mon ", "Tue ", "Wed ", "Thu ", "Fri ", "Sat "};
  return fmt::format("OnCalendar={}*-{}-{} {}:{}:00\n", weekday ? names[static_cast<std::size_t>(*weekday) % 7] : "",
                     field(time.month, "{:02}"), field(day, "{:02}"), field(time.hour, "{:02}"),
                     field(time.minute, "{:02}"));
}

/// Of a day and a weekday systemd wants both, where either will do; two lines say that.
string calendarLines(const CalendarTime& time) {
  if (!time.day || !time.weekday) return calendarLine(time, time.day, time.weekday);
  return calendarLine(time, time.day, std::nullopt) + calendarLine(time, std::nullopt, time.weekday);
}

string unitSection(const LaunchJob& job) {
  auto label = Text::replaceAll(job.label, "\\", "/");  // one at the end would join the next line
  return "[Unit]\nDescription=" + Text::replaceAll(label, "%", "%%") + "\n\n";
}

}  // namespace

string SystemdUnits::service(const LaunchJob& job) {
  string text = string(jobComment) + JsonText::write(job.propertyList()) + "\n" + unitSection(job) +
                "[Service]\nExecStart=" + commandLine(job.arguments) + "\nKillMode=process\n";
  if (job.directory) text += "WorkingDirectory=" + barePath("WorkingDirectory", *job.directory) + "\n";
  if (job.output) text += "StandardOutput=append:" + barePath("StandardOutPath", *job.output) + "\n";
  if (job.errors) text += "StandardError=append:" + barePath("StandardErrorPath", *job.errors) + "\n";
  for (const auto& [name, value] : job.environment) text += assignment(name, value);
  if (job.runAtLoad) text += "\n[Install]\nWantedBy=default.target\n";
  return text;
}

string SystemdUnits::timer(const LaunchJob& job) {
  if (!job.interval && job.times.empty()) return "";
  string text = unitSection(job) + "[Timer]\nAccuracySec=1s\n";
  if (job.interval) text += fmt::format("OnActiveSec={0}s\nOnUnitActiveSec={0}s\n", job.interval->count());
  for (const auto& time : job.times) text += calendarLines(time);
  if (!job.times.empty()) text += "Persistent=true\n";
  return text + "\n[Install]\nWantedBy=timers.target\n";
}

std::optional<LaunchJob> SystemdUnits::jobOf(string_view service) {
  if (!service.starts_with(jobComment)) return std::nullopt;
  service.remove_prefix(jobComment.size());
  const auto list = JsonText::parse(service.substr(0, service.find('\n')));
  if (!list) return std::nullopt;
  try {
    return LaunchJob::read(*list);
  } catch (const Error&) {
    return std::nullopt;
  }
}
