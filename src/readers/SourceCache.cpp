#include "readers/SourceCache.h"

#include <algorithm>
#include <cstring>

namespace tovlark {

bool SourceCache::read(std::uint64_t offset, std::span<std::byte> buffer, SystemError& error) {
    error = {};
    if (!holds(offset, buffer.size())) return false;
    while (!buffer.empty()) {
        const Piece* piece = pieceAt(offset);
        const std::uint64_t skipped = offset % kPieceSize;
        if (piece == nullptr || skipped >= piece->bytes.size()) {
            // The piece has a place that cannot be read: perhaps not the one that is wanted.
            std::size_t readCount = 0;
            error = source_.readAt(source_.self, offset, buffer, readCount);
            return !error.failed() && readCount == buffer.size();
        }
        const std::size_t count = std::min<std::size_t>(buffer.size(), piece->bytes.size() - skipped);
        std::memcpy(buffer.data(), piece->bytes.data() + skipped, count);
        buffer = buffer.subspan(count);
        offset += count;
    }
    return true;
}

const SourceCache::Piece* SourceCache::pieceAt(std::uint64_t offset) {
    const std::uint64_t begin = offset - offset % kPieceSize;
    Piece* oldest = &pieces_[0];
    for (Piece& piece : pieces_) {
        if (piece.lastUse != 0 && piece.offset == begin) {
            piece.lastUse = ++useCount_;
            return &piece;
        }
        if (piece.lastUse < oldest->lastUse) oldest = &piece;
    }
    oldest->lastUse = 0;
    oldest->offset = begin;
    oldest->bytes.resize(std::min(kPieceSize, source_.sizeBytes - begin));
    std::size_t readCount = 0;
    if (source_.readAt(source_.self, begin, oldest->bytes, readCount).failed()) return nullptr;
    oldest->bytes.resize(readCount);
    oldest->lastUse = ++useCount_;
    return oldest;
}

}  // namespace tovlark
