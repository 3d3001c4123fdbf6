// `doctor`: looks at everything that has to be right, and tells what mends the rest.
#pragma once

#include "TavroCLI/Verb.h"

namespace DoctorVerb {

Work doctor(CLI::App& command);

}  // namespace DoctorVerb
