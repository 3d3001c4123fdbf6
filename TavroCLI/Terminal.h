// The person on the other side: results go to standard output, talk to standard error, questions to the terminal
// itself. Text is written at once; a reader that has gone away is no failure, a full disk is.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace Terminal {

enum class Style { plain, bold, dim, red, green, yellow };

bool outputIsTerminal();
/// `text` in that style; unchanged where standard output is no terminal, or NO_COLOR is set, or TERM is "dumb".
std::string styled(std::string_view text, Style style);
/// Columns of the terminal that questions are asked on; 0 when there is none.
std::size_t columns();

/// Writes a result as it stands. Throws CommandError when it can't be written.
void print(std::string_view text);
/// Writes a text from outside, such as a tool's output: harmless (Display.h) on a terminal, byte by byte elsewhere;
/// a line break is added when the text has none at its end.
void printForeign(std::string_view text);
/// Waits so long, and no longer than somebody can read standard output. True when nobody can any more.
bool readerLeaves(std::chrono::milliseconds within);
/// Tells the person something on standard error, a line or several, always harmless.
void say(std::string_view text);

/// A line on standard error that tells what takes so long, and goes with this. Only where that is a terminal.
class Progress {
 public:
  explicit Progress(std::string_view doing);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  std::size_t width_ = 0;  // of what is shown
};

/// Can a person be asked? On the controlling terminal, or on standard input when that is a terminal.
bool canAsk();
/// Shows `matter` and the question where the answer is typed, even when the outputs are redirected. True for "y" and
/// "yes"; anything else, the end of input too, is no. Only when `canAsk()`.
bool ask(std::string_view matter, std::string_view question);
/// As `ask`, for any line; empty at the end of input. Only when `canAsk()`.
std::string askLine(std::string_view matter, std::string_view question);
/// Asks for a line that isn't shown while it is typed. Nothing when the input ends before the line does. A signal that
/// ends or stops the program finds the terminal as it was. Only when `canAsk()`.
std::optional<std::string> askHidden(std::string_view question);

bool inputIsTerminal();
/// Standard input to its end. Throws CommandError when it can't be read.
std::string wholeInput();
/// The first line of standard input without its break (LF or CR LF), which may be missing at the end of the input.
/// Throws CommandError when it can't be read or is longer than `limit` bytes.
std::string firstLineOfInput(std::size_t limit);

}  // namespace Terminal
