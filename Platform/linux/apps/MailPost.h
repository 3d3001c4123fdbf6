// Messages on their way out: what they hold, how they answer another one, and how they are kept and sent.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/linux/apps/MailFolders.h"
#include "Platform/linux/stores/MailStore.h"
#include "Platform/linux/stores/MimeCompose.h"

namespace MailApplication {

class Mail;

enum class Line { to, cc, bcc };
/// Whom a message goes to, as a script gives it: `address` may have a name around it or be several, with commas.
struct Addressee {
  Line line = Line::to;
  std::string name;
  std::string address;
};
using AddresseePtr = std::shared_ptr<Addressee>;
using AttachedFilePtr = std::shared_ptr<std::filesystem::path>;

struct Draft {
  int id = 0;
  std::string subject;
  std::string text;
  bool isVisible = false;
  std::vector<AddresseePtr> addressees;
  std::vector<AttachedFilePtr> files;

  /// The account that it is from, by its directory, and the address; empty: the first account that has an address.
  std::string account;
  std::string address;

  enum class Answer { none, reply, forward };
  Answer answer = Answer::none;
  LetterPtr original;  // what it answers; a forward goes with its attachments
  std::string inReplyTo;
  std::vector<std::string> references;

  struct Kept {
    Folder* folder;
    Maildir::Entry entry;
  };
  std::optional<Kept> kept;  // in the drafts
  bool isClosed = false;     // sent or discarded

  std::string specifier() const { return "outgoing message id " + std::to_string(id); }
};
using DraftPtr = std::shared_ptr<Draft>;

namespace Post {

/// The account and address that the message is from; nothing when no account has an address.
struct Sender {
  const MailAccount* account;
  Mime::Address address;
};
std::optional<Sender> sender(Mail& mail, const Draft& draft);
/// False when no account has the address of `text`.
bool setSender(Mail& mail, Draft& draft, std::string_view text);

/// Make the draft an answer to the letter: whom it goes to, its subject, its thread. The text is the script's.
void reply(Mail& mail, Draft& draft, const LetterPtr& letter, bool toAll);
void forward(Mail& mail, Draft& draft, const LetterPtr& letter);

/// Puts the message into the drafts, in place of what was kept of it before. Throws ScriptError when no account has an
/// address or a file can't be read, FileFailure when it can't be written.
void save(Mail& mail, Draft& draft);

/// Sends the message, which stands in the drafts until it is out, and closes it. Throws ScriptError when it didn't go:
/// it is then in the drafts, where the error says so, and may be sent again.
void send(Mail& mail, Draft& draft);

}  // namespace Post

}  // namespace MailApplication
