// Messages: one account, iMessage, whose participants are phone numbers and mail addresses. What is sent goes through
// the owner's send command, where there is one, and is recorded in the MessagesStore; without one, recording it is
// all, and another program may carry it on.
#include "Platform/Desktop.h"
#include "Platform/Environment.h"
#include "Platform/SystemLog.h"
#include "Platform/linux/apps/Applications.h"
#include "Platform/linux/apps/DesktopApplication.h"
#include "Platform/linux/stores/MessagesStore.h"
#include "Platform/linux/stores/SendCommand.h"

using namespace AppleScript;

namespace {

constexpr const char* accountId = "iMessage";

Dictionary messagesDictionary() {
  return {
      .classes =
          {
              {.name = "application", .plural = "applications", .elements = {"account", "participant", "chat"}},
              {.name = "account",
               .plural = "accounts",
               .properties = {{"id"}, {"description"}, {"enabled"}, {"connection status"}, {"service type"}},
               .elements = {"participant", "chat"}},
              {.name = "participant",
               .plural = "participants",
               .properties = {{"id"}, {"account"}, {"name"}, {"handle"}, {"first name"}, {"last name"}, {"full name"}}},
              {.name = "chat",
               .plural = "chats",
               .properties = {{"id"}, {"name"}, {"account"}},
               .elements = {"participant"}},
          },
      .commands = {{.name = "send", .parameters = {{.label = "to", .required = true}}}},
      .constants = {"SMS", "iMessage", "RCS", "connected", "connecting", "disconnected", "disconnecting"},
  };
}

class Messages : public DesktopApplication {
 public:
  Messages() : DesktopApplication("Messages", messagesDictionary()) {}

  MessagesAccount account() const { return MessagesAccount::read(Desktop::root() / "messages/account.json"); }

  // The application and its account have the same participants and chats. Any number or address gives one, whether
  // or not anything was ever said there.
  std::vector<ObjectPtr> correspondents(std::string_view className);
  ObjectPtr correspondent(std::string_view className, std::string_view handle);
  ObjectPtr correspondentNamed(std::string_view className, std::string_view name) {
    return className == "participant" ? correspondent(className, name) : nullptr;  // none of the others has a name
  }
  ObjectPtr correspondentWithId(std::string_view className, const Value& id);

 protected:
  std::vector<ObjectPtr> ownElements(std::string_view className) override;
  ObjectPtr ownElementNamed(std::string_view className, std::string_view name) override {
    return correspondentNamed(className, name);
  }
  ObjectPtr ownElementWithId(std::string_view className, const Value& id) override;
  Value execute(const Command& command) override;

 private:
  void send(const std::string& handle, const std::string& text);

  const MessagesStore store_{Environment::home() / "Library/Messages/chat.db"};
};

// ---- The account.

class Account : public DesktopObject {
 public:
  explicit Account(Messages& messages) : DesktopObject(messages), messages_(messages) {}

  std::string className() const override { return "account"; }
  std::string specifier() const override { return "account id " + DesktopValues::quoted(accountId); }

  Value property(std::string_view name) override {
    if (name == "id") return accountId;
    if (name == "enabled") return true;
    if (name == "service type") return Constant{"iMessage"};
    const auto settings = messages_.account();
    if (name == "description") return settings.handle.empty() ? accountId : settings.handle;
    return Constant{settings.send.empty() ? "disconnected" : "connected"};  // connection status
  }

  std::vector<ObjectPtr> elements(std::string_view className) override { return messages_.correspondents(className); }
  ObjectPtr elementNamed(std::string_view className, std::string_view name) override {
    return messages_.correspondentNamed(className, name);
  }
  ObjectPtr elementWithId(std::string_view className, const Value& id) override {
    return messages_.correspondentWithId(className, id);
  }

 private:
  Messages& messages_;
};

// ---- Whom messages go to.

class Correspondent : public DesktopObject {
 public:
  Correspondent(Messages& messages, std::string number)
      : DesktopObject(messages), handle(std::move(number)), messages_(messages) {}

