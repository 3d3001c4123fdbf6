// An application for the language's tests: boxes that hold items, on a shelf.
#pragma once

#include <map>

#include "Platform/linux/applescript/Application.h"
#include "Platform/linux/applescript/Coercion.h"

namespace Shelf {

using namespace AppleScript;

class Thing;
using ThingPtr = std::shared_ptr<Thing>;

class Thing : public Object {
 public:
  Thing(Application& owner, std::string kind, std::string name) : owner_(owner), kind_(std::move(kind)) {
    static int lastId = 0;
    values = {{"name", name}, {"id", ++lastId}, {"packed item count", 0}, {"tags", List{"a", "b"}}, {"weight", 0}};
  }
  std::string className() const override { return kind_; }
  std::string specifier() const override { return kind_ + " \"" + asText(values.at("name")) + "\""; }
  Value property(std::string_view name) override {
    ++reads;
    if (name == "label") return ObjectPtr(std::make_shared<Thing>(owner_, "caption", "Hi there\nBox"));
    if (name == "broken part") throw ScriptError(-10000, "AppleEvent handler failed.");
    return values.at(std::string(name));
  }
  void setProperty(std::string_view name, const Value& value) override { values[std::string(name)] = value; }
  std::vector<ObjectPtr> elements(std::string_view) override { return {parts.begin(), parts.end()}; }
  Value plainValue() override { return kind_ == "caption" ? values.at("name") : Value(); }
  Application& application() override { return owner_; }

  std::map<std::string, Value> values;
  std::vector<ThingPtr> parts;
  static inline int reads = 0;

 private:
  Application& owner_;
  std::string kind_;
};

inline const Dictionary terms = {
    {{"application", "applications", {{"shelf height"}}, {"box"}},
     {"box", "boxes", {{"name", true}, {"id"}, {"tags"}, {"label"}, {"broken part"}}, {"packed item"}},
     {"caption", "captions", {}, {"packed item"}},
     {"packed item", "packed items", {{"name", true}, {"id"}, {"weight", true}, {"to owner", true}}, {}}},
    {{"shake", {{"with force", true}, {"gently", false, true}, {"very often", false, true}}},
     {"show off", {{"to"}, {"in"}}}},
    {"fragile goods", "sturdy"}};

class App : public Application {
 public:
  std::string name() const override { return "Shelf"; }
  const Dictionary& dictionary() const override { return terms; }
  Value property(std::string_view) override { return 12; }
  std::vector<ObjectPtr> elements(std::string_view) override { return {boxes.begin(), boxes.end()}; }

  ThingPtr box(const std::string& called, const std::vector<std::string>& names) {
    boxes.push_back(std::make_shared<Thing>(*this, "box", called));
    for (const std::string& item : names) add(*boxes.back(), item);
    return boxes.back();
  }
  ThingPtr add(Thing& owner, const std::string& called) {
    owner.parts.push_back(std::make_shared<Thing>(*this, "packed item", called));
    return owner.parts.back();
  }

  Value perform(const Command& command) override {
    if (command.name == "make") return make(command);
    if (command.name == "delete") return remove(command.direct), Value();
    if (command.name == "move") return move(command), Value();
    std::string told = command.name + " " + sourceForm(command.direct);
    for (const auto& [label, value] : command.parameters) told += " " + label + " " + sourceForm(value);
    return told;
  }

  std::vector<ThingPtr> boxes;

 private:
  Value make(const Command& command) {
    const Value* at = command.parameter("at");
    const auto* place = at ? at->as<std::shared_ptr<const Insertion>>() : nullptr;
    const ObjectPtr where = place ? (*place)->container : at ? at->object() : command.target;
    Thing* owner = dynamic_cast<Thing*>(where.get());
    const Value* record = command.parameter("with properties");
    const ThingPtr made = owner ? add(*owner, "new") : box("new", {});
    if (record)
      for (const auto& [label, value] : *record->record()) made->values[label] = value;
    return ObjectPtr(made);
  }

  void remove(const Value& what) {
    if (auto list = what.list())
      for (const Value& one : *list) remove(one);
    for (const ThingPtr& owner : boxes)
      std::erase_if(owner->parts, [&](const ThingPtr& part) { return part == what.object(); });
  }

  void move(const Command& command) {
    const auto moved = std::dynamic_pointer_cast<Thing>(command.direct.object());
    remove(command.direct);
    dynamic_cast<Thing&>(*command.parameter("to")->object()).parts.push_back(moved);
  }
};

class Shop : public Directory {
 public:
  std::shared_ptr<Application> find(std::string_view name) override {
    return comparisonKey(name) == "shelf" ? app : nullptr;
  }
  std::shared_ptr<App> app = std::make_shared<App>();
};

}  // namespace Shelf
