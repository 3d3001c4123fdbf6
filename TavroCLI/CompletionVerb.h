// `completion bash|zsh|fish`: a script for the shell that completes verbs and, after `run` and `tools`, tool ids.
#pragma once

#include "TavroCLI/Verb.h"

namespace CompletionVerb {

Work completion(CLI::App& command);

}  // namespace CompletionVerb
