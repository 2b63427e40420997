#pragma once

#include <cstdint>

namespace tovlark {

/// Bytes of one logical sector of a data disc or image.
constexpr std::uint32_t kSectorSize = 2048;

/// Whole sectors that hold so many bytes.
constexpr std::uint64_t SectorsFor(std::uint64_t sizeBytes) {
    return sizeBytes / kSectorSize + (sizeBytes % kSectorSize != 0);
}

}  // namespace tovlark
