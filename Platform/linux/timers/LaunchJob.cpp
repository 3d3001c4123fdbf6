// One table of keys: each row checks its value and takes it over.
#include "Platform/linux/timers/LaunchJob.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "Platform/Json.h"
#include "Platform/Text.h"

namespace {

using std::string;

std::string_view asView(const Json& value) { return value.get_ref<const string&>(); }

string text(const string& key, const Json& value) {
  if (!value.is_string()) throw Error(key + " isn't a text");
  const auto words = asView(value);
  if (words.find('\0') != string::npos) throw Error(key + " has a NUL byte in it");
  if (!Text::isValidUTF8(words)) throw Error(key + " isn't UTF-8");
  return string(words);
}

string absolutePath(const string& key, const Json& value) {
  auto path = text(key, value);
  if (!path.starts_with('/')) throw Error(fmt::format("{} isn't an absolute path: {}", key, path));
  return path;
}

bool flag(const string& key, const Json& value) {
  if (!value.is_boolean()) throw Error(key + " is neither true nor false");
  return value.get<bool>();
}

long long number(const string& key, const Json& value, long long least, long long most) {
  if (!value.is_number_integer()) throw Error(key + " isn't a whole number");
  const bool tooLarge = value.is_number_unsigned() && value.get<std::uint64_t>() > static_cast<std::uint64_t>(most);
  if (tooLarge || value.get<std::int64_t>() < least || value.get<std::int64_t>() > most)
    throw Error(fmt::format("{} isn't from {} to {}", key, least, most));
  return value.get<std::int64_t>();
}

string label(const string& key, const Json& value) {
  constexpr std::size_t longest = 255;
  auto words = text(key, value);
  const auto isControl = [](char c) { return (c >= 0 && c < ' ') || c == 127; };
  if (words.empty() || words.size() > longest || std::any_of(words.begin(), words.end(), isControl))
    throw Error(fmt::format("{} must have 1 to {} bytes and no control characters", key, longest));
  return words;
}

std::vector<string> arguments(const string& key, const Json& value) {
  if (!value.is_array() || value.empty()) throw Error(key + " names no program");
  std::vector<string> words = {absolutePath("the program of " + key, value.front())};
  for (std::size_t at = 1; at < value.size(); ++at) words.push_back(text(key, value[at]));
  return words;
}

struct CalendarKey {
  const char* name;
  int least;
  int most;
  std::optional<int> CalendarTime::*field;
};
constexpr std::array<CalendarKey, 5> calendarKeys = {{{"Month", 1, 12, &CalendarTime::month},
                                                      {"Day", 1, 31, &CalendarTime::day},
                                                      {"Weekday", 0, 7, &CalendarTime::weekday},
                                                      {"Hour", 0, 23, &CalendarTime::hour},
                                                      {"Minute", 0, 59, &CalendarTime::minute}}};

CalendarTime calendarTime(const string& key, const Json& value) {
  if (!value.is_object()) throw Error(key + " is neither a dictionary nor an array of such");
  CalendarTime time;
  for (const auto& [name, field] : value.items()) {
    const auto* const known = std::find_if(calendarKeys.begin(), calendarKeys.end(),
                                           [&name = name](const auto& entry) { return entry.name == name; });
    if (known == calendarKeys.end()) throw Error(fmt::format("{} has the unknown key {}", key, name));
    time.*known->field = static_cast<int>(number(key + "'s " + name, field, known->least, known->most));
  }
  return time;
}

std::vector<CalendarTime> calendarTimes(const string& key, const Json& value) {
  constexpr std::size_t most = 1000;
  if (!value.is_array()) return {calendarTime(key, value)};
  if (value.size() > most) throw Error(fmt::format("{} has more than {} times", key, most));
  std::vector<CalendarTime> times;
  for (const auto& entry : value) times.push_back(calendarTime(key, entry));
  return times;
}

std::map<string, string> environment(const string& key, const Json& value) {
  if (!value.is_object()) throw Error(key + " isn't a dictionary");
  std::map<string, string> variables;
  for (const auto& [name, words] : value.items()) {
    const auto isNameByte = [](char c) {
      return c == '_' || (c >= '0' && c <= '9') || ((c | 32) >= 'a' && (c | 32) <= 'z');
    };
    if (name.empty() || !std::all_of(name.begin(), name.end(), isNameByte) || (name[0] >= '0' && name[0] <= '9'))
      throw Error(fmt::format("{} has a name that no variable can have: {}", key, name));
    variables[name] = text(name + " in " + key, words);
  }
  return variables;
}

using Take = void (*)(LaunchJob&, const string&, const Json&);
const std::map<string, Take, std::less<>>& keys() {
  static const std::map<string, Take, std::less<>> table = {
      {"Label", [](auto& job, auto& key, auto& value) { job.label = label(key, value); }},
      {"ProgramArguments", [](auto& job, auto& key, auto& value) { job.arguments = arguments(key, value); }},
      {"RunAtLoad", [](auto& job, auto& key, auto& value) { job.runAtLoad = flag(key, value); }},
      {"ProcessType", [](auto&, auto& key, auto& value) { text(key, value); }},  // a hint that we have no use for
      {"StandardOutPath", [](auto& job, auto& key, auto& value) { job.output = absolutePath(key, value); }},
      {"StandardErrorPath", [](auto& job, auto& key, auto& value) { job.errors = absolutePath(key, value); }},
      {"WorkingDirectory", [](auto& job, auto& key, auto& value) { job.directory = absolutePath(key, value); }},
      {"EnvironmentVariables", [](auto& job, auto& key, auto& value) { job.environment = environment(key, value); }},
      {"StartCalendarInterval", [](auto& job, auto& key, auto& value) { job.times = calendarTimes(key, value); }},
      {"StartInterval", [](auto& job, auto& key,
                           auto& value) { job.interval = std::chrono::seconds(number(key, value, 1, 1LL << 31)); }},
  };
  return table;
}

Json dictionary(const CalendarTime& time) {
  Json entry = Json::object();
  for (const auto& key : calendarKeys)
    if (time.*key.field) entry[key.name] = *(time.*key.field);
  return entry;
}

/// FNV-1a. Whoever makes two long labels of one number has two jobs of one name, of which the later isn't loaded.
std::uint64_t numberOf(std::string_view bytes) {
  std::uint64_t hash = 14695981039346656037U;
  for (const char byte : bytes) hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211U;
  return hash;
}

bool standsInNames(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == ':' || c == '_' || c == '.';
}

}  // namespace

