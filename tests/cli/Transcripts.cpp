// Plays the transcripts in cases/ against the real program: each is a conversation with a shell in a new home, with
// what must come back. "$ " begins a command, the lines below it are standard output, "! " lines standard error, and
// "? 2" an exit status that isn't 0. <ID>, <TIME> and <...> stand for what differs; <ID:name> keeps the id, and
// commands and answers further down name it so again. The shell has no terminal.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "tests/cli/Sandbox.h"

namespace {

namespace fs = std::filesystem;

struct Step {
  int line = 0;
  std::string command;
  std::vector<std::string> expected;
};

std::vector<Step> readSteps(const fs::path& file) {
  std::ifstream in(file);
  std::vector<Step> steps;
  std::string text;
  for (int line = 1; std::getline(in, text); ++line) {
    if (text.starts_with("$ ")) {
      steps.push_back({line, text.substr(2), {}});
    } else if (!text.empty() && !text.starts_with("# ") && !steps.empty()) {
      steps.back().expected.push_back(text);
    }
  }
  return steps;
}

using Names = std::map<std::string, std::string>;

std::string filledIn(std::string text, const Names& names) {
  for (const auto& [name, id] : names) {
    const std::string placeholder = "<ID:" + name + ">";
    for (std::size_t at; (at = text.find(placeholder)) != text.npos;) text.replace(at, placeholder.size(), id);
  }
  return text;
}

/// Does `text` look like `shape`, in which 9 is any digit and F a hexadecimal one?
bool looksLike(std::string_view shape, std::string_view text) {
  return std::equal(shape.begin(), shape.end(), text.begin(), text.end(), [](char wanted, char c) {
    return wanted == '9'   ? c >= '0' && c <= '9'
           : wanted == 'F' ? std::isxdigit(static_cast<unsigned char>(c))
                           : wanted == c;
  });
}

/// Does the line fit? Names of ids that it brings are kept; those that are known have been filled in before.
bool fits(std::string_view expected, std::string_view actual, Names& names) {
  constexpr std::string_view id = "FFFFFFFF", time = "9999-99-99T99:99:99Z";
  while (!expected.empty()) {
    const std::string_view token = expected.front() == '<' ? expected.substr(0, expected.find('>') + 1) : "";
    const bool isID = token.starts_with("<ID");
    if (token == "<...>") {
      for (std::size_t skipped = 0; skipped <= actual.size(); ++skipped) {
        if (fits(expected.substr(token.size()), actual.substr(skipped), names)) return true;
      }
      return false;
    }
    const std::string_view shape = isID ? id : token == "<TIME>" ? time : "";
    const std::size_t length = shape.empty() ? 1 : shape.size();
    const std::string_view piece = actual.substr(0, length);
    if (shape.empty() ? piece != expected.substr(0, 1) : !looksLike(shape, piece)) return false;
    if (token.starts_with("<ID:")) names.emplace(token.substr(4, token.size() - 5), piece);
    expected.remove_prefix(shape.empty() ? 1 : token.size());
    actual.remove_prefix(length);
  }
  return actual.empty();
}

std::vector<std::string> transcript(const Process::Result& result) {
  std::vector<std::string> lines;
  std::string line;
  for (std::istringstream out(result.output); std::getline(out, line);) lines.push_back(line);
  for (std::istringstream err(result.errors); std::getline(err, line);) lines.push_back("! " + line);
  if (!result.status.ok()) lines.push_back("? " + std::to_string(result.status.exited ? result.status.code : -1));
  return lines;
}

fs::path casesFolder() { return "tests/cli/cases"; }

std::vector<std::string> caseNames() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(casesFolder())) names.push_back(entry.path().stem());
  std::sort(names.begin(), names.end());
  return names;
}

class Transcripts : public testing::TestWithParam<std::string> {};

TEST_P(Transcripts, readAsWritten) {
  const Sandbox sandbox;
  Names names;
  for (const auto& step : readSteps(casesFolder() / (GetParam() + ".txt"))) {
    const auto actual = transcript(sandbox.shell(filledIn(step.command, names)));
    bool same = actual.size() == step.expected.size();
    for (std::size_t i = 0; same && i < actual.size(); ++i)
      same = fits(filledIn(step.expected[i], names), actual[i], names);
    EXPECT_TRUE(same) << GetParam() << ".txt:" << step.line << ": $ " << step.command << "\nexpected:\n"
                      << testing::PrintToString(step.expected) << "\nbut got:\n"
                      << testing::PrintToString(actual);
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, Transcripts, testing::ValuesIn(caseNames()),
                         [](const auto& each) { return each.param; });

}  // namespace
