#pragma once

#include <windows.h>

#include "base/Clock.h"

namespace tovlark {

/// Between the system's epoch (1601-01-01 UTC) and that of `UnixSeconds`.
inline constexpr std::int64_t kSecondsFrom1601 = 11'644'473'600;
inline constexpr std::int64_t kTicksPerSecond = 10'000'000;

inline std::int64_t TicksOf(FILETIME time) {
    return static_cast<std::int64_t>(std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime);
}

inline UnixSeconds FromTicks(std::int64_t ticks) { return ticks / kTicksPerSecond - kSecondsFrom1601; }

}  // namespace tovlark
