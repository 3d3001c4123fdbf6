#include "Platform/linux/desktop/SampleMail.h"

#include <fmt/chrono.h>

#include <array>
#include <string>

#include "Platform/Files.h"
#include "Platform/linux/stores/Maildir.h"

namespace {

// What is sent from here goes nowhere; Mail files its copy in Sent all the same.
constexpr const char* accountFile = R"({
  "emails": ["Sam Orchard <sam@orchard.example>"],
  "server": "imap.orchard.example",
  "send": "cat > /dev/null",
  "sample": true
}
)";

struct Message {
  const char* mailbox;
  const char* flags;
  int hoursAgo;
  const char* id;
  const char* from;
  const char* subject;  // as it stands in the header
  const char* headers;  // further ones, the content's among them
  const char* body;
};

constexpr const char* plain = "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 8bit\n";
constexpr const char* html = "Content-Type: text/html; charset=utf-8\nContent-Transfer-Encoding: 8bit\n";
constexpr const char* self = "Sam Orchard <sam@orchard.example>";
constexpr const char* mira = "Mira Okafor <mira@lindgren.example>";
constexpr const char* jonas = "Jonas Lindgren <jonas@lindgren.example>";

constexpr std::array<Message, 14> messages = {{
    {"INBOX", "", 0, "welcome@tavro.example", "Tavro <hello@tavro.example>", "This account is a sample", plain,
     "Everything here is made up. What you send from this account goes nowhere: its send command is\n"
     "\"cat > /dev/null\" in account.json. Remove the directory mail/Sample when you have seen enough.\n"},
    {"INBOX", "", 1, "notes-1@lindgren.example", mira, "Draft of the release notes", plain,
     "Hi Sam,\n\nthe draft is in the shared folder. Could you read the part about the import before Thursday?\n\n"
     "Mira\n\n-- \nMira Okafor\nLindgren Studio\n"},
    {"INBOX", "FS", 3, "import-2@lindgren.example", jonas, "Re: Slow import",
     "In-Reply-To: <import-1@orchard.example>\nReferences: <import-1@orchard.example>\n"
     "Content-Type: text/plain; charset=utf-8\n",
     "It is the index: without it, the same file takes four seconds. I will send a patch.\n\nJonas\n\n"
     "On Monday, Sam Orchard wrote:\n> The import of a year takes eleven minutes here. Is that expected?\n"},
    {"INBOX", "", 20, "friday@mail.example", "Ana Ferreira <ana.ferreira@mail.example>", "Dinner on Friday?", plain,
     "Eight o'clock at the usual place? Daniel comes too.\n\nbeijinho\nAna\n"},
    {"INBOX", "S", 44, "steuer@weiss.example", "=?UTF-8?Q?Hannah_Wei=C3=9F?= <kanzlei@weiss.example>",
     "=?UTF-8?Q?Unterlagen_f=C3=BCr_die_Steuererkl=C3=A4rung?=", "Content-Type: multipart/mixed; boundary=\"part\"\n",
     "--part\nContent-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: quoted-printable\n\n"
     "Guten Tag,\n\nanbei die Liste der fehlenden Belege. Viele Gr=C3=BC=C3=9Fe\n\nHannah Wei=C3=9F\n"
     "--part\nContent-Type: text/csv; charset=utf-8; name=\"Belege.csv\"\n"
     "Content-Disposition: attachment; filename=\"Belege.csv\"\nContent-Transfer-Encoding: base64\n\n"
     "RGF0dW07QmVsZWc7QmV0cmFnCjIwMjYtMDEtMTI7TGFwdG9wOzE0OTkKMjAyNi0wMi0wMztCYWhu\nO"
     "zg5Cg==\n--part--\n"},
    {"INBOX", "S", 70, "order-1187@orchardbooks.example", "Orchard Books <yuki@orchard.example>",
     "Your order 1187 has been sent", html,
     "<html><head><style>p { margin: 0 }</style></head><body><h1>On its way</h1>"
     "<p>Your order <b>1187</b> left us today:</p><ul><li>Middlemarch</li><li>The Left Hand of Darkness</li></ul>"
     "<p><a href=\"https://orchardbooks.example/track/1187\">Follow the parcel</a> &ndash; thank you!</p></body></html>\n"},
    {"INBOX", "RS", 98, "lake@mail.example", "Daniel Moreau <dan@mail.example>", "Photos from the lake", plain,
     "The best ones are the two with the boat. Send me yours?\n\nDan\n"},
    {"Sent", "S", 99, "import-1@orchard.example", self, "Slow import", plain,
     "The import of a year takes eleven minutes here. Is that expected?\n\nSam\n"},
    {"Drafts", "DS", 26, "holiday@orchard.example", self, "Holiday in June", plain,
     "Dear all,\n\nI shall be away from\n"},
    {"Archive", "S", 900, "contract@lindgren.example", jonas, "Contract for the studio", plain,
     "Signed and sent back by post. The copy is yours to keep.\n\nJonas\n"},
    {"Archive", "FS", 2000, "invoice-2041@hosting.example", "Hosting Billing <billing@hosting.example>", "Invoice 2041",
     plain, "Amount due: 48.00 EUR. It will be taken from your account on the first.\n"},
    {"Newsletters", "S", 30, "letter-12@orchardbooks.example", "Orchard Books <news@orchard.example>",
     "The Orchard Letter, No. 12",
     "List-Unsubscribe: <https://orchardbooks.example/unsubscribe>\n"
     "Content-Type: multipart/alternative; boundary=\"part\"\n",
     "--part\nContent-Type: text/plain; charset=utf-8\n\nNew this week: three novels by the sea.\n\n"
     "Unsubscribe: https://orchardbooks.example/unsubscribe\n"
     "--part\nContent-Type: text/html; charset=utf-8\n\n"
     "<p>New this week: <b>three novels by the sea</b>.</p><p><a href=\"https://orchardbooks.example/unsubscribe\">"
     "Unsubscribe</a></p>\n--part--\n"},
    {"Newsletters", "", 200, "digest-7@gardens.example", "Gardens Weekly <digest@gardens.example>",
     "What to sow in the second half of the month", plain, "Beans, chard, late lettuce. And water in the morning.\n"},
    {"Junk", "", 50, "won@prizes.example", "Prize Office <office@prizes.example>", "You have been chosen!!!", html,
     "<p>Answer within <font color=red>24 hours</font> to claim your prize.</p>\n"},
}};

std::string text(const Message& message, Dates::Instant sent) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(sent);
  const std::string_view receiver = std::string_view(message.from) == self ? jonas : self;
  return fmt::format(
      "From: {}\nTo: {}\nSubject: {}\nDate: {:%a, %d %b %Y %H:%M:%S} +0000\nMessage-ID: <{}>\nMIME-Version: 1.0\n{}\n{}",
      message.from, receiver, message.subject, fmt::gmtime(std::chrono::system_clock::to_time_t(seconds)), message.id,
      message.headers, message.body);
}

}  // namespace

std::size_t SampleMail::add(const std::filesystem::path& account) {
  const auto now = Dates::now();
  Files::createDirectories(account);
  Files::createNew(account / "account.json", accountFile);
  for (const auto& message : messages) {
    const auto sent = now - std::chrono::hours(message.hoursAgo) - std::chrono::minutes(7);
    Maildir(account / message.mailbox).deliver(text(message, sent), message.flags, sent);
  }
  return messages.size();
}
