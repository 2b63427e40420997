#include "readers/UdfNode.h"

#include <algorithm>

namespace tovlark {

namespace {

// Bounds of what one file may consist of, far beyond what any writer makes.
constexpr std::size_t kMostExtents = 1 << 20;
constexpr std::size_t kMostContinuations = 1 << 16;
constexpr std::size_t kMostEntries = 1024;  // of an ICB hierarchy

VolumeFault Damaged(TextView subject, SystemError error = {}) { return {TextId::FileDamaged, Text(subject), error}; }

template <typename Entry>
bool TakeEntry(std::span<const std::byte> block, UdfNode& node) {
    const auto entry = ReadStructure<Entry>(block);
    node.fileType = entry.icb.fileType;
    node.flags = entry.icb.flags;
    node.owner = entry.owner;
    node.group = entry.group;
    node.permissions = entry.permissions;
    node.links = entry.links;
    node.sizeBytes = entry.size;
    node.modified = entry.modified;
    const std::size_t room = block.size() - sizeof(Entry);
    if (entry.attributesLength > room || entry.descriptorsLength > room - entry.attributesLength) return false;
    node.dataStart = static_cast<std::uint32_t>(sizeof(Entry) + entry.attributesLength);
    node.dataLength = entry.descriptorsLength;
    return true;
}

// Collects the extents of one file, each piece checked and joined to the one before where they touch.
class ExtentList {
public:
    ExtentList(const UdfSpace& space, std::uint64_t wantedBytes, std::vector<DataExtent>& extents)
        : space_(space), wantedBytes_(wantedBytes), extents_(extents) {
        extents_.clear();
    }

    bool isComplete() const { return wantedBytes_ == 0; }
    /// What is wrong when an extent was refused.
    TextId fault() const { return isOutside_ ? TextId::FileBeyondEnd : TextId::FileUnsupported; }

    bool addZeros(std::uint32_t sizeBytes) {
        return add(DataExtent::kZeros, std::min<std::uint64_t>(sizeBytes, wantedBytes_));
    }

    bool addRecorded(UdfPlace place, std::uint32_t sizeBytes) {
        std::uint64_t left = std::min<std::uint64_t>(sizeBytes, wantedBytes_);
        while (left > 0) {
            const auto stretch = space_.find(place);
            const std::uint64_t count =
                stretch ? std::min(left, std::uint64_t{stretch->blockCount} * space_.blockSize) : 0;
            isOutside_ = !stretch || count > space_.sizeBytes() - stretch->offset;
            if (isOutside_ || !add(stretch->offset, count)) return false;
            left -= count;
            place.block += stretch->blockCount;
        }
        return true;
    }

private:
    bool add(std::uint64_t offset, std::uint64_t count) {
        if (count == 0) return true;
        wantedBytes_ -= count;
        const bool isZeros = offset == DataExtent::kZeros;
        if (!extents_.empty()) {
            DataExtent& last = extents_.back();
            const bool lastIsZeros = last.offset == DataExtent::kZeros;
            if (isZeros == lastIsZeros && (isZeros || last.offset + last.sizeBytes == offset)) {
                last.sizeBytes += count;
                return true;
            }
        }
        extents_.push_back({offset, count});
        return extents_.size() <= kMostExtents;
    }

