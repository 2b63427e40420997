#pragma once

#include <vector>

#include "base/Text.h"

namespace tovlark {

/// The body of a program. `platform` supplies the system's entry point (`main`, `wmain`, `wWinMain`), converts the
/// words (program name first) and returns the status. Each program of this project defines it once.
int ProgramMain(const std::vector<Text>& words);

}  // namespace tovlark
