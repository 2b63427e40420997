#pragma once

#include "platform/Files.h"

namespace tovlark {

// Paths are all that this system opens files by.
struct OpenFolder::State {
    Text path;
};

}  // namespace tovlark
