#include "TavroCore/personal/EventKitAccess.h"

#include <future>
#include <memory>

namespace EventKitAccess {
namespace {

std::string noun(EKEntityType entity) { return entity == EKEntityType::event ? "Calendars" : "Reminders"; }

/// The completion owns the promise: it may run on another thread, before or after the asking returns.
EKEventStore::RequestCompletion keeping(std::promise<bool> promise) {
  return [answer = std::make_shared<std::promise<bool>>(std::move(promise))](bool isGranted,
                                                                             const std::optional<Error>& failure) {
    if (failure)
      answer->set_exception(std::make_exception_ptr(AccessError::requestFailed(failure->description())));
    else
      answer->set_value(isGranted);
  };
}

}  // namespace

AccessError AccessError::denied(const std::string& noun) {
  return AccessError(noun + " access not granted. Allow it in System Settings → Privacy & Security → " + noun +
                     ", then retry.");
}

AccessError AccessError::restricted(const std::string& noun) {
  return AccessError(noun + " access is restricted by a system policy (MDM/parental controls).");
}

AccessError AccessError::requestFailed(const std::string& detail) {
  return AccessError("EventKit access request failed: " + detail);
}

bool requestFullAccess(EKEventStore& store, EKEntityType entity) {
  std::promise<bool> promise;
  auto answer = promise.get_future();
  const auto completion = keeping(std::move(promise));
  if (entity == EKEntityType::event)
    store.requestFullAccessToEvents(completion);
  else
    store.requestFullAccessToReminders(completion);
  return answer.get();
}

void ensureAccess(EKEventStore& store, EKEntityType entity) {
  switch (EKEventStore::authorizationStatus(entity)) {
    case EKAuthorizationStatus::restricted:
      throw AccessError::restricted(noun(entity));
    case EKAuthorizationStatus::fullAccess:
      return;
    case EKAuthorizationStatus::denied:
      throw AccessError::denied(noun(entity));
    case EKAuthorizationStatus::notDetermined:
    case EKAuthorizationStatus::writeOnly:
      if (!requestFullAccess(store, entity)) throw AccessError::denied(noun(entity));
  }
}

}  // namespace EventKitAccess
