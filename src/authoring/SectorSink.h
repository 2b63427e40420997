#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/Files.h"

namespace tovlark {

/// Bytes `offset`..`offset + sizeBytes` of an open file; the last sector is padded with zeros.
struct FileRange {
    const InputFile& file;
    std::uint64_t offset;
    std::uint64_t sizeBytes;
};

/// Where finished sectors go: an image file or a burn stream. Sectors arrive in strictly ascending order.
struct SectorSink {
    void* self;
    /// Takes whole sectors at sector `first`; returns how many it took. Fewer than given stops the build.
    std::uint32_t (*accept)(void* self, std::uint32_t first, std::span<const std::byte> sectors);
    /// Takes the sectors of a file's range; null when the sink cannot read files itself. Returns the bytes of the range
    /// that it took, without padding: fewer mean that the source ended early or that writing failed (`failed` tells).
    std::uint64_t (*acceptFile)(void* self, std::uint32_t first, const FileRange& range, bool& failed);
};

}  // namespace tovlark
