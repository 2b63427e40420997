#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/Files.h"

namespace tovlark {

/// Bytes that can be read at any offset: an image file, and later a disc or an unpacked image.
struct ByteSource {
    void* self;
    std::uint64_t sizeBytes;
    /// Fills `buffer` from `offset`; `readCount` falls short without an error only where the source ends.
    SystemError (*readAt)(void* self, std::uint64_t offset, std::span<std::byte> buffer, std::size_t& readCount);
    /// The file itself where the bytes are those of a plain file, so that the kernel can copy ranges; else null.
    const InputFile* file;
};

/// The bytes of an open file, which must outlive the source.
ByteSource SourceOf(const InputFile& file, std::uint64_t sizeBytes);

}  // namespace tovlark
