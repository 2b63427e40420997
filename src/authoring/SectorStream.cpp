#include "authoring/SectorStream.h"

#include <algorithm>
#include <cstring>

#include "base/Sectors.h"

namespace tovlark {

namespace {

constexpr std::size_t kBufferSize = 1 << 18;
// A file at least this long is worth a write of its own; between two pieces the sink may be told to stop.
constexpr std::uint64_t kCopiedBySink = 1 << 20;
constexpr std::uint64_t kCopyPiece = 32 << 20;
static_assert(kBufferSize % kSectorSize == 0 && kCopyPiece % kSectorSize == 0);

}  // namespace

SectorStream::SectorStream(const SectorSink& sink) : sink_(sink), buffer_(kBufferSize) {}

void SectorStream::flush() {
    if (used_ == 0 || failed()) return;
    const std::span<const std::byte> gathered = std::span(buffer_).first(used_);
    used_ = 0;
    hand(gathered);
}

void SectorStream::writeSectors(std::span<const std::byte> sectors) {
    flush();
    if (!failed()) hand(sectors);
}

void SectorStream::hand(std::span<const std::byte> sectors) {
    const auto count = static_cast<std::uint32_t>(sectors.size() / kSectorSize);
    const std::uint32_t accepted = sink_.accept(sink_.self, nextSector_, sectors);
    nextSector_ += accepted;
    hasFailed_ = accepted != count;
}

std::span<std::byte> SectorStream::room() {
    if (used_ == buffer_.size()) flush();
    if (failed()) return {};
    return std::span(buffer_).subspan(used_);
}

void SectorStream::write(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const std::span<std::byte> free = room();
        if (free.empty()) return;
        const std::size_t count = std::min(free.size(), bytes.size());
        std::memcpy(free.data(), bytes.data(), count);
        used_ += count;
        bytes = bytes.subspan(count);
    }
}

void SectorStream::zeros(std::uint64_t count) {
    while (count > 0) {
        const std::span<std::byte> free = room();
        if (free.empty()) return;
        const auto piece = static_cast<std::size_t>(std::min<std::uint64_t>(free.size(), count));
        std::memset(free.data(), 0, piece);
        used_ += piece;
        count -= piece;
    }
}

void SectorStream::padToSector() { zeros((kSectorSize - used_ % kSectorSize) % kSectorSize); }

std::uint64_t SectorStream::copyBySink(const FileRange& range) {
    flush();
    std::uint64_t done = 0;
    while (done < range.sizeBytes && !failed()) {
        const FileRange piece{range.file, range.offset + done, std::min(kCopyPiece, range.sizeBytes - done)};
        const std::uint64_t taken = sink_.acceptFile(sink_.self, nextSector_, piece, hasFailed_);
        done += taken;
        nextSector_ += static_cast<std::uint32_t>(SectorsFor(taken));
        if (taken != piece.sizeBytes) break;
    }
    return done;
}

std::uint64_t SectorStream::writeFile(const FileRange& range, SystemError& readError) {
    readError = {};
    const auto& [file, offset, sizeBytes] = range;
    const std::uint64_t begin = position();
    const bool isCopied = sink_.acceptFile != nullptr && sizeBytes >= kCopiedBySink && used_ % kSectorSize == 0;
    const std::uint64_t wholeBytes = isCopied ? sizeBytes - sizeBytes % kSectorSize : 0;
    std::uint64_t done = isCopied ? copyBySink({file, offset, wholeBytes}) : 0;
    if (done < wholeBytes && !failed()) {
        std::byte probe[1];
        std::size_t readCount = 0;
        readError = file.readAt(offset + done, probe, readCount);
    }
    while (done >= wholeBytes && done < sizeBytes) {
        std::span<std::byte> free = room();
        if (free.empty()) return done;
        free = free.first(static_cast<std::size_t>(std::min<std::uint64_t>(free.size(), sizeBytes - done)));
        std::size_t readCount = 0;
        readError = file.readAt(offset + done, free, readCount);
        used_ += readCount;
        done += readCount;
        if (readError.failed() || readCount < free.size()) break;
    }
    const std::uint64_t written = position() - begin;
    if (written < sizeBytes) zeros(sizeBytes - written);
    return done;
}

}  // namespace tovlark
