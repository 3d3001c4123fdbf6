#include "TavroCore/feedback/MailAskChannel.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <array>
#include <utility>

#include "Platform/Text.h"
#include "TavroCore/harness/HarnessConfig.h"
#include "TavroCore/harness/HarnessRunner.h"
#include "TavroCore/mail/MailAccounts.h"
#include "TavroCore/mail/MailBody.h"
#include "TavroCore/mail/MailTools.h"

using std::string;
using std::string_view;

namespace {

constexpr auto nowhere = string_view::npos;

// ---- Lines of mail.search.

constexpr string_view separator = " || ";

struct Line {
  string_view place;
  string_view sender;
  string_view subject;
};

std::vector<std::size_t> separators(string_view line) {
  std::vector<std::size_t> found;
  for (std::size_t at = 0; (at = line.find(separator, at)) != nowhere; at += separator.size()) found.push_back(at);
  return found;
}

/// A question may hold the separator itself, so the subject begins behind the last one before the tag.
std::optional<Line> readLine(string_view text, string_view tag) {
  const auto cuts = separators(text);
  if (cuts.size() < 4) return std::nullopt;
  const auto before = std::lower_bound(cuts.begin(), cuts.end(), text.find(tag)) - cuts.begin();
  const auto last = cuts[static_cast<std::size_t>(before < 4 ? std::ssize(cuts) - 1 : before - 1)];
  const auto sender = cuts[2] + separator.size();
  return Line{.place = text.substr(0, cuts[0]),
              .sender = text.substr(sender, last - sender),
              .subject = text.substr(last + separator.size())};
}

struct Place {
  string_view account;
  string_view mailbox;
};

/// "Work/Archive/2026" is the mailbox "Archive/2026" of the account "Work".
Place readPlace(string_view text) {
  const auto slash = text.find('/');
  const auto mailbox = slash == nowhere ? string_view() : text.substr(slash + 1);
  return {text.substr(0, slash), mailbox.empty() ? "INBOX" : mailbox};
}

// ---- Which mail is the owner's reply.

/// As mail programs may pass a text on, in other white space and another spelling of the same characters.
std::u32string plain(string_view text) {
  std::u32string words;
  bool isBlankDue = false;
  for (const char32_t c : Text::codePoints(Text::folded(text))) {
    if (u_isUWhiteSpace(static_cast<UChar32>(c)) || u_iscntrl(static_cast<UChar32>(c))) {
      isBlankDue = !words.empty();
      continue;
    }
    if (std::exchange(isBlankDue, false)) words += U' ';
    words += c;
  }
  return words;
}

/// The question's own mail is no reply even when it asks "Before: or after?". So where the question's words follow the
/// tag, cut short or with a mark of a server behind them, only what stands before it counts.
bool isReply(string_view subject, const FeedbackItem& question) {
  const auto shown = plain(subject), own = plain(MailAskChannel::subject(question));
  const auto at = shown.find(plain(AskChannel::tag(question)));
  const auto fromTag = at == std::u32string::npos ? std::u32string_view() : std::u32string_view(shown).substr(at);
  const bool isOwn = !fromTag.empty() && (own.starts_with(fromTag) || fromTag.starts_with(own));
  return (isOwn ? shown.substr(0, at) : shown).find(U"re:") != std::u32string::npos;
}

/// Mail programs save a reply into the drafts while the owner is still at it.
bool isDrafts(string_view mailbox) {
  static constexpr std::array<string_view, 10> names = {"drafts",   "draft", "brouillons", "entwürfe",  "borradores",
                                                        "borrador", "bozze", "concepten",  "rascunhos", "utkast"};
  const auto last = mailbox.find_last_of("/.");
  const auto name = Text::folded(last == nowhere ? mailbox : mailbox.substr(last + 1));
  return std::find(names.begin(), names.end(), name) != names.end();
}

/// "ann@x.example" of "Ann Lee <ann@x.example>"
string_view addressIn(string_view text) {
  const auto bracket = text.rfind('<');
  const auto address = Text::trim(bracket == nowhere ? text : text.substr(bracket + 1));
  return address.substr(0, address.find_first_of("> ("));
}

/// Mail's own filter takes any sender that contains the owner's address, joann@x.example too, or a name like it. What
/// shows no address at all is left to that filter.
bool isFromOwner(string_view sender, const std::vector<string>& owners) {
  if (owners.empty() || sender.find('@') == nowhere) return true;
  return std::any_of(owners.begin(), owners.end(),
                     [&](const string& owner) { return Text::equalIgnoringCase(addressIn(sender), addressIn(owner)); });
}

/// Is there a mail beside the reply that Mail's filters can't tell from it, and that somebody else wrote?
bool hasForgery(string_view output, const Line& reply, const FeedbackItem& question,
                const std::vector<string>& owners) {
  const auto subject = plain(reply.subject);
  const auto lines = Text::split(output, '\n', /*dropEmpty=*/true);
  return std::any_of(lines.begin(), lines.end(), [&](const string& text) {
    const auto line = readLine(text, AskChannel::tag(question));
    return line && line->place == reply.place && !isFromOwner(line->sender, owners) && plain(line->subject) == subject;
  });
}

// ---- Settings.

/// As mail.notify reads it, without a name, which replies may spell in another way.
string notifyEmail(const HarnessConfig& config) { return string(addressIn(config.notifyEmail)); }

/// Without an address in the settings, whoever has the tag could answer; then the owner is who Mail's accounts are of.
std::vector<string> ownersAddresses(const string& notifyEmail) {
  if (!notifyEmail.empty()) return {notifyEmail};
  std::vector<string> addresses;
  for (const auto& account : MailAccounts::all())
    if (!account.email.empty()) addresses.push_back(account.email);
  return addresses;
}

// ---- Work on Mail.

Arguments tagged(const FeedbackItem& question, const string& from, Arguments more) {
  more["subjectContains"] = AskChannel::tag(question);
  more["from"] = from;
  return more;
}

/// Of a reply below a quote, cleaning may leave just the line that introduces the quote, "On Monday, Ann wrote:".
bool isIntroductionOnly(string_view answer, string_view raw) {
  return answer.ends_with(':') && answer.find("\n\n") == nowhere && raw.find("\n>") != nowhere;
}

/// By its exact subject: the question's own mail may stand in the same mailbox, and be as new where several arrived at
/// once.
std::optional<string> fetch(const MailAskChannel::ReplyHit& hit, const FeedbackItem& question, const string& from) {
  auto body = MailTools::body();
  body.transform = nullptr;  // cleaned below, once
  const auto fetched = HarnessRunner::executeBuilt(
      body, tagged(question, from, {{"account", hit.account}, {"mailbox", hit.mailbox}, {"subject", hit.subject}}));
  if (!fetched.ok) return std::nullopt;
  auto answer = MailBody::clean(fetched.output);
  if (answer.empty() || answer == "(no matching message)") return std::nullopt;  // gone meanwhile
  if (isIntroductionOnly(answer, fetched.output)) return std::nullopt;
  return answer;
}

std::optional<string> answerTo(const FeedbackItem& question, const string& from, const std::vector<string>& owners) {
  const auto found = HarnessRunner::executeBuilt(
      MailTools::search(), tagged(question, from, {{"account", "all"}, {"mailbox", "all"}, {"limit", "10"}}));
  if (!found.ok) return std::nullopt;
  const auto hit = MailAskChannel::replyHit(found.output, question, owners);
  return hit ? fetch(*hit, question, from) : std::nullopt;
}

/// The first line that has text; the whole text when none has.
string_view firstLine(string_view text) {
  for (std::size_t begin = 0; begin < text.size();) {
    const auto end = std::min(text.find('\n', begin), text.size());
    auto line = text.substr(begin, end - begin);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (!Text::trim(line).empty()) return line;
    begin = end + 1;
  }
  return text;
}

}  // namespace

