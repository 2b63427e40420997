#include "burn/DamagedFiles.h"

#include <algorithm>
#include <vector>

#include "base/Sectors.h"
#include "readers/OpenedImage.h"
#include "readers/TreeWalk.h"

namespace tovlark {

namespace {

constexpr std::size_t kMostNames = 20;

/// The bytes of a source of 2048-byte sectors, at any offset.
class SourceBytes {
public:
    explicit SourceBytes(const SectorSource& source) : source_(source) {}
    ByteSource bytes() { return {this, std::uint64_t{source_.sectorCount} * kSectorSize, readAt, nullptr}; }

private:
    static SystemError readAt(void* self, std::uint64_t offset, std::span<std::byte> buffer, std::size_t& readCount) {
        auto& bytes = *static_cast<SourceBytes*>(self);
        const std::uint64_t size = std::uint64_t{bytes.source_.sectorCount} * kSectorSize;
        readCount = offset < size ? std::min<std::uint64_t>(buffer.size(), size - offset) : 0;
        if (readCount == 0) return {};
        const std::uint64_t first = offset / kSectorSize, end = (offset + readCount + kSectorSize - 1) / kSectorSize;
        bytes.sectors_.resize((end - first) * kSectorSize);
        SourceFault fault;
        if (!bytes.source_.read(bytes.source_.self, static_cast<std::uint32_t>(first), bytes.sectors_, fault)) {
            readCount = 0;
            return {};
        }
        std::ranges::copy(std::span(bytes.sectors_).subspan(offset % kSectorSize, readCount), buffer.begin());
        return {};
    }

    const SectorSource source_;
    std::vector<std::byte> sectors_;
};

bool Lies(const DataExtent& extent, std::span<const SectorRange> ranges) {
    if (extent.offset == DataExtent::kZeros || extent.sizeBytes == 0) return false;
    const std::uint64_t first = extent.offset / kSectorSize,
                        last = (extent.offset + extent.sizeBytes - 1) / kSectorSize;
    return std::ranges::any_of(
        ranges, [&](const SectorRange& range) { return first < range.first + range.count && range.first <= last; });
}

}  // namespace

void NameDamagedFiles(Task& task, const SectorSource& source, std::span<const SectorRange> ranges) {
    if (source.sectorSize != kSectorSize || source.read == nullptr) return;
    SourceBytes bytes(source);
    const ByteSource image = bytes.bytes();
    std::optional<VolumeFault> fault;
    const std::vector<VolumeKind> kinds = FindVolumes(image, fault);
    const auto volume = kinds.empty() ? nullptr : OpenVolume(image, kinds.front(), fault);
    if (volume == nullptr) return;

    std::size_t count = 0;
    std::vector<DataExtent> extents;
    TreeVisitor visitor;
    visitor.item = [&](const WalkedFolder& folder, const VolumeEntry& entry, std::uint64_t&, bool&) {
        extents.clear();
        if (entry.kind != EntryKind::File || volume->locate(entry, extents) ||
            std::ranges::none_of(extents, [&](const DataExtent& extent) { return Lies(extent, ranges); }))
            return true;
        if (count == 0) TellError(task, TextId::DamagedFiles);
        if (++count <= kMostNames)
            TellError(task, u"  " + ToPrintable(NormalInnerPath(folder.path + u"/" + entry.name)));
        return true;
    };
    WalkTree(*volume, {u"/", volume->root()}, visitor);
    if (count > kMostNames) TellError(task, TextId::MoreDamagedFiles, {static_cast<std::uint64_t>(count - kMostNames)});
    if (count == 0) TellError(task, TextId::NoDamagedFile);
}

}  // namespace tovlark
