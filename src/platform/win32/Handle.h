#pragma once

#include <windows.h>

#include "base/Unique.h"

namespace tovlark {

struct HandleTraits {
    using Value = HANDLE;
    static constexpr HANDLE kInvalid = nullptr;
    static void close(HANDLE handle) { ::CloseHandle(handle); }
};

/// Owns a kernel object. Functions that report failure with INVALID_HANDLE_VALUE go through `OwnHandle`.
using Handle = Unique<HandleTraits>;

inline Handle OwnHandle(HANDLE handle) { return Handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle); }

}  // namespace tovlark
