#pragma once

#include <unistd.h>

#include "base/Unique.h"

namespace tovlark {

struct DescriptorTraits {
    using Value = int;
    static constexpr int kInvalid = -1;
    static void close(int descriptor) { ::close(descriptor); }
};

/// Owns a file descriptor.
using Descriptor = Unique<DescriptorTraits>;

}  // namespace tovlark
