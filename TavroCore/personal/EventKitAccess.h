// May we read and change the owner's calendars and reminders? Asked before every use, with the words for a no.
#pragma once

#include <string>

#include "Platform/Error.h"
#include "Platform/EventKit.h"

namespace EventKitAccess {

class AccessError : public Error {
 public:
  // The noun is "Calendars" or "Reminders".
  static AccessError denied(const std::string& noun);
  static AccessError restricted(const std::string& noun);
  static AccessError requestFailed(const std::string& detail);

 private:
  using Error::Error;
};

/// Returns when there is full access. Where the owner hasn't decided, or lets us write only, it asks for full access
/// and blocks until that is answered; so it must not be called on a thread that the answer needs. Throws AccessError.
void ensureAccess(EKEventStore& store, EKEntityType entity);

/// Asks for full access to `entity` and blocks until it is answered. Was it granted? Throws
/// AccessError::requestFailed where the asking itself failed.
bool requestFullAccess(EKEventStore& store, EKEntityType entity);

}  // namespace EventKitAccess
