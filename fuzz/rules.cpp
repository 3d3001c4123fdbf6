// Rules with any texts: what is stored is what matches later, and a deny rule that matches always wins.
#include <fuzzer/FuzzedDataProvider.h>

#include "Platform/Text.h"
#include "TavroCore/harness/ActionPolicy.h"
#include "TavroCore/harness/TavroDB.h"
#include "fuzz/Check.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  static const auto db = TavroDB::inMemory();
  // SQLite texts end at a NUL; nothing we write holds one.
  const auto text = [&] {
    std::string bytes = Text::repairUTF8(input.ConsumeRandomLengthString(64));
    std::erase(bytes, '\0');
    return bytes;
  };
  PolicyRule rule{.id = "R", .enabled = input.ConsumeBool(), .toolPattern = text(), .createdAt = text()};
  if (input.ConsumeBool()) rule.account = text();
  while (input.ConsumeBool()) rule.match[text()] = text();
  rule.decision =
      input.PickValueInArray({PolicyRule::Decision::allow, PolicyRule::Decision::deny, PolicyRule::Decision::ask});
  const std::string tool = text();
  Arguments args;
  while (input.ConsumeBool()) args[text()] = text();

  db->rules.remove("R");
  db->rules.upsert(rule);
  const auto stored = db->rules.all();
  CHECK(stored->size() == 1);
  CHECK(stored->front() == rule);
  const auto outcome = ActionPolicy::evaluate(tool, Effect::read, args, AutonomyMode::yolo, *stored, 0, 100);
  const bool refused = rule.decision == PolicyRule::Decision::deny && rule.matches(tool, args);
  CHECK((outcome.decision == ActionPolicy::Decision::deny) == refused);
  return 0;
}
