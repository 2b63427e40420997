#pragma once

#include <cstdint>

#include "base/Text.h"

namespace tovlark {

/// The operating system's own error number (`errno`, `GetLastError`); 0 means that all went well.
struct [[nodiscard]] SystemError {
    std::uint32_t code = 0;

    bool failed() const { return code != 0; }
    bool operator==(const SystemError&) const = default;
};

/// The system's numbers for what this program finds out by itself.
extern const SystemError kFileTooLarge, kTooManyLinks, kIsFolder;

/// The system's own English words for the error, without a full stop or line end: "Permission denied".
Text DescribeError(SystemError error);

}  // namespace tovlark
