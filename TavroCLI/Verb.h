// A row of the table of verbs (Verbs.h).
#pragma once

#include <CLI/App.hpp>
#include <functional>
#include <vector>

#include "TavroCLI/ExitStatus.h"

/// What a verb does once its arguments are read. Throws Error; a CommandError names the exit status.
using Work = std::function<ExitStatus()>;

struct Verb {
  const char* name;
  const char* arguments;  // as the usage shows them
  const char* summary;
  /// Declares the options; they are read into records that the returned work keeps alive. Null for a verb that is
  /// only the head of `children`.
  Work (*declare)(CLI::App& command) = nullptr;
  std::vector<Verb> children = {};
  bool isForPrograms = false;  // then the overview leaves it out
};
