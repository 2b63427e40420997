#pragma once

#include <algorithm>
#include <cstddef>
#include <span>

#include "readers/ByteSource.h"

namespace tovlark {

/// A source of bytes in memory behind so many zeros.
struct MemoryBytes {
    std::span<const std::byte> bytes;
    std::uint64_t zerosBefore = 0;

    ByteSource source() { return {this, zerosBefore + bytes.size(), ReadAt, nullptr}; }

private:
    static SystemError ReadAt(void* self, std::uint64_t offset, std::span<std::byte> buffer, std::size_t& readCount) {
        const auto& memory = *static_cast<const MemoryBytes*>(self);
        readCount = 0;
        for (; readCount < buffer.size() && offset < memory.zerosBefore; ++offset) buffer[readCount++] = std::byte{0};
        const std::uint64_t begin =
            std::min<std::uint64_t>(offset - std::min(offset, memory.zerosBefore), memory.bytes.size());
        const auto rest = memory.bytes.subspan(begin);
        const std::size_t count = std::min(buffer.size() - readCount, rest.size());
        std::copy_n(rest.begin(), count, buffer.begin() + static_cast<std::ptrdiff_t>(readCount));
        readCount += count;
        return {};
    }
};

}  // namespace tovlark