  std::string specifier() const override { return className() + " id " + DesktopValues::quoted(id()); }
  virtual std::string id() const = 0;

  const std::string handle;

 protected:
  ObjectPtr account() const { return std::make_shared<Account>(messages_); }

  Messages& messages_;
};

class Participant : public Correspondent {
 public:
  static constexpr std::string_view idPrefix = "iMessage:";
  using Correspondent::Correspondent;

  std::string className() const override { return "participant"; }
  std::string id() const override { return std::string(idPrefix) + handle; }

  Value property(std::string_view name) override {
    if (name == "id") return id();
    if (name == "account") return account();
    if (name == "handle" || name == "name" || name == "full name") return handle;
    return Missing();  // its first and last name; who it is, Contacts may know
  }
};

/// With one participant; there are no others.
class Chat : public Correspondent {
 public:
  static constexpr std::string_view idPrefix = "iMessage;-;";
  using Correspondent::Correspondent;

  std::string className() const override { return "chat"; }
  std::string id() const override { return std::string(idPrefix) + handle; }

  Value property(std::string_view name) override {
    if (name == "id") return id();
    if (name == "account") return account();
    return Missing();  // name
  }
  std::vector<ObjectPtr> elements(std::string_view) override {
    return {std::make_shared<Participant>(messages_, handle)};
  }
};

// ---- The application again.

ObjectPtr Messages::correspondent(std::string_view className, std::string_view handle) {
  const auto known = MessagesStore::handle(handle);
  if (!known) return nullptr;
  if (className == "chat") return std::make_shared<Chat>(*this, *known);
  return std::make_shared<Participant>(*this, *known);
}

ObjectPtr Messages::correspondentWithId(std::string_view className, const Value& id) {
  const auto text = asText(id);
  const auto prefix = className == "chat" ? Chat::idPrefix : Participant::idPrefix;
  return text.starts_with(prefix) ? correspondent(className, text.substr(prefix.size())) : nullptr;
}

std::vector<ObjectPtr> Messages::correspondents(std::string_view className) {
  std::vector<ObjectPtr> found;
  for (const auto& handle : store_.handles())
    if (auto object = correspondent(className, handle)) found.push_back(std::move(object));
  return found;
}

std::vector<ObjectPtr> Messages::ownElements(std::string_view className) {
  if (className == "account") return {std::make_shared<Account>(*this)};
  return correspondents(className);
}

ObjectPtr Messages::ownElementWithId(std::string_view className, const Value& id) {
  if (className == "account") return DesktopApplication::ownElementWithId(className, id);
  return correspondentWithId(className, id);
}

Value Messages::execute(const Command& command) {
  if (command.name != "send") DesktopValues::notUnderstood(command);
  const auto to = command.parameter("to")->object();
  const auto correspondent = std::dynamic_pointer_cast<Correspondent>(to);
  if (!correspondent)
    throw ScriptError(ErrorNumber::noSuchObject, "Can’t get " + sourceForm(*command.parameter("to")) + ".");
  if (command.direct.as<File>()) throw ScriptError(ErrorNumber::handlerFailed, "Messages sends no files here.");
  const auto text = asText(command.direct);
  if (text.empty()) throw ScriptError(ErrorNumber::handlerFailed, "There is no text to send.");
  send(correspondent->handle, text);
  return {};
}

/// Nothing goes out that can't be recorded. Once it is out, the script mustn't fail any more: whoever reads an error
/// sends again.
void Messages::send(const std::string& handle, const std::string& text) {
  const auto command = account().send;
  if (command.empty()) return store_.record(handle, text);
  store_.rehearse(handle, text);
  SendCommand::send(command, text, {{"TAVRO_MESSAGE_TO", handle}});
  try {
    store_.record(handle, text);
  } catch (const std::exception& failure) {
    SystemLog::error("tavro.desktop", "messages", "A sent message could not be recorded", failure.what());
  }
}

}  // namespace

std::shared_ptr<Application> Applications::messages() { return std::make_shared<Messages>(); }
