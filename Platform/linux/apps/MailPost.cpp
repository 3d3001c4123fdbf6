#include "Platform/linux/apps/MailPost.h"

#include <algorithm>
#include <cerrno>
#include <unordered_set>

#include "Platform/Files.h"
#include "Platform/SystemLog.h"
#include "Platform/Text.h"
#include "Platform/linux/applescript/Value.h"
#include "Platform/linux/apps/Mail.h"
#include "Platform/linux/stores/SendCommand.h"

namespace fs = std::filesystem;
using namespace AppleScript;

namespace MailApplication {

namespace {

[[noreturn]] void refuse(const std::string& text) { throw ScriptError(ErrorNumber::handlerFailed, text); }

bool isSame(std::string_view a, std::string_view b) { return Text::equalIgnoringCase(a, b); }

/// In folded spelling. A header may name a hundred thousand.
using Addresses = std::unordered_set<std::string>;

bool isFirst(Addresses& known, const Mime::Address& person) {
  return known.insert(Text::folded(person.address)).second;
}

const std::string* addressIn(const MailAccount& account, std::string_view address) {
  const auto found = std::find_if(account.emails.begin(), account.emails.end(),
                                  [&](const auto& email) { return isSame(email, address); });
  return found == account.emails.end() ? nullptr : &*found;
}

bool isOwn(Mail& mail, std::string_view address) {
  const auto& accounts = mail.accounts();
  return std::any_of(accounts.begin(), accounts.end(),
                     [&](const auto& account) { return addressIn(account, address) != nullptr; });
}

}  // namespace

// ---- From whom.

std::optional<Post::Sender> Post::sender(Mail& mail, const Draft& draft) {
  const auto from = [](const MailAccount& account, const std::string& address) {
    return Sender{&account, {.name = account.fullName, .address = address}};
  };
  if (const auto own = mail.account(draft.account); own && !draft.address.empty()) return from(*own, draft.address);
  for (const auto& account : mail.accounts())
    if (!account.emails.empty()) return from(account, account.emails.front());
  return std::nullopt;
}

bool Post::setSender(Mail& mail, Draft& draft, std::string_view text) {
  const auto given = Mime::addresses(text);
  if (given.size() != 1) return false;
  for (const auto& account : mail.accounts()) {
    const auto address = addressIn(account, given.front().address);
    if (!address) continue;
    draft.account = account.directory;
    draft.address = *address;
    return true;
  }
  return false;
}

// ---- Answers.

namespace {

std::string answerSubject(std::string_view prefix, const std::string& subject) {
  return isSame(std::string_view(subject).substr(0, prefix.size()), prefix) ? subject
                                                                            : std::string(prefix) + " " + subject;
}

void add(Draft& draft, Line line, const Mime::Address& person) {
  draft.addressees.push_back(
      std::make_shared<Addressee>(Addressee{.line = line, .name = person.name, .address = person.address}));
}

[[noreturn]] void refuseWithoutAddress(Mail& mail, const std::string& account, bool isBroken) {
  const auto file = (mail.root() / account / "account.json").string();
  if (isBroken) refuse("Can’t tell the account’s e-mail address: " + file + " isn’t a JSON object that can be read.");
  refuse("The account has no e-mail address. Write one into \"emails\" of " + file + ".");
}

/// From the account that holds the message, by the address that it came to where that is one of the account's. Never
/// from another account: its address is nobody's business there.
void sendFromWhereItCame(Mail& mail, Draft& draft, const Letter& letter, const Mime::Headers& headers) {
  const auto& directory = letter.folder->place.account;
  const auto account = mail.account(directory);
  if (!account || account->emails.empty()) refuseWithoutAddress(mail, directory, account && account->isBroken);
  draft.account = account->directory;
  draft.address = account->emails.front();
  for (const auto* people : {&headers.to, &headers.cc})
    for (const auto& person : *people)
      if (const auto own = addressIn(*account, person.address)) return void(draft.address = *own);
}

bool canReach(const std::vector<Mime::Address>& people) {
  return std::any_of(people.begin(), people.end(), [](const auto& one) { return Mime::isAddress(one.address); });
}

/// Whom an answer goes to: where the writer wants answers, or the writer; of the owner's own message those whom it was
/// for.
const std::vector<Mime::Address>& answered(Mail& mail, const Mime::Headers& headers) {
  const auto& writers = canReach(headers.replyTo) ? headers.replyTo : headers.fromAddresses;
  const auto isOwned = [&](const auto& one) { return isOwn(mail, one.address); };
  const bool isOwnMessage = std::all_of(writers.begin(), writers.end(), isOwned);
  const bool hasOthers = !std::all_of(headers.to.begin(), headers.to.end(), isOwned) && canReach(headers.to);
  return isOwnMessage && hasOthers ? headers.to : writers;
}

/// A thread of thousands keeps its root and its latest turns.
std::vector<std::string> thread(const Mime::Headers& headers) {
  constexpr std::ptrdiff_t longest = 40;
  auto references = headers.references;
  std::erase(references, headers.messageID);
  if (!headers.messageID.empty()) references.push_back(headers.messageID);
  if (const auto surplus = std::ssize(references) - longest; surplus > 0)
    references.erase(references.begin() + 1, references.begin() + 1 + surplus);
  return references;
}

}  // namespace

void Post::reply(Mail& mail, Draft& draft, const LetterPtr& letter, bool toAll) {
  const auto headers = Mime::headers(letter->headerBytes());
  draft.answer = Draft::Answer::reply;
  draft.original = letter;
  draft.subject = answerSubject("Re:", letter->summary.subject);
  draft.inReplyTo = headers.messageID;
  draft.references = thread(headers);
  sendFromWhereItCame(mail, draft, *letter, headers);
  Addresses known;
  const auto isNew = [&](const Mime::Address& person) {  // some lines name lists and groups that no mail can go to
    return Mime::isAddress(person.address) && isFirst(known, person);
  };
  const auto& chosen = answered(mail, headers);
  for (const auto& person : chosen)
    if ((&chosen != &headers.to || !isOwn(mail, person.address)) && isNew(person)) add(draft, Line::to, person);
  if (!toAll) return;
  for (const auto* people : {&headers.to, &headers.cc})
    for (const auto& person : *people)
      if (!isOwn(mail, person.address) && isNew(person)) add(draft, Line::cc, person);
}

void Post::forward(Mail& mail, Draft& draft, const LetterPtr& letter) {
  draft.answer = Draft::Answer::forward;
  draft.original = letter;
  draft.subject = answerSubject("Fwd:", letter->summary.subject);
  sendFromWhereItCame(mail, draft, *letter, Mime::headers(letter->headerBytes()));
}

// ---- The message as it goes out.

namespace {

/// A text that can be read in more than one way would leave somebody out, or write to somebody else.
bool isClear(std::string_view text, const std::vector<Mime::Address>& read) {
  const auto isControl = [](char c) { return (c >= 0 && c < ' ') || c == 127; };
  const auto isDoubtful = [](const Mime::Address& one) {
    return !Mime::isAddress(one.address) || (one.name != one.address && one.name.find('@') != std::string::npos);
  };
  return !read.empty() && std::none_of(read.begin(), read.end(), isDoubtful) &&
         std::none_of(text.begin(), text.end(), isControl) && text.find("\uFFFD") == std::string_view::npos &&
         std::count(text.begin(), text.end(), '<') == std::count(text.begin(), text.end(), '>');
}

/// All of one line, each once.
std::vector<Mime::Address> people(const Draft& draft, Line line) {
  std::vector<Mime::Address> found;
  Addresses known;
  for (const auto& addressee : draft.addressees) {
    if (addressee->line != line) continue;
    auto named = Mime::addresses(addressee->address);
    if (!isClear(addressee->address, named)) refuse("“" + addressee->address + "” isn’t an e-mail address.");
    if (named.size() == 1 && !addressee->name.empty()) named.front().name = addressee->name;
    for (auto& person : named)
      if (isFirst(known, person)) found.push_back(std::move(person));
  }
  return found;
}

std::string bytesOf(const fs::path& file) {
  std::error_code ignored;
  if (!fs::is_regular_file(file, ignored)) refuse("Can’t attach " + file.string() + ": it isn’t a file.");
  auto bytes = Files::read(file);
  if (!bytes) throw FileFailure("read", file, ENOENT);
  return *std::move(bytes);
}

std::vector<Mime::Outgoing::File> attachments(const Draft& draft) {
  std::vector<Mime::Outgoing::File> files;
  for (const auto& file : draft.files)
    files.push_back({.name = file->filename().string(), .type = "", .bytes = bytesOf(*file)});
  if (draft.answer == Draft::Answer::forward)
    for (auto& file : draft.original->files()) files.push_back(std::move(file));
  return files;
}

Post::Sender senderOrRefuse(Mail& mail, const Draft& draft) {
  if (auto sender = Post::sender(mail, draft)) return *std::move(sender);
  const auto& accounts = mail.accounts();
  for (const auto& account : accounts)
    if (account.isBroken) refuseWithoutAddress(mail, account.directory, true);
  const auto directory = accounts.empty() ? "<account>" : accounts.front().directory;
  refuse("No account has an e-mail address. Write one into \"emails\" of " +
         (mail.root() / directory / "account.json").string() + ".");
}

std::string composed(Mail& mail, const Draft& draft) {
  const auto from = senderOrRefuse(mail, draft).address;
  return Mime::compose({.from = from,
                        .to = people(draft, Line::to),
                        .cc = people(draft, Line::cc),
                        .bcc = people(draft, Line::bcc),
                        .subject = draft.subject,
                        .text = draft.text,
                        .attachments = attachments(draft),
                        .messageID = Mime::newMessageID(from),
                        .inReplyTo = draft.inReplyTo,
                        .references = draft.references,
                        .date = Dates::now()});
}

/// The new copy stands before the old one goes.
void keep(Mail& mail, Draft& draft, std::string_view bytes) {
  auto& drafts = mail.folder(senderOrRefuse(mail, draft).account->directory, MailboxRole::drafts);
  drafts.maildir.create();
  const auto entry = drafts.maildir.deliver(bytes, "DS", Dates::now());
  drafts.forget();
  const auto earlier = std::exchange(draft.kept, Draft::Kept{&drafts, entry});
  if (!earlier) return;
  earlier->folder->maildir.remove(earlier->entry);
  earlier->folder->forget();
}

void requireOpen(const Draft& draft) {
  if (draft.isClosed) throw ScriptError(ErrorNumber::noSuchObject, "Can’t get " + draft.specifier() + ".");
}

}  // namespace

void Post::save(Mail& mail, Draft& draft) {
  requireOpen(draft);
  keep(mail, draft, composed(mail, draft));
}

// ---- Sending.

namespace {

/// What remains to be done once the message is out must not fail the script: whoever reads an error sends again, and
/// the message would go out twice. So a failure here is only logged.
template <class Work>
void afterwards(const char* failed, Work work) {
  try {
    work();
  } catch (const std::exception& failure) {
    SystemLog::error("tavro.desktop", "mail", failed, failure.what());
  }
}

/// From the drafts to the sent messages. Where that fails it stays in the drafts, but no longer as one.
void fileAsSent(Mail& mail, Draft& draft, const std::string& account, std::string_view bytes) {
  auto& drafts = *draft.kept->folder;
  drafts.forget();
  const auto copy = drafts.maildir.changeFlags(draft.kept->entry, "S", "D");
  auto& sent = mail.folder(account, MailboxRole::sent);
  sent.forget();
  sent.maildir.create();
  if (!copy || !drafts.maildir.moveTo(sent.maildir, *copy)) sent.maildir.deliver(bytes, "S", Dates::now());
}

void markOriginal(Draft& draft) {
  if (draft.answer == Draft::Answer::reply) draft.original->changeFlags("R", "");
  if (draft.answer == Draft::Answer::forward) draft.original->changeFlags("P", "");
}

std::string sentence(std::string text) {
  if (!text.ends_with('.')) text += '.';
  return text;
}

}  // namespace

void Post::send(Mail& mail, Draft& draft) {
  requireOpen(draft);
  const auto account = *senderOrRefuse(mail, draft).account;
  if (draft.addressees.empty()) refuse("Can’t send " + draft.specifier() + ": it has no recipients.");
  const auto bytes = composed(mail, draft);
  keep(mail, draft, bytes);
  try {
    SendCommand::send(account.send, bytes);
  } catch (const Error& failure) {
    refuse(sentence(failure.description()) + " The message is kept in the drafts.");
  }
  draft.isClosed = true;
  afterwards("A sent message could not be moved from the drafts to the sent messages",
             [&] { fileAsSent(mail, draft, account.directory, bytes); });
  afterwards("An answered message could not be marked as answered", [&] { markOriginal(draft); });
}

}  // namespace MailApplication
