// The Secret Service by libsecret. Items carry the attributes "service" and "account" and nothing else that counts, so
// that one which `secret-tool store service S account A` left is found, and one of ours by `secret-tool lookup`.
#include <libsecret/secret.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <stop_token>
#include <thread>

#include "Platform/linux/Keyring.h"
#include "Platform/linux/PlugIn.h"

namespace {

using Clock = std::chrono::steady_clock;
using SecItem::Query;
using SecItem::Status;

constexpr auto limit = std::chrono::seconds(5);
constexpr auto rest = std::chrono::minutes(1);

/// Until when the service is left alone, in the clock's own units: a caller that makes several calls waits once.
std::atomic<Clock::rep> silentUntil = Clock::time_point::min().time_since_epoch().count();

const SecretSchema schema = {
    "app.tavro.secret",
    SECRET_SCHEMA_DONT_MATCH_NAME,
    {{"service", SECRET_SCHEMA_ATTRIBUTE_STRING}, {"account", SECRET_SCHEMA_ATTRIBUTE_STRING}, {nullptr, {}}}};

template <auto release>
struct Releaser {
  template <typename T>
  void operator()(T* object) const {
    release(object);
  }
};
template <typename T>
using Object = std::unique_ptr<T, Releaser<g_object_unref>>;

// A service that never prompts. Deletions and new items go through these three whenever the service answers that it
// must ask the person first.

void dismiss(SecretPrompt* prompt) {
  g_dbus_proxy_call(G_DBUS_PROXY(prompt), "Dismiss", nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, nullptr,
                    nullptr);
}

GError* refusal() {
  return g_error_new_literal(SECRET_ERROR, SECRET_ERROR_IS_LOCKED, "the keyring wants to ask its owner");
}

GVariant* refuse(SecretService* /*self*/, SecretPrompt* prompt, GCancellable* /*cancellable*/,
                 const GVariantType* /*type*/, GError** error) {
  dismiss(prompt);
  g_propagate_error(error, refusal());
  return nullptr;
}

void refuseLater(SecretService* self, SecretPrompt* prompt, const GVariantType* /*type*/, GCancellable* cancellable,
                 GAsyncReadyCallback callback, gpointer data) {
  dismiss(prompt);
  const Object<GTask> task(g_task_new(self, cancellable, callback, data));
  g_task_return_error(task.get(), refusal());
}

GVariant* refused(SecretService* /*self*/, GAsyncResult* result, GError** error) {
  return static_cast<GVariant*>(g_task_propagate_pointer(G_TASK(result), error));
}

void neverPrompt(gpointer service, gpointer /*data*/) {
  auto* operations = static_cast<SecretServiceClass*>(service);
  operations->prompt_sync = refuse;
  operations->prompt_async = refuseLater;
  operations->prompt_finish = refused;
}

GType quietService() {
  static const GType type =
      g_type_register_static_simple(SECRET_TYPE_SERVICE, "TavroQuietSecretService", sizeof(SecretServiceClass),
                                    neverPrompt, sizeof(SecretService), nullptr, GTypeFlags{});
  return type;
}

/// Cancels what is under way when the time is over.
class Deadline {
 public:
  Deadline() : cancellable_(g_cancellable_new()), watch_([this](const std::stop_token& stop) { watch(stop); }) {}

  GCancellable* cancellable() const { return cancellable_.get(); }

 private:
  void watch(const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    over_.wait_for(lock, stop, limit, [] { return false; });
    if (stop.stop_requested()) return;
    silentUntil = (Clock::now() + rest).time_since_epoch().count();
    g_cancellable_cancel(cancellable_.get());
  }

  Object<GCancellable> cancellable_;
  std::mutex mutex_;
  std::condition_variable_any over_;
  std::jthread watch_;  // last: it uses all the others
};

/// Takes what GLib queues for this thread meanwhile, the releases of its own memory among it, since nobody runs the
/// main loop that it counts on.
class OwnContext {
 public:
  OwnContext() : context_(g_main_context_new()) { g_main_context_push_thread_default(context_); }
  ~OwnContext() {
    while (g_main_context_iteration(context_, FALSE) != FALSE) continue;
    g_main_context_pop_thread_default(context_);
    g_main_context_unref(context_);
  }
  OwnContext(const OwnContext&) = delete;
  OwnContext& operator=(const OwnContext&) = delete;

