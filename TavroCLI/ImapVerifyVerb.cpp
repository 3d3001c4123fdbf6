// `tavro imap verify`: whether an account's server, certificate and password work, before an archiving needs them. It
// logs in only where the settings send the password anyway, so anybody may ask for it.
#include <memory>

#include "TavroCLI/ImapLogin.h"
#include "TavroCLI/ImapVerbs.h"
#include "TavroCLI/Terminal.h"

namespace {

ExitStatus verified(const std::string& email) {
  const auto account = ImapLogin::account(email);
  const auto failure = [&] {
    const Terminal::Progress progress("logging in to " + account.host);
    return ImapLogin::failure(email);
  }();
  if (failure) throw CommandError(ExitStatus::failed, *failure);
  Terminal::print("OK logged in to " + account.host + " as " + account.email + "\n");
  return ExitStatus::done;
}

}  // namespace

namespace ImapVerbs {

Work verify(CLI::App& command) {
  auto email = std::make_shared<std::string>();
  command.add_option("EMAIL", *email, "the address that the account logs in with")->required();
  return [email] { return verified(*email); };
}

}  // namespace ImapVerbs
