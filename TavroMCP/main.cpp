// tavro-mcp: an agent's client starts it and speaks MCP with it over standard input and output. It
// opens nothing until the first tool call, and ends with the end of its input.
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "Platform/Environment.h"
#include "TavroCore/harness/ConfigDir.h"
#include "TavroCore/harness/Tools.h"
#include "TavroMCP/LineReader.h"
#include "TavroMCP/Server.h"

int main() {
  std::signal(SIGPIPE, SIG_IGN);                                  // a client may close our log and go on
  const auto elsewhere = Environment::value("TAVRO_CONFIG_DIR");  // moves the approval queue alone
  Server server(Tools::all(), elsewhere ? std::filesystem::path(*elsewhere) : ConfigDir::url(), STDOUT_FILENO,
                STDERR_FILENO);
  server.logStart();

  LineReader lines(STDIN_FILENO);
  for (std::string line; server.hasReader() && lines.next(line);) server.handleLine(std::move(line));
  return 0;
}