 private:
  GMainContext* context_;
};

/// Releases each of a list's objects and the list.
void releaseAll(GList* items) { g_list_free_full(items, g_object_unref); }
using Items = std::unique_ptr<GList, Releaser<releaseAll>>;
using Attributes = std::unique_ptr<GHashTable, Releaser<g_hash_table_unref>>;
using Value = std::unique_ptr<SecretValue, Releaser<secret_value_unref>>;

/// One call's connection to the service; false when there is none to be had.
class Session {
 public:
  Session() {
    bus_.reset(g_bus_get_sync(G_BUS_TYPE_SESSION, limit_.cancellable(), nullptr));
    if (!bus_) return;
    g_dbus_connection_set_exit_on_close(bus_.get(), FALSE);  // GLib would end this process with the bus
    service_.reset(
        secret_service_open_sync(quietService(), nullptr, SECRET_SERVICE_OPEN_SESSION, limit_.cancellable(), nullptr));
  }
  explicit operator bool() const { return service_ != nullptr; }

  /// The items of all collections with their secrets, as far as those are open. False when they can't be told.
  bool find(const Query& query, Items& items) const {
    GError* failure = nullptr;
    items.reset(
        secret_service_search_sync(service_.get(), &schema, attributes(query).get(),
                                   static_cast<SecretSearchFlags>(SECRET_SEARCH_ALL | SECRET_SEARCH_LOAD_SECRETS),
                                   limit_.cancellable(), &failure));
    const bool told = failure == nullptr;
    g_clear_error(&failure);
    return told;
  }

  bool create(const Query& query, std::string_view secret) const {
    const Object<SecretCollection> keyring(secret_collection_for_alias_sync(
        service_.get(), SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, limit_.cancellable(), nullptr));
    if (!keyring || secret_collection_get_locked(keyring.get()) != FALSE) return false;
    const Value value(secret_value_new(secret.data(), static_cast<gssize>(secret.size()), "text/plain"));
    const std::string label = query.account + " (" + query.service + ")";
    const Object<SecretItem> item(secret_item_create_sync(keyring.get(), &schema, attributes(query).get(),
                                                          label.c_str(), value.get(), SECRET_ITEM_CREATE_NONE,
                                                          limit_.cancellable(), nullptr));
    return item != nullptr;
  }

  bool erase(SecretItem* item) const {
    return secret_item_get_locked(item) == FALSE &&
           secret_item_delete_sync(item, limit_.cancellable(), nullptr) != FALSE;
  }

 private:
  static Attributes attributes(const Query& query) {
    return Attributes(
        secret_attributes_build(&schema, "service", query.service.c_str(), "account", query.account.c_str(), nullptr));
  }

  OwnContext context_;
  Deadline limit_;
  Object<GDBusConnection> bus_;
  Object<SecretService> service_;
};

/// D-Bus carries text without NUL only.
bool fits(const std::string& text) {
  return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE;
}

bool mayAsk(const Query& query) {
  return Clock::now().time_since_epoch().count() >= silentUntil && fits(query.service) && fits(query.account);
}

Status readSecret(GList* items, std::string& secret) {
  for (GList* each = items; each != nullptr; each = each->next) {
    const Value value(secret_item_get_secret(SECRET_ITEM(each->data)));
    if (!value) continue;
    gsize size = 0;
    const gchar* bytes = secret_value_get(value.get(), &size);
    secret.assign(bytes, size);
    return SecItem::success;
  }
  return SecItem::interactionNotAllowed;
}

}  // namespace

TAVRO_PLUG_IN Status tavroSecretsAdd(const Query& query, std::string_view secret) {
  if (!mayAsk(query)) return Keyring::notAvailable;
  const Session session;
  return session && session.create(query, secret) ? SecItem::success : Keyring::notAvailable;
}

TAVRO_PLUG_IN Status tavroSecretsRemove(const Query& query) {
  if (!mayAsk(query)) return Keyring::notAvailable;
  const Session session;
  Items items;
  if (!session || !session.find(query, items)) return Keyring::notAvailable;
  if (!items) return SecItem::itemNotFound;
  Status status = SecItem::success;
  for (GList* each = items.get(); each != nullptr; each = each->next)
    if (!session.erase(SECRET_ITEM(each->data))) status = SecItem::interactionNotAllowed;
  return status;
}

TAVRO_PLUG_IN Status tavroSecretsCopyMatching(const Query& query, std::string* secret) {
  if (!mayAsk(query)) return Keyring::notAvailable;
  const Session session;
  Items items;
  if (!session || !session.find(query, items)) return Keyring::notAvailable;
  if (!items) return SecItem::itemNotFound;
  return secret == nullptr ? SecItem::success : readSecret(items.get(), *secret);
}
