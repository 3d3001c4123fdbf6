// Hands a message to the account's send command, a shell line such as "msmtp -a work -t -i".
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace SendCommand {

/// Runs the command with the message on its standard input, where no other process can see it, and waits for its end.
/// `environment` is set on top of ours: what the command is to know beside the message, without being shell text.
/// Throws Error that says how it ended and what it wrote last: "the send command ended with status 75: msmtp: cannot
/// connect to mail.example: Connection refused". The command itself isn't told: some owners' lines hold a password.
void send(const std::string& command, std::string_view message,
          const std::map<std::string, std::string>& environment = {});

}  // namespace SendCommand
