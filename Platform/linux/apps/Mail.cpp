// Mail: the dictionary, the accounts, and the application's commands.
#include "Platform/linux/apps/Mail.h"

#include <array>

#include "Platform/Desktop.h"
#include "Platform/SystemLog.h"
#include "Platform/Text.h"
#include "Platform/linux/apps/Applications.h"

namespace fs = std::filesystem;
using namespace AppleScript;

namespace MailApplication {

namespace {

Dictionary mailDictionary() {
  const auto recipient = [](const std::string& line) {
    return ClassTerm{.name = line + " recipient", .plural = line + " recipients", .inherits = "recipient"};
  };
  const std::vector<std::string> recipients = {"recipient", "to recipient", "cc recipient", "bcc recipient"};
  auto messageElements = recipients;
  messageElements.insert(messageElements.end(), {"header", "mail attachment"});
  return {
      .classes =
          {
              {.name = "application",
               .plural = "applications",
               .properties = {{"inbox"},
                              {"drafts mailbox"},
                              {"sent mailbox"},
                              {"trash mailbox"},
                              {"junk mailbox"},
                              {"selection"}},
               .elements = {"account", "mailbox", "outgoing message"}},
              {.name = "account",
               .plural = "accounts",
               .properties = {{"name"},
                              {"id"},
                              {"enabled"},
                              {"email addresses"},
                              {"full name"},
                              {"user name"},
                              {"server name"},
                              {"port"},
                              {"account type"}},
               .elements = {"mailbox"}},
              {.name = "mailbox",
               .plural = "mailboxes",
               .properties = {{"name"}, {"unread count"}, {"account"}, {"container"}},
               .elements = {"mailbox", "message"}},
              {.name = "message",
               .plural = "messages",
               .properties = {{"id"},
                              {"message id"},
                              {"subject"},
                              {"sender"},
                              {"date received"},
                              {"date sent"},
                              {"message size"},
                              {"read status", true},
                              {"flagged status", true},
                              {"flag index", true},
                              {"junk mail status", true},
                              {"deleted status", true},
                              {"content"},
                              {"source"},
                              {"all headers"},
                              {"mailbox", true},
                              {"reply to"},
                              {"was replied to"},
                              {"was forwarded"}},
               .elements = std::move(messageElements)},
              {.name = "recipient", .plural = "recipients", .properties = {{"name", true}, {"address", true}}},
              recipient("to"),
              recipient("cc"),
              recipient("bcc"),
              {.name = "header", .plural = "headers", .properties = {{"name"}, {"content"}}},
              {.name = "mail attachment",
               .plural = "mail attachments",
               .properties = {{"name"}, {"id"}, {"MIME type"}, {"file size"}, {"downloaded"}}},
              {.name = "outgoing message",
               .plural = "outgoing messages",
               .properties = {{"id"}, {"sender", true}, {"subject", true}, {"content", true}, {"visible", true}},
               .elements = recipients},
              {.name = "rich text", .plural = "rich texts", .elements = {"attachment"}},
              {.name = "attachment", .plural = "attachments", .properties = {{"name"}, {"file name", true}}},
          },
      .commands = {{.name = "send"},
                   {.name = "reply",
                    .parameters = {{.label = "opening window", .flag = true}, {.label = "reply to all", .flag = true}}},
                   {.name = "forward", .parameters = {{.label = "opening window", .flag = true}}},
                   {.name = "check for new mail", .parameters = {{.label = "for"}}, .takesDirect = false},
                   {.name = "synchronize", .parameters = {{.label = "with"}}, .takesDirect = false}},
      .constants = {"imap", "pop", "smtp", "unknown"},
  };
}

/// Properties of the application that are mailboxes of the first account.
struct SpecialMailbox {
  std::string_view property;
  MailboxRole role;
};
constexpr std::array<SpecialMailbox, 5> specialMailboxes = {{{"inbox", MailboxRole::inbox},
                                                             {"drafts mailbox", MailboxRole::drafts},
                                                             {"sent mailbox", MailboxRole::sent},
                                                             {"trash mailbox", MailboxRole::trash},
                                                             {"junk mailbox", MailboxRole::junk}}};

class Account : public DesktopObject {
 public:
  Account(Mail& mail, MailAccount account) : DesktopObject(mail), account_(std::move(account)), mail_(mail) {}
  std::string className() const override { return "account"; }
  std::string specifier() const override {
    return "account id " + DesktopValues::quoted(Text::repairUTF8(account_.directory));
  }
  Value property(std::string_view name) override;
  std::vector<ObjectPtr> elements(std::string_view) override { return mail_.mailboxes(account_.directory); }

