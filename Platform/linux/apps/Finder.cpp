// Finder: shows files to the person at the screen. Files are named by their POSIX path, as a `POSIX file`,
// an alias or an `item`.
#include "Platform/Files.h"
#include "Platform/linux/apps/Applications.h"
#include "Platform/linux/apps/DesktopApplication.h"
#include "Platform/linux/apps/Presenter.h"

using namespace AppleScript;
namespace fs = std::filesystem;

namespace {

const std::vector<PropertyTerm> itemProperties = {{"name"}, {"URL"}, {"container"}, {"displayed name"}};

Dictionary finderDictionary() {
  return {
      .classes =
          {{.name = "application", .plural = "applications", .properties = {}, .elements = {"item", "folder", "file"}},
           {.name = "item", .plural = "items", .properties = itemProperties},
           {.name = "folder", .plural = "folders", .inherits = "item"},
           {.name = "file", .plural = "files", .inherits = "item"}},
      .commands = {{.name = "reveal"}, {.name = "select"}},
      .constants = {},
  };
}

class Item : public DesktopObject {
 public:
  Item(DesktopApplication& finder, fs::path place) : DesktopObject(finder), path(std::move(place)), finder_(finder) {}
  std::string className() const override { return Files::isDirectory(path) ? "folder" : "file"; }
  std::string specifier() const override { return className() + " " + DesktopValues::quoted(path.string()); }
  bool exists() override { return Files::exists(path); }

  Value property(std::string_view name) override {
    if (name == "URL") return Presenter::uri(path);
    if (name == "container") return ObjectPtr(std::make_shared<Item>(finder_, path.parent_path()));
    return path.filename().string();
  }

  const fs::path path;

 private:
  DesktopApplication& finder_;
};

class Finder : public DesktopApplication {
 public:
  Finder() : DesktopApplication("Finder", finderDictionary()) {}

 protected:
  ObjectPtr ownElementNamed(std::string_view, std::string_view name) override {
    return Files::exists(fs::path(name)) ? std::make_shared<Item>(*this, fs::path(name)) : nullptr;
  }

  Value execute(const Command& command) override {
    const auto files = filesOf(command, command.direct);
    if (command.name == "reveal" || command.name == "select") {
      Presenter::reveal(files);
    } else if (command.name == "open") {
      for (const auto& file : files) Presenter::open(file);
    } else {
      DesktopValues::notUnderstood(command);
    }
    return command.direct;
  }

 private:
  static std::vector<fs::path> filesOf(const Command& command, const Value& value) {
    std::vector<fs::path> files;
    if (const auto list = value.list()) {
      for (const auto& item : *list)
        for (auto& file : filesOf(command, item)) files.push_back(std::move(file));
    } else if (const auto file = value.as<File>()) {
      files.emplace_back(file->path);
    } else if (const auto item = std::dynamic_pointer_cast<Item>(value.object())) {
      files.push_back(item->path);
    } else {
      DesktopValues::notUnderstood(command);
    }
    for (const auto& file : files)
      if (!Files::exists(file))
        throw ScriptError(ErrorNumber::fileNotFound, "File " + DesktopValues::quoted(file.string()) + " wasn’t found.");
    return files;
  }
};

}  // namespace

std::shared_ptr<Application> Applications::finder() { return std::make_shared<Finder>(); }
