#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "readers/ByteSource.h"

namespace tovlark {

/// Reads a source in large aligned pieces and keeps the last few of them: folders, continuation areas and file entries
/// are small and lie in a few places, each of which is read in order.
class SourceCache {
public:
    explicit SourceCache(const ByteSource& source) : source_(source) {}

    const ByteSource& source() const { return source_; }
    /// True when the whole range lies inside the source.
    bool holds(std::uint64_t offset, std::uint64_t sizeBytes) const {
        return offset <= source_.sizeBytes && sizeBytes <= source_.sizeBytes - offset;
    }
    /// Fills `buffer`; false when the range does not lie inside the source (`error` 0) or cannot be read.
    [[nodiscard]] bool read(std::uint64_t offset, std::span<std::byte> buffer, SystemError& error);

    /// The same for a structure as it is stored.
    template <typename Structure>
    [[nodiscard]] bool readStructure(std::uint64_t offset, Structure& structure, SystemError& error) {
        return read(offset, std::as_writable_bytes(std::span(&structure, 1)), error);
    }

private:
    static constexpr std::uint64_t kPieceSize = 128 * 1024;
    static constexpr std::size_t kPieceCount = 8;

    struct Piece {
        std::uint64_t offset = 0;
        std::uint64_t lastUse = 0;  // 0: nothing in it
        std::vector<std::byte> bytes;
    };

    const Piece* pieceAt(std::uint64_t offset);

    ByteSource source_;
    std::array<Piece, kPieceCount> pieces_;
    std::uint64_t useCount_ = 0;
};

}  // namespace tovlark
