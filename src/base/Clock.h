#pragma once

#include <cstdint>

namespace tovlark {

/// Seconds since 1970-01-01 00:00 UTC.
using UnixSeconds = std::int64_t;

/// Time as engines see it. A test's clock is plain data, so that a wait of minutes takes none.
struct Clock {
    void* self;
    /// Milliseconds since an arbitrary start; never goes back.
    std::uint64_t (*milliseconds)(void* self);
    void (*sleep)(void* self, std::uint32_t milliseconds);
    UnixSeconds (*now)(void* self);
    /// Local time minus UTC, in seconds, at the given instant.
    std::int32_t (*localOffset)(void* self, UnixSeconds when);
};

}  // namespace tovlark
