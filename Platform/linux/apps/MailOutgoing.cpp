// Messages on their way out, and what scripts put into them.
#include <algorithm>

#include "Platform/Text.h"
#include "Platform/linux/apps/Mail.h"

using namespace AppleScript;

namespace MailApplication {

// ---- Messages.

Value OutgoingMessage::property(std::string_view name) {
  if (name == "subject") return draft->subject;
  if (name == "content") return ObjectPtr(std::make_shared<OutgoingText>(mail_, draft));
  if (name == "visible") return draft->isVisible;
  if (name == "id") return draft->id;
  if (name != "sender") return Missing();
  const auto sender = Post::sender(mail_, *draft);
  return sender ? Mime::display(sender->address) : "";
}

void OutgoingMessage::setProperty(std::string_view name, const Value& value) {
  if (name == "visible") {
    draft->isVisible = asBoolean(value);
    return;
  }
  const auto text = asText(value);
  if (name == "subject")
    draft->subject = text;
  else if (name == "content")
    draft->text = text;
  else if (!Post::setSender(mail_, *draft, text))
    throw ScriptError(ErrorNumber::cannotSet, "Can’t set sender of " + specifier() + " to " + sourceForm(value) +
                                                  ". No account has that address.");
}

std::vector<ObjectPtr> OutgoingMessage::elements(std::string_view className) {
  std::vector<ObjectPtr> found;
  for (const auto& addressee : draft->addressees) {
    auto recipient = std::make_shared<Recipient>(mail_, draft, addressee);
    if (className == "recipient" || recipient->className() == className) found.push_back(std::move(recipient));
  }
  return found;
}

std::vector<ObjectPtr> OutgoingText::elements(std::string_view) {
  std::vector<ObjectPtr> found;
  for (const auto& file : draft->files) found.push_back(std::make_shared<Attachment>(mail_, draft, file));
  return found;
}

// ---- Recipients.

Recipient::Recipient(Mail& mail, DraftPtr of, AddresseePtr who)
    : DesktopObject(mail), draft_(std::move(of)), addressee_(std::move(who)) {}

std::string Recipient::className() const {
  switch (addressee_->line) {
    case Line::to:
      return "to recipient";
    case Line::cc:
      return "cc recipient";
    default:
      return "bcc recipient";
  }
}

std::string Recipient::specifier() const {
  return className() + " " + DesktopValues::quoted(addressee_->address) + " of " + draft_->specifier();
}

bool Recipient::exists() {
  const auto& all = draft_->addressees;
  return std::find(all.begin(), all.end(), addressee_) != all.end();
}

Value Recipient::property(std::string_view name) { return name == "name" ? addressee_->name : addressee_->address; }

void Recipient::setProperty(std::string_view name, const Value& value) {
  (name == "name" ? addressee_->name : addressee_->address) = asText(value);
}

void Recipient::remove() { std::erase(draft_->addressees, addressee_); }

// ---- Attachments.

Attachment::Attachment(Mail& mail, DraftPtr of, AttachedFilePtr file)
    : DesktopObject(mail), draft_(std::move(of)), file_(std::move(file)) {}

std::string Attachment::specifier() const {
  return "attachment " + DesktopValues::quoted(Text::repairUTF8(file_->filename().string())) + " of content of " +
         draft_->specifier();
}

Value Attachment::property(std::string_view name) {
  if (name == "name") return Text::repairUTF8(file_->filename().string());
  return File{.path = file_->string(), .alias = true};  // file name
}

void Attachment::setProperty(std::string_view name, const Value& value) {
  const auto file = value.as<File>();
  if (!file) return DesktopObject::setProperty(name, value);
  *file_ = file->path;
}

}  // namespace MailApplication
