// Mailboxes and received messages.
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>

#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Text.h"
#include "Platform/linux/apps/Mail.h"
#include "Platform/linux/apps/Presenter.h"
#include "Platform/linux/stores/FileNames.h"

namespace fs = std::filesystem;
using namespace AppleScript;

namespace MailApplication {

// ---- Mailboxes.

Value Mailbox::property(std::string_view name) {
  const auto& place = folder.place;
  if (name == "name") return place.name;
  if (name == "account") return mail_.accountObject(*mail_.account(place.account));
  if (name == "container") return container();
  const auto letters = mail_.listing(folder);  // unread count
  return static_cast<std::int64_t>(
      std::count_if(letters->begin(), letters->end(), [](const Letter& letter) { return !letter.has('S'); }));
}

/// The mailbox whose name this one's begins with, else the account.
ObjectPtr Mailbox::container() {
  const auto& place = folder.place;
  const auto slash = place.name.rfind('/');
  if (slash != std::string::npos)
    for (auto& other : mail_.mailboxes(place.account))
      if (static_cast<Mailbox&>(*other).folder.place.name == place.name.substr(0, slash)) return std::move(other);
  return mail_.accountObject(*mail_.account(place.account));
}

std::vector<ObjectPtr> Mailbox::elements(std::string_view className) {
  std::vector<ObjectPtr> found;
  if (className == "message") {
    const auto letters = mail_.listing(folder);
    found.reserve(letters->size());
    for (auto& letter : *letters) found.push_back(std::make_shared<Message>(mail_, LetterPtr(letters, &letter)));
    return found;
  }
  for (auto& other : mail_.mailboxes(folder.place.account))
    if (static_cast<Mailbox&>(*other).folder.place.name.starts_with(folder.place.name + "/"))
      found.push_back(std::move(other));
  return found;
}

// ---- What a message consists of.

namespace {

/// The text of a received message, read when it is wanted.
class ReceivedText : public DesktopObject {
 public:
  ReceivedText(Mail& mail, LetterPtr letter) : DesktopObject(mail), letter_(std::move(letter)) {}
  std::string className() const override { return "rich text"; }
  std::string specifier() const override { return "content of " + letter_->specifier(); }
  Value property(std::string_view) override { return Missing(); }
  Value plainValue() override {
    if (text_.isNothing()) text_ = letter_->text();
    return text_;
  }

 private:
  LetterPtr letter_;
  Value text_;
};

/// Somebody whom a message came from or went to, or a line of its header: two texts.
class Detail : public DesktopObject {
 public:
  Detail(Mail& mail, const LetterPtr& letter, std::string className, std::string name, std::string text)
      : DesktopObject(mail),
        letter_(letter),
        className_(std::move(className)),
        name_(std::move(name)),
        text_(std::move(text)) {}
  std::string className() const override { return className_; }
  std::string specifier() const override {
    return className_ + " " + DesktopValues::quoted(className_ == "header" ? name_ : text_) + " of " +
           letter_->specifier();
  }
  Value property(std::string_view property) override { return property == "name" ? name_ : text_; }

 private:
  LetterPtr letter_;
  std::string className_;
  std::string name_;
  std::string text_;
};

/// Those of a message's To line by their names, which stand in the file and not in the listing: read when one is asked.
struct ToNames {
  LetterPtr letter;
  std::optional<std::vector<Mime::Address>> people;

  std::string of(std::size_t index) {
    if (!people) people = Mime::headers(letter->headerBytes()).to;
    return index < people->size() ? (*people)[index].name : "";
  }
};

class ToRecipient : public DesktopObject {
 public:
  ToRecipient(Mail& mail, std::shared_ptr<ToNames> names, std::size_t index)
      : DesktopObject(mail), names_(std::move(names)), index_(index) {}
  std::string className() const override { return "to recipient"; }
  std::string specifier() const override {
    return "to recipient " + DesktopValues::quoted(address()) + " of " + names_->letter->specifier();
  }
  Value property(std::string_view name) override { return name == "address" ? address() : names_->of(index_); }

 private:
  const std::string& address() const { return names_->letter->summary.to[index_]; }

