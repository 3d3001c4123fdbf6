// Measures mail.search over 20,000 messages in 40 mailboxes, beside two that search the same store: notmuch, which
// keeps an index of its own, and a plain `grep -r`. argv: the directory of the programs.
#include <fstream>

#include "bench/Store.h"

namespace {

namespace fs = std::filesystem;

constexpr int mailboxes = 40;
constexpr int messagesEach = 500;

std::string message(int number) {
  std::string text = fmt::format(
      "Return-Path: <sender{0}@shop.example>\n"
      "Received: from mx.shop.example (mx.shop.example [192.0.2.7])\n\tby mail.home.example with ESMTPS id {0:08}\n"
      "\tfor <ann@home.example>; Sat, 14 Mar 2026 09:26:53 +0000\n"
      "From: =?UTF-8?Q?J=C3=B6rg?= Sender <sender{0}@shop.example>\nTo: Ann Lee <ann@home.example>\n"
      "Subject: Your order {0} has been sent\nMessage-ID: <{0}.4711@shop.example>\n"
      "Date: Sat, 14 Mar 2026 09:26:5{1} +0000\nMIME-Version: 1.0\nContent-Type: text/plain; charset=utf-8\n\n",
      number, number % 10);
  for (int line = 0; line < 60; ++line)
    text += fmt::format("Line {} of message {}, as long as lines of mail are.\n", line, number);
  return text;
}

void fill(const fs::path& account) {
  for (int box = 0; box < mailboxes; ++box) {
    const auto directory = account / (box == 0 ? "INBOX" : fmt::format("Folder{:02}", box));
    for (const char* part : {"tmp", "new", "cur"}) fs::create_directories(directory / part);
    for (int i = 0; i < messagesEach; ++i) {
      const int number = box * messagesEach + i;
      std::ofstream(directory / "cur" / fmt::format("{}.M{}P1.bench:2,S", 1'773'480'413 + number * 60, number))
          << message(number);
    }
  }
}

void measure(const fs::path& programs, const fs::path& scratch) {
  const auto desktop = scratch / "desktop";
  const auto mail = desktop / "mail";
  fill(mail / "Bench");
  fmt::print("{} messages in {} mailboxes\n", mailboxes * messagesEach, mailboxes);

  const std::string tavro = programs / "tavro";
  const std::vector<std::string> search = {tavro, "run", "mail.search", "subjectContains=order 1234", "from=shop"};
  forget(mail);
  row("mail.search, nothing cached", costOf(search), 3);
  fs::remove_all(desktop / "cache");
  row("mail.search, files cached, no index", costOf(search), 3);
  row("mail.search, warm", medianCost(search, 9), 0.5);
  row("mail.search by recipient, warm", medianCost({tavro, "run", "mail.search", "to=nobody"}, 5), 0.5);

  forget(mail);
  row("grep -r, nothing cached", costOf({"grep", "-r", "order 1234", mail}));
  row("grep -r, warm", medianCost({"grep", "-r", "order 1234", mail}, 5));

  const auto config = scratch / "notmuch-config";
  std::ofstream(config) << "[database]\npath=" << mail.string()
                        << "\n[user]\nname=Ann\nprimary_email=ann@home.example\n";
  setenv("NOTMUCH_CONFIG", config.c_str(), 1);
  forget(mail);
  row("notmuch new, which makes its index", costOf({"notmuch", "new", "--quiet"}));
  row("notmuch search, warm", medianCost({"notmuch", "search", "subject:\"order 1234\""}, 9));
}

}  // namespace

int main(int argc, char** argv) { return measureStore(argc, argv, measure); }
