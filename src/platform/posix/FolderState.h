#pragma once

#include "platform/Files.h"
#include "platform/posix/Descriptor.h"

namespace tovlark {

struct OpenFolder::State {
    Descriptor folder;
};

}  // namespace tovlark
