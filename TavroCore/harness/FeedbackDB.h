// The table `feedback`: directives, verdicts and questions between the owner and the automations. It
// stands beside AuditDB and RulesDB because every opener of the file brings all its tables up to date.
#pragma once

#include "TavroCore/harness/GRDBQueue.h"

class FeedbackDB {
 public:
  explicit FeedbackDB(std::shared_ptr<GRDBQueue> queue) : queue_(std::move(queue)) {}
  static void registerMigrations(Migrator& migrator);

 private:
  std::shared_ptr<GRDBQueue> queue_;
};
