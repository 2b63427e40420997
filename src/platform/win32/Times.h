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

/// Dates before that epoch count as it.
inline FILETIME ToFileTime(UnixSeconds seconds) {
    const UnixSeconds kept = seconds < -kSecondsFrom1601 ? 0 : seconds + kSecondsFrom1601;
    const auto ticks = static_cast<std::uint64_t>(kept) * static_cast<std::uint64_t>(kTicksPerSecond);
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

inline UnixSeconds FromTicks(std::int64_t ticks) { return ticks / kTicksPerSecond - kSecondsFrom1601; }

}  // namespace tovlark
