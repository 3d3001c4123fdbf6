#include "TavroCore/automations/LoopStore.h"

#include <system_error>

#include "Platform/FileLock.h"
#include "Platform/Files.h"
#include "Platform/Json.h"
#include "TavroCore/automations/VendryEngine.h"
#include "TavroCore/harness/LoopName.h"

namespace LoopStore {
namespace {

/// Of two that change a state at once, the later would undo what the earlier wrote: an owner's pause, when a run ends
/// at that moment. Who holds the turn for a second is stuck, and isn't waited for.
void takeTurn(std::optional<FileLock>& turn, const std::filesystem::path& directory) {
  for (int attempt = 0; attempt < 100; ++attempt) {
    turn.emplace(directory);  // waits some milliseconds
    if (turn->state() != FileLock::State::takenByAnother) return;
  }
}

}  // namespace

std::optional<LoopFiles> named(std::string_view name) {
  return isSafeLoopName(name) ? std::optional<LoopFiles>(name) : std::nullopt;
}

LoopFiles existing(const std::string& name) {
  const auto files = named(name);
  if (!files || !Files::exists(files->record)) throw EngineError::noSuchLoop(name);
  return *files;
}

std::optional<Json> object(const std::filesystem::path& file) {
  constexpr std::uintmax_t largest = 16 << 20;  // a value takes many times its text in memory
  std::error_code failure;
  const auto size = std::filesystem::file_size(file, failure);
  if (failure || size > largest) return std::nullopt;
  return JsonText::parseObject(Files::readIfPossible(file).value_or(""));
}

bool createRecord(const LoopFiles& files, const Json& record) {
  Files::createDirectories(files.directory);
  return Files::createNew(files.record, JsonText::writePretty(record));
}

void writeRecord(const LoopFiles& files, const Json& record) {
  Files::createDirectories(files.directory);
  Files::replace(files.record, JsonText::writePretty(record));
}

void writePrompt(const LoopFiles& files, const std::optional<std::string>& prompt) noexcept {
  if (!prompt || prompt->empty()) return;
  attempt([&] {
    Files::createDirectories(files.directory);
    Files::replace(files.agent, *prompt);
  });
}

void changeState(const LoopFiles& files, const std::function<void(Json& state)>& change) noexcept {
  attempt([&] {
    const auto directory = files.state.parent_path();
    Files::createDirectories(directory);
    std::optional<FileLock> turn;
    attempt([&] { takeTurn(turn, directory); });
    Json state = object(files.state).value_or(Json::object());
    change(state);
    Files::replace(files.state, JsonText::write(state));
  });
}

void writeEnabled(const LoopFiles& files, bool enabled) noexcept {
  changeState(files, [&](Json& state) { state["enabled"] = enabled; });
}

}  // namespace LoopStore