 private:
  const MailAccount account_;
  Mail& mail_;
};

/// What account.json doesn't tell can't be got: as a text, `missing value` would pass for a server's name.
Value Account::property(std::string_view name) {
  if (name == "name") return account_.name;
  if (name == "id") return Text::repairUTF8(account_.directory);
  if (name == "enabled") return true;
  if (name == "email addresses") return List(account_.emails.begin(), account_.emails.end());
  if (name == "full name") return account_.fullName;
  if (name == "user name") return account_.userName;
  if (name == "account type") return Constant{account_.server.empty() ? "unknown" : "imap"};
  if (name == "server name" && !account_.server.empty()) return account_.server;
  if (name == "port" && account_.port != 0) return account_.port;
  throw ScriptError(ErrorNumber::noSuchObject, "Can’t get " + std::string(name) + " of " + specifier() + ".");
}

template <class Kind>
std::shared_ptr<Kind> only(const Command& command) {
  const auto found = std::dynamic_pointer_cast<Kind>(command.direct.object());
  if (!found) DesktopValues::notUnderstood(command);
  return found;
}

bool flag(const Command& command, std::string_view label) {
  const auto given = command.parameter(label);
  return given && asBoolean(*given);
}

}  // namespace

// ---- What there is.

Mail::Mail()
    : DesktopApplication("Mail", mailDictionary()),
      store_(Desktop::root() / "mail"),
      index_(Desktop::root() / "cache" / "mail") {}

Mail::~Mail() { keepShownDrafts(); }

const std::vector<MailAccount>& Mail::accounts() {
  if (!accounts_) accounts_ = store_.accounts();
  return *accounts_;
}

const MailAccount* Mail::account(std::string_view directory) {
  for (const auto& account : accounts())
    if (account.directory == directory) return &account;
  return nullptr;
}

Folder& Mail::folder(const MailboxPlace& place) {
  return folders_.try_emplace(place.directory.lexically_normal(), place).first->second;
}

Folder& Mail::folder(const std::string& account, MailboxRole role) {
  auto& known = special_[{account, role}];
  if (!known) known = &folder(store_.special(account, role));
  return *known;
}

std::shared_ptr<Listing> Mail::listing(Folder& folder) {
  // Drafts, trash and their like are made when they are first needed.
  std::error_code failure;
  if (folder.place.role && fs::status(folder.place.directory, failure).type() == fs::file_type::not_found)
    return std::make_shared<Listing>();
  return folder.listing(index_);
}

ObjectPtr Mail::accountObject(const MailAccount& account) { return std::make_shared<Account>(*this, account); }
ObjectPtr Mail::mailboxObject(Folder& folder) { return std::make_shared<Mailbox>(*this, folder); }

std::vector<ObjectPtr> Mail::mailboxes(const std::string& account) {
  std::vector<ObjectPtr> found;
  for (const auto& place : store_.mailboxes(account)) found.push_back(mailboxObject(folder(place)));
  return found;
}

Value Mail::ownProperty(std::string_view name) {
  for (const auto& [property, role] : specialMailboxes) {
    if (name != property) continue;
    if (accounts().empty()) throw ScriptError(ErrorNumber::noSuchObject, "Can’t get " + std::string(name) + ".");
    return mailboxObject(folder(accounts().front().directory, role));
  }
  return List();  // selection: nobody selects anything here
}

std::vector<ObjectPtr> Mail::ownElements(std::string_view className) {
  std::vector<ObjectPtr> found;
  if (className == "outgoing message") {
    for (const auto& draft : drafts_)
      if (!draft->isClosed) found.push_back(std::make_shared<OutgoingMessage>(*this, draft));
    return found;
  }
  for (const auto& account : accounts()) {
    if (className == "account")
      found.push_back(accountObject(account));
    else
      for (auto& mailbox : mailboxes(account.directory)) found.push_back(std::move(mailbox));
  }
  return found;
}

// ---- What it does.

Value Mail::execute(const Command& command) {
  const auto& name = command.name;
  if (name == "make") return make(DesktopValues::making(command));
  if (name == "reply" || name == "forward") return answer(command);
  if (name == "delete") return remove(command), Value();
  if (name == "move") return move(command), command.direct;
  if (name == "save") return save(command), Value();
  if (name == "send") return Post::send(*this, *only<OutgoingMessage>(command)->draft), true;
  if (name == "check for new mail" || name == "synchronize") return forgetAll(), Value();
  if (name != "open") DesktopValues::notUnderstood(command);
  for (const auto& object : DesktopValues::objects(command)) {
    const auto message = std::dynamic_pointer_cast<Message>(object);
    if (!message) DesktopValues::notUnderstood(command);
    message->open();
  }
  return {};
}

/// Other programs fetch mail; what we can do is to look.
void Mail::forgetAll() {
  for (auto& [directory, folder] : folders_) folder.forget();
  special_.clear();
}

Value Mail::answer(const Command& command) {
  const auto message = only<Message>(command);
  const auto draft = std::make_shared<Draft>(Draft{.id = ++lastDraft_});
  draft->isVisible = flag(command, "opening window");
  if (command.name == "reply")
    Post::reply(*this, *draft, message->letter, flag(command, "reply to all"));
  else
    Post::forward(*this, *draft, message->letter);
  drafts_.push_back(draft);
  return ObjectPtr(std::make_shared<OutgoingMessage>(*this, draft));
}

void Mail::remove(const Command& command) {
  for (const auto& object : DesktopValues::objects(command)) {
    if (const auto message = std::dynamic_pointer_cast<Message>(object))
      message->letter->remove(folder(message->letter->folder->place.account, MailboxRole::trash));
    else if (const auto outgoing = std::dynamic_pointer_cast<OutgoingMessage>(object))
      outgoing->draft->isClosed = true;  // what was saved of it stays in the drafts
    else if (const auto recipient = std::dynamic_pointer_cast<Recipient>(object))
      recipient->remove();
    else
      DesktopValues::cannotDelete(*object);
  }
}

void Mail::move(const Command& command) {
  const auto mailbox = std::dynamic_pointer_cast<Mailbox>(DesktopValues::place(command.parameter("to")));
  for (const auto& object : DesktopValues::objects(command)) {
    const auto message = std::dynamic_pointer_cast<Message>(object);
    if (!message || !mailbox) DesktopValues::notUnderstood(command);
    message->letter->moveTo(mailbox->folder);
  }
}

void Mail::save(const Command& command) {
  const auto attachment = std::dynamic_pointer_cast<MailAttachment>(command.direct.object());
  if (!attachment) return Post::save(*this, *only<OutgoingMessage>(command)->draft);
  const auto in = command.parameter("in");
  if (!in) throw ScriptError(ErrorNumber::parameterMissing, "Missing in parameter for save.");
  attachment->saveIn(in->as<File>() ? in->as<File>()->path : asText(*in));
}

// ---- New things.

ObjectPtr Mail::make(const DesktopValues::Making& making) {
  const auto outgoing = std::dynamic_pointer_cast<OutgoingMessage>(making.place);
  const auto content = std::dynamic_pointer_cast<OutgoingText>(making.place);
  const auto draft = outgoing ? outgoing->draft : content ? content->draft : nullptr;
  const auto& kind = making.className;
  if (kind == "outgoing message") {
    const auto fresh = std::make_shared<Draft>(Draft{.id = ++lastDraft_});
    const auto made = std::make_shared<OutgoingMessage>(*this, fresh);
    DesktopValues::setAll(*made, making.properties);
    drafts_.push_back(fresh);
    return made;
  }
  if (draft && kind == "attachment") {
    const auto file = std::make_shared<fs::path>();
    const auto made = std::make_shared<Attachment>(*this, draft, file);
    DesktopValues::setAll(*made, making.properties);
    if (file->empty())
      throw ScriptError(ErrorNumber::handlerFailed, "Can’t make a new attachment without a file name.");
    draft->files.push_back(file);
    return made;
  }
  if (draft && kind.ends_with("recipient")) {
    const auto line = kind == "cc recipient" ? Line::cc : kind == "bcc recipient" ? Line::bcc : Line::to;
    const auto addressee = std::make_shared<Addressee>(Addressee{.line = line});
    const auto made = std::make_shared<Recipient>(*this, draft, addressee);
    DesktopValues::setAll(*made, making.properties);
    draft->addressees.push_back(addressee);
    return made;
  }
  DesktopValues::cannotMake(making);
}

/// Nobody can finish them in a window here, so they wait in the drafts for a mail program that has one.
void Mail::keepShownDrafts() {
  for (const auto& draft : drafts_) {
    if (!draft->isVisible || draft->isClosed || draft->kept) continue;
    try {
      Post::save(*this, *draft);
    } catch (const std::exception& failure) {
      SystemLog::error("tavro.desktop", "mail", "A message of a script could not be kept in the drafts",
                       failure.what());
    }
  }
}

}  // namespace MailApplication

std::shared_ptr<AppleScript::Application> Applications::mail() { return std::make_shared<MailApplication::Mail>(); }
