#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "base/Text.h"
#include "platform/Files.h"

namespace tovlark {

/// Bytes `offset`..`offset + sizeBytes` of an open file.
struct FileRange {
    const InputFile& file;
    std::uint64_t offset;
    std::uint64_t sizeBytes;
};

/// Where finished sectors go: an image file or a burn stream. Sectors arrive in strictly ascending order, in large
/// pieces.
struct SectorSink {
    void* self;
    /// Takes whole sectors at sector `first`; returns how many it took. Fewer than given stops the build.
    std::uint32_t (*accept)(void* self, std::uint32_t first, std::span<const std::byte> sectors);
    /// Takes the sectors of a file's range; null when the sink cannot read files itself. Returns the bytes of the range
    /// that it took; the last sector begun is padded with zeros and counts as written. Fewer mean that the source
    /// could not be read on, or that writing failed (`failed` tells), which stops the build.
    std::uint64_t (*acceptFile)(void* self, std::uint32_t first, const FileRange& range, bool& failed);
    /// Hears what became of a file that is not as it was laid out; null when nobody wants to know.
    void (*report)(void* self, const Text& words) = nullptr;
};

}  // namespace tovlark
