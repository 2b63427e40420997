#include "readers/IsoRecords.h"

#include <algorithm>
#include <cstring>

namespace tovlark {

namespace {

/// Logical blocks are at least so long and folders begin with one.
constexpr std::uint64_t kLeastBlock = 512;
/// A folder has no empty sectors; some programs leave a few at its end.
constexpr std::uint32_t kMostEmptySectors = 64;

}  // namespace

bool RecordReader::broken() {
    isBroken_ = true;
    position_ = end_;
    return false;
}

bool RecordReader::loadSector() {
    loadedOffset_ = position_ - position_ % kSectorSize;
    loadedEnd_ = std::min(loadedOffset_ + kSectorSize, end_);
    if (loadedEnd_ > cache_.source().sizeBytes) isBeyondSource_ = true;
    const std::span<std::byte> wanted = std::span(sector_).first(loadedEnd_ - loadedOffset_);
    if (!cache_.readWhole(loadedOffset_, wanted, error_)) return broken();
    if (++emptySectors_ > kMostEmptySectors) return broken();
    return true;
}

bool RecordReader::next() {
    while (position_ < end_) {
        if ((position_ < loadedOffset_ || position_ >= loadedEnd_) && !loadSector()) return false;
        const std::span<const std::byte> rest =
            std::span(sector_).subspan(position_ - loadedOffset_, loadedEnd_ - position_);
        const auto length = static_cast<std::size_t>(rest[0]);
        if (length == 0) {
            position_ += kLeastBlock - position_ % kLeastBlock;
            continue;
        }
        if (length <= sizeof(head_) || length > rest.size()) return broken();
        std::memcpy(&head_, rest.data(), sizeof(head_));
        if (head_.nameLength == 0 || head_.nameLength > length - sizeof(head_)) return broken();
        const std::size_t nameEnd = sizeof(head_) + head_.nameLength;
        name_ = rest.subspan(sizeof(head_), head_.nameLength);
        systemUse_ =
            rest.subspan(std::min(length, nameEnd + nameEnd % 2), length - std::min(length, nameEnd + nameEnd % 2));
        recordOffset_ = position_;
        position_ += length;
        emptySectors_ = 0;
        return true;
    }
    return false;
}

Text FromUcs2(std::span<const std::byte> bytes) {
    Text text(bytes.size() / 2, u'\0');
    for (std::size_t index = 0; index < text.size(); ++index) {
        text[index] = static_cast<char16_t>(static_cast<unsigned>(bytes[2 * index]) << 8 |
                                            static_cast<unsigned>(bytes[2 * index + 1]));
    }
    return text;
}

}  // namespace tovlark
