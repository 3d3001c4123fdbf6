#include "TavroCore/harness/TavroDB.h"

#include <mutex>

#include "Platform/Files.h"

namespace {

constexpr const char* filename = "tavro.sqlite";

// The names and their order are on every owner's disk.
Migrator migrator() {
  Migrator versions;
  AuditDB::registerMigrations(versions);
  RulesDB::registerMigrations(versions);
  FeedbackDB::registerMigrations(versions);
  return versions;
}

std::shared_ptr<GRDBQueue> openIn(const std::filesystem::path& configDir) {
  Files::createDirectories(configDir);
  return GRDBQueue::open(configDir / filename, migrator());
}

}  // namespace

TavroDB::TavroDB(const std::shared_ptr<GRDBQueue>& queue)
    : audit(queue), rules(queue), feedback(queue), queue_(queue) {}

TavroDB::TavroDB() : TavroDB(std::shared_ptr<GRDBQueue>(GRDBQueue::openOnDisk(filename, migrator()))) {}

TavroDB::TavroDB(const std::filesystem::path& configDir) : TavroDB(openIn(configDir)) {}

std::unique_ptr<TavroDB> TavroDB::inMemory() {
  return std::unique_ptr<TavroDB>(new TavroDB(std::shared_ptr<GRDBQueue>(GRDBQueue::open(":memory:", migrator()))));
}

std::shared_ptr<TavroDB> TavroDB::forProcess() {
  static std::mutex mutex;
  static std::shared_ptr<TavroDB> opened;
  const std::lock_guard lock(mutex);
  if (!opened) opened = std::make_shared<TavroDB>();
  return opened;
}

std::shared_ptr<TavroDB> TavroDB::forProcessIfPossible() noexcept try {
  return forProcess();
} catch (const std::exception&) {
  return nullptr;
}

std::vector<std::string> TavroDB::faults() {
  std::vector<std::string> lines;
  queue_->read([&](Database& database) {
    database.query("PRAGMA integrity_check", {},
                   [&](const Row& row) { lines.push_back(row.text("integrity_check").value_or("")); });
  });
  return lines == std::vector<std::string>{"ok"} ? std::vector<std::string>() : lines;
}
