// What the facades over the database have in common: they never throw, and answer emptily without one.
#pragma once

#include <exception>
#include <memory>

class TavroDB;

/// What `operation(*db)` gives, or `otherwise` when there is no database or it fails.
template <typename Answer, typename Operation>
Answer tolerant(const std::shared_ptr<TavroDB>& db, Answer otherwise, const Operation& operation) noexcept try {
  return db ? operation(*db) : otherwise;
} catch (const std::exception&) {
  return otherwise;
}
