// The files of a loop, read and written one by one: what the store, its runs and its timers share.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/JsonNames.h"
#include "TavroCore/automations/LoopFiles.h"

namespace LoopStore {

/// Nothing for a name that no loop can have.
std::optional<LoopFiles> named(std::string_view name);
/// Of a loop that is there. Throws EngineError::noSuchLoop.
LoopFiles existing(const std::string& name);

/// The object in a file; nothing when it can't be read, or is larger than any record that we write.
std::optional<Json> object(const std::filesystem::path& file);

/// Where there is a record already it stays; false then. Throws FileFailure.
bool createRecord(const LoopFiles& files, const Json& record);
/// Throws FileFailure.
void writeRecord(const LoopFiles& files, const Json& record);
/// An empty prompt leaves the stored one. A failure is passed over.
void writePrompt(const LoopFiles& files, const std::optional<std::string>& prompt) noexcept;

/// Reads the loop's state, lets it be changed and writes it back whole, one process at a time. A failure is passed
/// over.
void changeState(const LoopFiles& files, const std::function<void(Json& state)>& change) noexcept;
void writeEnabled(const LoopFiles& files, bool enabled) noexcept;

/// A step that may fail and costs only itself.
template <typename Step>
void attempt(const Step& step) noexcept try {
  step();
} catch (const std::exception&) {
}

}  // namespace LoopStore
