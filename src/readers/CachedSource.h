#pragma once

#include <array>
#include <limits>
#include <vector>

#include "readers/ByteSource.h"

namespace tovlark {

/// Serves small reads near each other from few large ones, 4 MiB of which are kept.
class CachedSource {
public:
    /// What `source` refers to must outlive the cache.
    explicit CachedSource(const ByteSource& source);

    const ByteSource& source() const { return source_; }
    /// As `ByteSource::readAt`.
    SystemError readAt(std::uint64_t offset, std::span<std::byte> buffer, std::size_t& readCount);

private:
    static constexpr std::size_t kLineBytes = 32 * 1024, kLineCount = 128;

    struct Line {
        std::uint64_t index = std::numeric_limits<std::uint64_t>::max();  // its offset / kLineBytes; max: empty
        std::size_t filledBytes = 0;
    };

    ByteSource source_;
    std::array<Line, kLineCount> lines_;
    std::vector<std::byte> bytes_;  // of all lines
};

}  // namespace tovlark
