// Script texts of any bytes: compiled, and run where they can't go on for ever, against a small application.
// Nothing but an Outcome may come out, and its place lies in the source.
#include <array>
#include <string>

#include "Platform/Text.h"
#include "Platform/linux/applescript/Interpreter.h"
#include "fuzz/Check.h"

namespace {

using namespace AppleScript;

const Dictionary shelfTerms = {
    .classes = {{.name = "application", .plural = "applications", .elements = {"box"}},
                {.name = "box",
                 .plural = "boxes",
                 .properties = {{.name = "name", .writable = true}, {.name = "date packed"}}}},
    .commands = {{.name = "shake", .parameters = {{.label = "with force"}, {.label = "upside down", .flag = true}}}},
    .constants = {"gently"},
};

class Shelf;

class Box final : public Object {
 public:
  Box(Application& shelf, std::string name) : shelf_(shelf), name_(std::move(name)) {}
  std::string className() const override { return "box"; }
  std::string specifier() const override { return "box \"" + name_ + "\""; }
  Value property(std::string_view name) override { return name == "name" ? Value(name_) : Value(Date{}); }
  void setProperty(std::string_view, const Value&) override {}
  Application& application() override { return shelf_; }

 private:
  Application& shelf_;
  std::string name_;
};

class Shelf final : public Application {
 public:
  std::string name() const override { return "Shelf"; }
  const Dictionary& dictionary() const override { return shelfTerms; }
  Value property(std::string_view) override { return "Shelf"; }
  Value perform(const Command& command) override { return command.direct; }
  std::vector<ObjectPtr> elements(std::string_view) override {
    return {std::make_shared<Box>(*this, "a"), std::make_shared<Box>(*this, "B")};
  }
};

class Applications final : public Directory {
 public:
  std::shared_ptr<Application> find(std::string_view name) override {
    return Text::equalIgnoringCase(name, "Shelf") ? std::make_shared<Shelf>() : nullptr;
  }
};

bool mayGoOnForEver(std::string_view source) {
  static constexpr std::array<std::string_view, 4> words = {"repeat", "delay", "on ", "to "};
  const std::string lower = Text::lowercase(source);
  for (const auto word : words)
    if (lower.find(word) != std::string::npos) return true;
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  std::string source(reinterpret_cast<const char*>(data), size);
  // Compiled only: a statement that no compiler takes ends the text.
  if (mayGoOnForEver(source)) source += "\n)";
  Applications applications;
  const Outcome outcome = run(source, {"one", "2"}, applications);
  CHECK(outcome.ok || outcome.number != 0);
  CHECK(outcome.begin <= outcome.end && outcome.end <= source.size());
  return 0;
}
