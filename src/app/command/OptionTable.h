#pragma once

#include <span>

#include "app/command/Handlers.h"
#include "base/Text.h"

namespace tovlark {

struct OptionRow {
    TextView word;
    Handler handler;
};

/// Every word that the command line knows, commands and switches alike, in the order of search.
std::span<const OptionRow> AllOptions();

}  // namespace tovlark
