// Mail as scripts see it: accounts hold mailboxes, mailboxes hold messages. What its sources share.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/linux/apps/DesktopApplication.h"
#include "Platform/linux/apps/MailFolders.h"
#include "Platform/linux/apps/MailPost.h"

namespace MailApplication {

using AppleScript::ObjectPtr;
using AppleScript::Value;

class Mail : public DesktopApplication {
 public:
  Mail();
  /// Leaves in the drafts what was to be shown in a window and has been neither sent nor discarded.
  ~Mail() override;

  /// The accounts as they were when they were first asked for.
  const std::vector<MailAccount>& accounts();
  /// Null when there is none of this directory.
  const MailAccount* account(std::string_view directory);
  const std::filesystem::path& root() const { return store_.root(); }
  Folder& folder(const MailboxPlace& place);
  Folder& folder(const std::string& account, MailboxRole role);

  ObjectPtr accountObject(const MailAccount& account);
  ObjectPtr mailboxObject(Folder& folder);
  /// An account's, the ones within others too.
  std::vector<ObjectPtr> mailboxes(const std::string& account);
  std::shared_ptr<Listing> listing(Folder& folder);

 protected:
  Value ownProperty(std::string_view name) override;
  std::vector<ObjectPtr> ownElements(std::string_view className) override;
  Value execute(const AppleScript::Command& command) override;
  void prepareToQuit() override { keepShownDrafts(); }

 private:
  ObjectPtr make(const DesktopValues::Making& making);
  void remove(const AppleScript::Command& command);
  void move(const AppleScript::Command& command);
  void save(const AppleScript::Command& command);
  Value answer(const AppleScript::Command& command);
  void forgetAll();
  void keepShownDrafts();

  const MailStore store_;
  const MailIndex index_;
  std::optional<std::vector<MailAccount>> accounts_;
  std::map<std::filesystem::path, Folder> folders_;
  std::map<std::pair<std::string, MailboxRole>, Folder*> special_;
  std::vector<DraftPtr> drafts_;
  int lastDraft_ = 0;
};

class Mailbox : public DesktopObject {
 public:
  Mailbox(Mail& mail, Folder& where) : DesktopObject(mail), folder(where), mail_(mail) {}
  std::string className() const override { return "mailbox"; }
  std::string specifier() const override { return folder.specifier(); }
  bool exists() override { return Maildir::isMaildir(folder.place.directory); }
  Value property(std::string_view name) override;
  std::vector<ObjectPtr> elements(std::string_view className) override;

  Folder& folder;

 private:
  ObjectPtr container();

  Mail& mail_;
};

/// A received message.
class Message : public DesktopObject {
 public:
  Message(Mail& mail, LetterPtr stored) : DesktopObject(mail), letter(std::move(stored)), mail_(mail) {}
  std::string className() const override { return "message"; }
  std::string specifier() const override { return letter->specifier(); }
  bool exists() override { return letter->exists(); }
  Value property(std::string_view name) override;
  void setProperty(std::string_view name, const Value& value) override;
  std::vector<ObjectPtr> elements(std::string_view className) override;

  /// Shows a copy with the person's usual program for messages.
  void open();

  const LetterPtr letter;

 private:
  Mail& mail_;
};

/// A file that came with a message.
class MailAttachment : public DesktopObject {
 public:
  MailAttachment(Mail& mail, LetterPtr letter, std::size_t index, Mime::Attachment attachment);
  std::string className() const override { return "mail attachment"; }
  std::string specifier() const override;
  Value property(std::string_view name) override;
  void saveIn(const std::filesystem::path& file);

 private:
  LetterPtr letter_;
  std::size_t index_;
  Mime::Attachment attachment_;
};

// ---- On the way out.

class OutgoingMessage : public DesktopObject {
 public:
  OutgoingMessage(Mail& mail, DraftPtr of) : DesktopObject(mail), draft(std::move(of)), mail_(mail) {}
  std::string className() const override { return "outgoing message"; }
  std::string specifier() const override { return draft->specifier(); }
  bool exists() override { return !draft->isClosed; }
  Value property(std::string_view name) override;
  void setProperty(std::string_view name, const Value& value) override;
  std::vector<ObjectPtr> elements(std::string_view className) override;

  const DraftPtr draft;

 private:
  Mail& mail_;
};

/// The text of a message on its way out, as something that files can be put into.
class OutgoingText : public DesktopObject {
 public:
  OutgoingText(Mail& mail, DraftPtr of) : DesktopObject(mail), draft(std::move(of)), mail_(mail) {}
  std::string className() const override { return "rich text"; }
  std::string specifier() const override { return "content of " + draft->specifier(); }
  Value property(std::string_view) override { return AppleScript::Missing(); }
  std::vector<ObjectPtr> elements(std::string_view className) override;
  Value plainValue() override { return draft->text; }

  const DraftPtr draft;

 private:
  Mail& mail_;
};

/// Somebody whom a message on its way out goes to.
class Recipient : public DesktopObject {
 public:
  Recipient(Mail& mail, DraftPtr of, AddresseePtr who);
  std::string className() const override;
  std::string specifier() const override;
  bool exists() override;
  Value property(std::string_view name) override;
  void setProperty(std::string_view name, const Value& value) override;
  void remove();

 private:
  DraftPtr draft_;
  AddresseePtr addressee_;
};

/// A file that goes with a message.
class Attachment : public DesktopObject {
 public:
  Attachment(Mail& mail, DraftPtr of, AttachedFilePtr file);
  std::string className() const override { return "attachment"; }
  std::string specifier() const override;
  Value property(std::string_view name) override;
  void setProperty(std::string_view name, const Value& value) override;

 private:
  DraftPtr draft_;
  AttachedFilePtr file_;
};

}  // namespace MailApplication
