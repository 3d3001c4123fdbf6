// One call from text to outcome; every failure of a script ends here.
#include "Platform/linux/applescript/Interpreter.h"

#include "Platform/linux/applescript/Evaluator.h"
#include "Platform/linux/applescript/Parser.h"
#include "Platform/linux/applescript/Schema.h"

namespace AppleScript {

namespace {

// The number of UTF-16 code units before a byte of the source.
std::size_t codeUnits(std::string_view source, std::size_t byte) {
  std::size_t units = 0;
  for (const char c : source.substr(0, byte)) {
    const auto lead = static_cast<unsigned char>(c);
    if ((lead & 0xC0) != 0x80) units += lead >= 0xF0 ? 2 : 1;
  }
  return units;
}

Outcome failure(std::string_view source, Range range, int number, std::string message, bool isSyntax) {
  Outcome outcome;
  outcome.isSyntax = isSyntax;
  outcome.number = number;
  outcome.message = std::move(message);
  outcome.begin = codeUnits(source, range.begin);
  outcome.end = codeUnits(source, range.end);
  return outcome;
}

Outcome evaluated(std::string_view source, const Program& program, const std::vector<std::string>& arguments,
                  Directory& applications) {
  Evaluator evaluator(program, applications);
  try {
    Outcome outcome;
    outcome.result = evaluator.run(arguments);
    outcome.ok = true;
    return outcome;
  } catch (const ScriptError& error) {
    return failure(source, evaluator.place(), error.number(), error.description(), false);
  } catch (const std::exception& error) {
    return failure(source, evaluator.place(), ErrorNumber::handlerFailed, error.what(), false);
  }
}

}  // namespace

Outcome run(std::string_view source, const std::vector<std::string>& arguments, Directory& applications) {
  Schema::forget();
  try {
    const std::unique_ptr<Program> program = parse(source, applications);
    return evaluated(source, *program, arguments, applications);
  } catch (const SyntaxError& error) {
    return failure(source, error.range(), error.number(), error.description(), true);
  } catch (const std::exception& error) {
    return failure(source, {}, ErrorNumber::handlerFailed, error.what(), false);
  }
}

}  // namespace AppleScript
