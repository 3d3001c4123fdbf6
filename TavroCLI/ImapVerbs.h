// `imap password EMAIL` and `imap verify EMAIL`: the accounts of the mail servers that archiving logs in to.
#pragma once

#include "TavroCLI/Verb.h"

namespace ImapVerbs {

Work password(CLI::App& command);
Work verify(CLI::App& command);

}  // namespace ImapVerbs
