// The Model Context Protocol over lines: JSON-RPC 2.0, one object a line, one reply a request. It maps
// the catalogue to MCP tools and a call to HarnessRunner::run, and makes no decision of its own: what
// an agent sees of the gate are the texts in Server.cpp.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "TavroCore/harness/Tool.h"
#include "TavroMCP/ShallowJson.h"

class Server {
 public:
  /// `tools` must outlive the server. Replies go to `stdoutHandle`, log lines to `stderrHandle`.
  Server(const std::vector<Tool>& tools, std::filesystem::path configDirURL, int stdoutHandle, int stderrHandle);

  /// Writes the line that tells the owner what was started.
  void logStart();
  /// Answers one line of input; `line` may hold any bytes.
  void handleLine(std::string line);
  /// False once nobody takes the replies; what a client asked for before it went needs no run then.
  bool hasReader() const { return hasReader_; }

 private:
  void initialize(const std::string& id, const ShallowJson::Object& params);
  void handleToolCall(const std::string& id, const ShallowJson::Object& params);

  void reply(const std::string& id, std::string_view result);
  void replyError(const std::string& id, int code, std::string_view message);
  void send(const std::string& response);
  void log(std::string_view message);

  std::map<std::string, const Tool*, std::less<>> toolsByMCPName_;
  std::filesystem::path configDirURL_;
  int stdoutHandle_;
  int stderrHandle_;
  bool hasReader_ = true;
  std::string toolsListResult_;  // the catalogue never changes while the process lives
};

/// The arguments of a call as texts by name: strings as they are, booleans as "true" and "false",
/// numbers in decimal, anything else as its JSON text.
Arguments stringArgs(const ShallowJson::Object& arguments);