    const UdfSpace& space_;
    std::uint64_t wantedBytes_;
    bool isOutside_ = false;
    std::vector<DataExtent>& extents_;
};

UdfLongAd DescriptorAt(std::span<const std::byte> bytes, std::size_t offset, bool isLong, std::uint16_t partition) {
    if (isLong) return ReadStructure<UdfLongAd>(bytes, offset);
    const auto ad = ReadStructure<UdfShortAd>(bytes, offset);
    return {ad.length, ad.block, partition};
}

}  // namespace

std::optional<VolumeFault> ReadUdfNode(UdfSpace& space, UdfPlace icb, TextView subject, UdfNode& node) {
    const std::span<std::byte> block = std::span(node.block).first(space.blockSize);
    bool isFound = false;
    for (std::size_t count = 0; count < kMostEntries; ++count) {
        SystemError error;
        const auto stretch = space.find(icb);
        if (!stretch || !space.readBlock(icb, block, error)) return Damaged(subject, error);
        if (HasUdfTag(block, UdfTagId::FileEntry, icb.block))
            isFound = TakeEntry<UdfFileEntry>(block, node);
        else
            isFound = HasUdfTag(block, UdfTagId::ExtendedFileEntry, icb.block) &&
                      TakeEntry<UdfExtendedFileEntry>(block, node);
        if (!isFound) return Damaged(subject);
        node.place = icb;
        node.entryOffset = stretch->offset;
        // Strategy 4096 (UDF 2.3.5.1): the entry is followed by an indirect entry once a newer one exists
        if (ReadStructure<UdfIcbTag>(block, sizeof(UdfTag)).strategy != 4096) return std::nullopt;
        std::array<std::byte, UdfSpace::kLargestBlock> following;
        const UdfPlace next{icb.partition, icb.block + 1};
        const std::span<std::byte> nextBlock = std::span(following).first(space.blockSize);
        if (!space.readBlock(next, nextBlock, error) || !HasUdfTag(nextBlock, UdfTagId::IndirectEntry, next.block))
            return error.failed() ? std::optional(Damaged(subject, error)) : std::nullopt;
        const auto indirect = ReadStructure<UdfIndirectEntry>(nextBlock);
        if ((indirect.next.length & kUdfExtentMask) == 0) return std::nullopt;
        icb = {indirect.next.partition, indirect.next.block};
    }
    return Damaged(subject);
}

std::optional<VolumeFault> LocateUdfData(UdfSpace& space, const UdfNode& node, TextView subject,
                                         std::vector<DataExtent>& extents) {
    ExtentList list(space, node.sizeBytes, extents);
    const std::uint16_t form = node.flags & UdfIcbTag::kAdMask;
    if (node.isEmbedded()) {
        if (node.sizeBytes > node.dataLength) return Damaged(subject);
        if (node.sizeBytes > 0) extents.push_back({node.entryOffset + node.dataStart, node.sizeBytes});
        return std::nullopt;
    }
    if (form != UdfIcbTag::kShortAds && form != UdfIcbTag::kLongAds)
        return VolumeFault{TextId::FileUnsupported, Text(subject), {}};
    const bool isLong = form == UdfIcbTag::kLongAds;
    const std::size_t step = isLong ? sizeof(UdfLongAd) : sizeof(UdfShortAd);

    std::array<std::byte, UdfSpace::kLargestBlock> continuation;
    std::span<const std::byte> ads = std::span(node.block).subspan(node.dataStart, node.dataLength);
    std::size_t continuationCount = 0;
    for (std::size_t offset = 0; offset + step <= ads.size() && !list.isComplete();) {
        const UdfLongAd ad = DescriptorAt(ads, offset, isLong, node.place.partition);
        const std::uint32_t length = ad.length & kUdfExtentMask;
        const UdfPlace place{ad.partition, ad.block};
        if (length == 0) break;
        offset += step;
        switch (static_cast<UdfExtentType>(ad.length >> 30)) {
            case UdfExtentType::Recorded:
                if (!list.addRecorded(place, length)) return VolumeFault{list.fault(), Text(subject), {}};
                break;
            case UdfExtentType::Allocated:
            case UdfExtentType::NotAllocated:
                if (!list.addZeros(length)) return VolumeFault{list.fault(), Text(subject), {}};
                break;
            case UdfExtentType::Continuation:
                SystemError error;
                const std::span<std::byte> block = std::span(continuation).first(space.blockSize);
                if (++continuationCount > kMostContinuations || !space.readBlock(place, block, error) ||
                    !HasUdfTag(block, UdfTagId::AllocationExtent, std::nullopt))
                    return Damaged(subject, error);
                const std::size_t room = block.size() - sizeof(UdfAllocationExtent);
                ads = block.subspan(sizeof(UdfAllocationExtent),
                                    std::min<std::size_t>(ReadStructure<UdfAllocationExtent>(block).length, room));
                offset = 0;
                break;
        }
    }
    return list.isComplete() ? std::nullopt : std::optional(Damaged(subject));
}

SystemError UdfDataStream::read(std::span<std::byte> buffer, std::size_t& readCount) {
    readCount = 0;
    while (readCount < buffer.size() && index_ < extents_.size()) {
        const DataExtent& extent = extents_[index_];
        const std::size_t count =
            static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size() - readCount, extent.sizeBytes - position_));
        const std::span<std::byte> part = buffer.subspan(readCount, count);
        std::size_t partCount = count;
        if (extent.offset == DataExtent::kZeros) {
            std::fill(part.begin(), part.end(), std::byte{0});
        } else if (const SystemError error = space_.cache().readAt(extent.offset + position_, part, partCount);
                   error.failed()) {
            return error;
        }
        readCount += partCount;
        if (partCount < count) break;  // the source has become shorter
        position_ += count;
        if (position_ == extent.sizeBytes) ++index_, position_ = 0;
    }
    return {};
}

std::optional<VolumeFault> ReadUdfData(UdfSpace& space, const UdfNode& node, std::uint64_t limitBytes, TextView subject,
                                       std::vector<std::byte>& bytes) {
    std::vector<DataExtent> extents;
    if (node.sizeBytes > limitBytes) return Damaged(subject);
    if (auto fault = LocateUdfData(space, node, subject, extents)) return fault;
    bytes.resize(static_cast<std::size_t>(node.sizeBytes));
    std::size_t readCount = 0;
    const SystemError error = UdfDataStream(space, std::move(extents)).read(bytes, readCount);
    if (error.failed() || readCount < bytes.size()) return Damaged(subject, error);
    return std::nullopt;
}

}  // namespace tovlark
