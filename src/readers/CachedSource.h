#pragma once

#include <array>
#include <limits>
#include <span>
#include <vector>

#include "readers/ByteSource.h"

namespace tovlark {

/// Serves small reads near each other from few large ones, 4 MiB of which are kept.
class CachedSource {
public:
    /// What `source` refers to must outlive the cache.
    explicit CachedSource(const ByteSource& source) : source_(source) {}

    const ByteSource& source() const { return source_; }
    /// As `ByteSource::readAt`.
    SystemError readAt(std::uint64_t offset, std::span<std::byte> buffer, std::size_t& readCount);

    /// True when the whole range lies inside the source.
    bool holds(std::uint64_t offset, std::uint64_t sizeBytes) const {
        return offset <= source_.sizeBytes && sizeBytes <= source_.sizeBytes - offset;
    }
    /// Fills `buffer`; false when the range does not lie inside the source (`error` 0) or cannot be read.
    [[nodiscard]] bool readWhole(std::uint64_t offset, std::span<std::byte> buffer, SystemError& error) {
        std::size_t readCount = 0;
        error = {};
        if (holds(offset, buffer.size())) error = readAt(offset, buffer, readCount);
        return !error.failed() && readCount == buffer.size();
    }
    /// The same for a structure as it is stored.
    template <typename Structure>
    [[nodiscard]] bool readStructure(std::uint64_t offset, Structure& structure, SystemError& error) {
        return readWhole(offset, std::as_writable_bytes(std::span(&structure, 1)), error);
    }

private:
    static constexpr std::size_t kLineBytes = 32 * 1024, kLineCount = 128;

    struct Line {
        std::uint64_t index = std::numeric_limits<std::uint64_t>::max();  // its offset / kLineBytes; max: empty
        std::vector<std::byte> bytes;
    };

    ByteSource source_;
    std::array<Line, kLineCount> lines_;
};

}  // namespace tovlark