string MailAskChannel::subject(const FeedbackItem& question) {
  constexpr std::size_t longest = 120;
  return tag(question) + " " + string(Text::firstCharacters(firstLine(question.text), longest));
}

std::optional<string> MailAskChannel::deliver(const FeedbackItem& item) const {
  const auto body = item.text + "\n\n- Reply to this mail to answer (keep " + tag(item) + " in the subject).";
  const auto sent = HarnessRunner::executeBuilt(MailTools::notify(), {{"subject", subject(item)}, {"body", body}});
  if (!sent.ok) throw ToolError::badArg("mail.notify failed: " + sent.error);
  return std::nullopt;
}

std::vector<AskChannel::Reply> MailAskChannel::harvest(const std::vector<FeedbackItem>& open) const {
  if (open.empty()) return {};
  const auto from = notifyEmail(HarnessConfig::load());
  const auto owners = ownersAddresses(from);
  std::vector<Reply> replies;
  for (const auto& question : open)
    if (auto answer = answerTo(question, from, owners)) replies.push_back({question.id, *std::move(answer)});
  return replies;
}

void MailAskChannel::cleanup(const FeedbackItem& item) const {
  const auto config = HarnessConfig::load();
  const auto mode = Text::lowercase(config.askCleanup);
  if (mode == "off") return;
  const auto from = notifyEmail(config);
  const auto found = HarnessRunner::executeBuilt(
      MailTools::search(), tagged(item, from, {{"account", "all"}, {"mailbox", "INBOX"}, {"limit", "20"}}));
  if (!found.ok) return;
  const auto action = mode == "delete" ? MailTools::discard() : MailTools::archive();
  for (const auto& account : inboxAccounts(found.output))  // each does what it can
    HarnessRunner::executeBuilt(action, tagged(item, from, {{"account", account}, {"mailbox", "INBOX"}}));
}

std::optional<MailAskChannel::ReplyHit> MailAskChannel::replyHit(string_view output, const FeedbackItem& question,
                                                                 const std::vector<string>& owners) {
  for (const auto& text : Text::split(output, '\n', /*dropEmpty=*/true)) {
    const auto line = readLine(text, tag(question));
    if (!line || !isReply(line->subject, question) || !isFromOwner(line->sender, owners)) continue;
    if (hasForgery(output, *line, question, owners)) continue;
    const auto [account, mailbox] = readPlace(line->place);
    if (!account.empty() && !isDrafts(mailbox))
      return ReplyHit{string(account), string(mailbox), string(line->subject)};
  }
  return std::nullopt;
}

std::vector<string> MailAskChannel::inboxAccounts(string_view output) {
  std::vector<string> accounts;
  for (const auto& line : Text::split(output, '\n', /*dropEmpty=*/true)) {
    const auto account = readPlace(string_view(line).substr(0, line.find(separator))).account;
    if (!account.empty() && std::find(accounts.begin(), accounts.end(), account) == accounts.end())
      accounts.emplace_back(account);
  }
  return accounts;
}