  std::shared_ptr<ToNames> names_;
  std::size_t index_;
};

/// The lines of a header by their names, continued ones as one, as people read them.
std::vector<std::pair<std::string, std::string>> headerFields(std::string_view header) {
  std::vector<std::pair<std::string, std::string>> fields;
  for (std::size_t begin = 0, end = 0; begin < header.size(); begin = end) {
    do {
      end = header.find('\n', end);
      end = end == std::string_view::npos ? header.size() : end + 1;
    } while (end < header.size() && (header[end] == ' ' || header[end] == '\t'));
    const auto line = header.substr(begin, end - begin);
    const auto colon = line.find(':');
    if (colon == std::string_view::npos) continue;
    // A subject is decoded as any other text of a header is.
    const auto text = Mime::headers("Subject:" + std::string(line.substr(colon + 1)) + "\n").subject;
    fields.emplace_back(Text::repairUTF8(std::string(Text::trim(line.substr(0, colon)))), text);
  }
  return fields;
}

}  // namespace

MailAttachment::MailAttachment(Mail& mail, LetterPtr letter, std::size_t index, Mime::Attachment attachment)
    : DesktopObject(mail), letter_(std::move(letter)), index_(index), attachment_(std::move(attachment)) {}

std::string MailAttachment::specifier() const {
  return "mail attachment id " + DesktopValues::quoted(std::to_string(index_ + 1)) + " of " + letter_->specifier();
}

Value MailAttachment::property(std::string_view name) {
  if (name == "name") return attachment_.name;
  if (name == "id") return std::to_string(index_ + 1);
  if (name == "MIME type") return attachment_.type;
  if (name == "file size") return static_cast<std::int64_t>(attachment_.size);
  return true;  // downloaded
}

void MailAttachment::saveIn(const fs::path& file) { Files::replace(file, letter_->attachmentBytes(index_)); }

// ---- Messages.

namespace {

/// What is in the listing: the hot road of a search.
Value listed(const Letter& letter, std::string_view name) {
  const auto& summary = letter.summary;
  if (name == "subject") return summary.subject;
  if (name == "sender") return summary.sender;
  if (name == "date received") return DesktopValues::date(summary.received);
  if (name == "date sent") return DesktopValues::date(summary.sent.value_or(summary.received));
  if (name == "message size") return static_cast<std::int64_t>(summary.size);
  if (name == "message id") return summary.messageID;
  if (name == "read status") return letter.has('S');
  if (name == "flagged status") return letter.has('F');
  if (name == "deleted status") return letter.has('T');
  if (name == "was replied to") return letter.has('R');
  if (name == "was forwarded") return letter.has('P');
  if (name == "id") return letter.id();
  return {};
}

}  // namespace

Value Message::property(std::string_view name) {
  if (auto value = listed(*letter, name); !value.isNothing()) return value;
  if (name == "flag index") return letter->flagIndex();
  if (name == "junk mail status") return letter->isJunk();
  if (name == "mailbox") return mail_.mailboxObject(*letter->folder);
  if (name == "content") return ObjectPtr(std::make_shared<ReceivedText>(mail_, letter));
  if (name == "source") return Text::repairUTF8(letter->source());
  if (name == "all headers") return Text::repairUTF8(letter->headerBytes());
  if (name != "reply to") return Missing();
  const auto headers = Mime::headers(letter->headerBytes());
  return headers.replyTo.empty() ? headers.from : Mime::displayed(headers.replyTo);
}

namespace {

struct FlagProperty {
  std::string_view name;
  std::string_view flag;
};
constexpr std::array<FlagProperty, 3> flagProperties = {
    {{"read status", "S"}, {"flagged status", "F"}, {"deleted status", "T"}}};

int flagIndex(const Message& message, const Value& value) {
  const auto index = asInteger(value);
  if (index < -1 || index >= flagColors)
    throw ScriptError(ErrorNumber::cannotSet, "Can’t set flag index of " + message.specifier() + " to " +
                                                  sourceForm(value) + ". It goes from -1 (no flag) to 6 (gray).");
  return static_cast<int>(index);
}

}  // namespace

void Message::setProperty(std::string_view name, const Value& value) {
  for (const auto& [property, flag] : flagProperties)
    if (name == property) return asBoolean(value) ? letter->changeFlags(flag, "") : letter->changeFlags("", flag);
  if (name == "flag index") return letter->setFlagIndex(flagIndex(*this, value));
  if (name == "junk mail status") return letter->setJunk(asBoolean(value));
  const auto mailbox = std::dynamic_pointer_cast<Mailbox>(value.object());
  if (!mailbox) return DesktopObject::setProperty(name, value);
  letter->moveTo(mailbox->folder);
}

std::vector<ObjectPtr> Message::elements(std::string_view className) {
  std::vector<ObjectPtr> found;
  const auto add = [&](std::string_view name, const std::vector<Mime::Address>& people) {
    if (className != name && className != "recipient") return;
    for (const auto& person : people)
      found.push_back(std::make_shared<Detail>(mail_, letter, std::string(name), person.name, person.address));
  };
  if (className == "to recipient") {
    const auto names = std::make_shared<ToNames>(ToNames{.letter = letter, .people = std::nullopt});
    for (std::size_t i = 0; i < letter->summary.to.size(); ++i)
      found.push_back(std::make_shared<ToRecipient>(mail_, names, i));
  } else if (className == "header") {
    for (auto& [name, text] : headerFields(letter->headerBytes()))
      found.push_back(std::make_shared<Detail>(mail_, letter, "header", std::move(name), std::move(text)));
  } else if (className == "mail attachment") {
    for (auto& attachment : letter->attachments())
      found.push_back(std::make_shared<MailAttachment>(mail_, letter, found.size(), std::move(attachment)));
  } else {
    const auto headers = Mime::headers(letter->headerBytes());
    add("to recipient", headers.to);
    add("cc recipient", headers.cc);
    add("bcc recipient", headers.bcc);
  }
  return found;
}

/// A copy, so that no viewer changes the message, in a directory of its own that nobody else can look into. It stays
/// for as long as the system keeps temporary files: the viewer may take its time.
void Message::open() {
  std::string directory = Environment::temporaryDirectory() / "tavro-mail-XXXXXX";
  if (::mkdtemp(directory.data()) == nullptr) throw FileFailure("create", directory, errno);
  const auto copy = fs::path(directory) / (FileNames::safe(letter->summary.subject) + ".eml");
  try {
    letter->copyTo(copy);
    Presenter::open(copy);
  } catch (...) {
    Files::remove(directory);
    throw;
  }
}

}  // namespace MailApplication
