#pragma once

#include <vector>

#include "app/session/Task.h"

namespace tovlark {

/// A command or switch that the usage text shows; `purpose` is its first sentence without the full stop, in English.
struct UsageEntry {
    Text word, purpose;
};
/// In the order of the text.
std::vector<UsageEntry> UsageEntries();

/// Prints what the program can do, and gives the front end the time to show it.
void PrintUsage(Task& task);

}  // namespace tovlark
