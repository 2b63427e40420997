#pragma once

#include <cstdint>

#include "base/Text.h"

namespace tovlark {

/// The operating system's own error number (`errno`, `GetLastError`); 0 means that all went well.
struct [[nodiscard]] SystemError {
    std::uint32_t code = 0;

    bool failed() const { return code != 0; }
};

/// The system's own words for the error, without a full stop or line end.
Text DescribeError(SystemError error);

}  // namespace tovlark
