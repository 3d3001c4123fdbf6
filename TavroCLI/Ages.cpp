#include "TavroCLI/Ages.h"

#include "TavroCLI/Terminal.h"
#include "TavroCore/harness/Timestamps.h"

namespace {

/// To the nearest, and never one of a larger unit: "90 min" and "36 h" say more than "2 h" and "2 days".
std::string rounded(Dates::Instant::duration age) {
  using namespace std::chrono;
  if (age < minutes(100)) return std::to_string(round<minutes>(age).count()) + " min";
  if (age < hours(48)) return std::to_string(round<hours>(age).count()) + " h";
  return std::to_string(round<days>(age).count()) + " days";
}

}  // namespace

std::string Ages::told(const std::string& timestamp) {
  const auto then = Timestamps::parseISO8601(timestamp);
  if (!then) return timestamp;
  const auto age = Dates::now() - *then;
  if (std::chrono::abs(age) < std::chrono::seconds(30)) return "just now";
  return age > age.zero() ? rounded(age) + " ago" : "in " + rounded(-age);
}

std::string Ages::listed(const std::string& timestamp) {
  return Terminal::outputIsTerminal() ? told(timestamp) : timestamp;
}
