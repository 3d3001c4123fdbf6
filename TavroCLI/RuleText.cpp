#include "TavroCLI/RuleText.h"

#include "TavroCLI/Display.h"

std::string RuleText::sentence(const PolicyRule& rule) {
  std::string text = std::string(rawValue(rule.decision)) + " " +
                     (rule.toolPattern == "*" ? std::string("every tool") : rule.toolPattern);
  if (rule.account && !rule.account->empty()) text += " for the account " + Display::harmless(*rule.account);
  for (const auto& [key, value] : rule.match) {
    text += " where " + Display::harmless(key) + " contains \"" + Display::harmless(value) + "\"";
  }
  return text;
}