LaunchJob LaunchJob::read(const Json& propertyList) {
  if (!propertyList.is_object()) throw Error("it isn't a dictionary");
  for (const char* needed : {"Label", "ProgramArguments"})
    if (!propertyList.contains(needed)) throw Error(fmt::format("it has no {}", needed));
  LaunchJob job;
  for (const auto& [key, value] : propertyList.items()) {
    const auto known = keys().find(key);
    if (known == keys().end()) throw Error(fmt::format("it asks for {}, which isn't served here", key));
    known->second(job, key, value);
  }
  return job;
}

Json LaunchJob::propertyList() const {
  Json list = {{"Label", label}, {"ProgramArguments", arguments}, {"RunAtLoad", runAtLoad}};
  if (interval) list["StartInterval"] = interval->count();
  for (const auto& time : times) list["StartCalendarInterval"].push_back(dictionary(time));
  if (output) list["StandardOutPath"] = *output;
  if (errors) list["StandardErrorPath"] = *errors;
  if (directory) list["WorkingDirectory"] = *directory;
  if (!environment.empty()) list["EnvironmentVariables"] = environment;
  return list;
}

std::string JobName::escaped(std::string_view label) {
  constexpr std::size_t longest = 160;  // a file's name has 255 bytes, and suffixes and temporary names add theirs
  constexpr std::size_t kept = longest - 17;
  string name;
  for (const char c : label) {
    const bool stands = standsInNames(c) && !(c == '.' && name.empty());
    name += c == '/' ? "-" : stands ? string(1, c) : fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
  }
  if (name.size() <= longest) return name;
  return fmt::format("{}-{:016x}", name.substr(0, kept), numberOf(label));
}
