// `completion bash|zsh|fish`: a script for the shell that completes verbs, and behind them tool ids, queued actions,
// open questions and automations.
#pragma once

#include "TavroCLI/Verb.h"

namespace CompletionVerb {

Work completion(CLI::App& command);
/// For those scripts: what may follow the words that are there.
Work complete(CLI::App& command);

}  // namespace CompletionVerb
