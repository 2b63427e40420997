#include "readers/Volume.h"

#include <algorithm>

#include "readers/IsoVolume.h"
#include "readers/UdfVolume.h"

namespace tovlark {

std::vector<VolumeKind> FindVolumes(const ByteSource& source, std::optional<VolumeFault>& fault) {
    const IsoVolumeFacts facts = ReadIsoFacts(source);
    fault = facts.fault;
    std::vector<VolumeKind> kinds;
    if (facts.hasRockRidge) kinds.push_back(VolumeKind::RockRidge);
    if (HasUdf(source)) {
        std::optional<VolumeFault> udfFault;
        if (OpenUdf(source, udfFault))
            kinds.push_back(VolumeKind::Udf);
        else if (!fault)
            fault = std::move(udfFault);
    }
    if (facts.joliet) kinds.push_back(VolumeKind::Joliet);
    if (facts.iso) kinds.push_back(VolumeKind::Iso);
    return kinds;
}

std::unique_ptr<Volume> OpenVolume(const ByteSource& source, VolumeKind kind, std::optional<VolumeFault>& fault) {
    fault.reset();
    if (kind == VolumeKind::Udf) return OpenUdf(source, fault);
    const IsoVolumeFacts facts = ReadIsoFacts(source);
    std::unique_ptr<Volume> volume = OpenIso(source, kind, facts);
    if (!volume) {
        fault = facts.fault;
        if (!fault) fault = VolumeFault{TextId::NoSuchTree, {}, {}};
    }
    return volume;
}

std::optional<VolumeEntry> FindEntry(Volume& volume, TextView path, std::optional<VolumeFault>& fault) {
    fault.reset();
    VolumeEntry found = volume.root();
    for (std::size_t begin = 0; begin < path.size();) {
        const std::size_t end = std::min(path.find(u'/', begin), path.size());
        const TextView name = path.substr(begin, end - begin);
        begin = end + 1;
        if (name.empty()) continue;
        if (found.kind != EntryKind::Folder) return std::nullopt;
        std::optional<VolumeEntry> exact, similar;
        fault = volume.list(found, [&](const VolumeEntry& entry) {
            if (entry.name == name) exact = entry;
            if (!exact && !similar && EqualsIgnoringCase(entry.name, name)) similar = entry;
            return !exact;
        });
        if (!exact && !similar) return std::nullopt;
        fault.reset();
        found = std::move(exact ? *exact : *similar);
    }
    return found;
}

SystemError ReadRange(const ByteSource& source, std::span<const DataExtent> extents, std::uint64_t offset,
                      std::span<std::byte> buffer, std::size_t& readCount) {
    readCount = 0;
    for (const DataExtent& extent : extents) {
        if (buffer.empty()) break;
        if (offset >= extent.sizeBytes) {
            offset -= extent.sizeBytes;
            continue;
        }
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), extent.sizeBytes - offset));
        std::size_t takenCount = count;
        if (extent.offset == DataExtent::kZeros) {
            std::ranges::fill(buffer.first(count), std::byte{0});
        } else {
            const SystemError error =
                source.readAt(source.self, extent.offset + offset, buffer.first(count), takenCount);
            if (error.failed()) return error;
        }
        readCount += takenCount;
        if (takenCount < count) break;
        buffer = buffer.subspan(count);
        offset = 0;
    }
    return {};
}

}  // namespace tovlark
