// The names of JSON values alone, for headers that only pass them on: the whole library takes a compiler a second.
#pragma once

#include <nlohmann/json_fwd.hpp>

/// `Json` sorts its keys; `OrderedJson` keeps them as they were set.
using Json = nlohmann::json;
using OrderedJson = nlohmann::ordered_json;
