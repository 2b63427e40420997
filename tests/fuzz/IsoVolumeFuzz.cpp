#include <cstdint>
#include <cstdlib>

#include "readers/BootCatalog.h"
#include "readers/IsoVolume.h"
#include "readers/TreeWalk.h"
#include "support/MemorySource.h"

using namespace tovlark;

namespace {

/// What is located adds up and lies inside the source.
void CheckExtents(const ByteSource& source, const VolumeEntry& entry, const std::vector<DataExtent>& extents) {
    std::uint64_t total = 0;
    for (const DataExtent& extent : extents) {
        if (extent.offset > source.sizeBytes || extent.sizeBytes > source.sizeBytes - extent.offset) std::abort();
        total += extent.sizeBytes;
    }
    if (entry.kind == EntryKind::File && total != entry.sizeBytes) std::abort();
}

}  // namespace

// An image from its sector 16 on: every tree of ISO 9660 is walked to its end, all data are located, and the boot
// catalog is read. The walk meets no more records than the bytes can hold.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    MemoryBytes memory{std::as_bytes(std::span(data, size)), 16 * 2048};
    const ByteSource source = memory.source();
    std::optional<VolumeFault> fault;
    if (const auto catalog = ReadBootCatalog(source, fault); catalog && catalog->entries.size() > size / 32)
        std::abort();
    const IsoVolumeFacts facts = ReadIsoFacts(source);
    for (const VolumeKind kind : {VolumeKind::Iso, VolumeKind::Joliet, VolumeKind::RockRidge}) {
        const std::unique_ptr<Volume> volume = OpenIso(source, kind, facts);
        if (!volume) continue;
        std::size_t itemCount = 0;
        std::vector<DataExtent> extents;
        TreeVisitor visitor;
        visitor.item = [&](const WalkedFolder&, const VolumeEntry& entry, std::uint64_t&, bool&) {
            if (entry.name.empty() || ++itemCount > size / 34) std::abort();
            if (!volume->locate(entry, extents)) CheckExtents(source, entry, extents);
            return true;
        };
        WalkTree(*volume, {u"/", volume->root()}, visitor);
        FindEntry(*volume, u"/A/B", fault);
    }
    return 0;
}
