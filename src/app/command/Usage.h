#pragma once

#include "app/session/Task.h"

namespace tovlark {

/// Prints what the program can do, and gives the front end the time to show it.
void PrintUsage(Task& task);

}  // namespace tovlark
