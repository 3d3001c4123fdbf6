// How the command ends, for the shell and for scripts, and the failure that carries such an end.
#pragma once

#include <string>
#include <utility>

#include "Platform/Error.h"

enum class ExitStatus {
  done = 0,
  failed = 1,  // also: the owner said no
  wrongUsage = 2,
  queued = 3,  // the action waits for the owner's approval
  denied = 4,  // by a rule, or because an automation asked for what is the owner's alone
};

/// Ends the command with a status and a text; main prints the text after "tavro: ".
class CommandError : public Error {
 public:
  CommandError(ExitStatus status, std::string description) : Error(std::move(description)), status_(status) {}
  ExitStatus status() const noexcept { return status_; }

 private:
  ExitStatus status_;
};
