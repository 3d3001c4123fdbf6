// One thing that an agent may ask for: a plain record of an id, a text for the agent, an effect class
// and a handful of closures. The gate decides on the record alone and knows no tool by name.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Error.h"

/// What an action does to the owner's things; the class that the gate decides on.
enum class Effect { read, create, destructive };
std::string_view rawValue(Effect effect);                         // "read", "create", "destructive"
std::optional<Effect> effectFromRawValue(std::string_view text);  // exactly these three

/// Tool arguments are always texts by name.
using Arguments = std::map<std::string, std::string>;

/// A missing or bad argument.
class ToolError : public Error {
 public:
  static ToolError missingArg(const std::string& name);  // "missing required argument: <name>"
  static ToolError badArg(const std::string& message);

 private:
  using Error::Error;
};

struct Script {
  std::string text;
  std::vector<std::string> argv;
};

struct Tool {
  std::string id;                       // dotted: "mail.send"; the MCP name has "_" instead
  std::string summary;                  // all that the agent is told of the tool and its arguments
  Effect effect = Effect::destructive;  // so that one whose author forgot it waits

  /// Checks the arguments and gives the script to run. A tool with a `nativeRun` uses it as its check
  /// only and gives an empty script. Throws ToolError.
  std::function<Script(const Arguments&)> build;
  /// Runs in this process instead of a script. Throws Error.
  std::function<std::string(const Arguments&)> nativeRun = nullptr;
  /// What the action would touch; asked only when it is queued.
  std::function<std::optional<std::string>(const Arguments&)> preview = nullptr;
  /// Applied to a successful output before it is returned and audited.
  std::function<std::string(const std::string&)> transform = nullptr;
  /// When it says false of a successful output, the run leaves no audit line.
  std::function<bool(const std::string&)> auditAutoRun = nullptr;
};

/// The tool's `build`. Throws ToolError; of a tool that runs a script also for an argument too long for a process.
Script buildScript(const Tool& tool, const Arguments& args);
/// Throws ToolError for an argument that is too long for a process; it names the argument, as the system doesn't.
void refuseTooLong(const Arguments& args);

/// For tools that run natively: checks that these arguments are there, and builds nothing.
std::function<Script(const Arguments&)> requiring(std::vector<std::string> keys);

/// The argument, or the empty text when it is absent.
const std::string& argument(const Arguments& args, const std::string& key);
/// The argument; nothing when it is absent or empty.
std::optional<std::string> nonEmptyArgument(const Arguments& args, const std::string& key);
/// The argument. Throws ToolError::missingArg when it is absent or empty.
const std::string& requiredArgument(const Arguments& args, const std::string& key);
/// A whole number as text, for a script; `fallback` when the argument is absent, empty or can't be read.
/// One that is larger than the script language's integers becomes the largest of them.
std::string integerArgument(const Arguments& args, const std::string& key, long long fallback);
