#include <algorithm>
#include <iterator>
#include <string_view>

#include "base/Format.h"
#include "readers/UdfNode.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kAnchorSector = 256;
constexpr std::uint32_t kMostDescriptors = 1024;  // of a volume descriptor sequence: far beyond what writers make
constexpr std::uint32_t kMostFileSets = 256;
constexpr std::size_t kMostMaps = 16;
constexpr std::uint32_t kVirtualTableReach = 512;  // blocks from the end of a write-once image
constexpr std::uint64_t kLargestVirtualTable = 16 << 20;
constexpr std::uint32_t kUnused = 0xFFFFFFFF, kFirstSpecial = 0xFFFFFFF0;

using Fault = std::optional<VolumeFault>;

// Names of the standard for descriptors that a fault mentions.
Fault Missing(TextView descriptor, std::uint64_t where, SystemError error = {}) {
    return VolumeFault{TextId::UdfBadDescriptor, FormatText(u"%s #%u", {descriptor, where}), error};
}

template <std::size_t size>
bool IsIdentifier(const UdfEntity& entity, const char (&identifier)[size]) {
    return std::string_view(entity.identifier, size - 1) == identifier;
}

// What counts of one volume descriptor sequence.
struct Sequence {
    std::vector<std::byte> logicalVolume;  // its block; empty: not found
    std::vector<UdfPartition> partitions;  // the prevailing one of each number
    bool isDamaged = false;                // some descriptor is not valid
};

void TakePartition(Sequence& sequence, const UdfPartition& partition) {
    const auto known = std::find_if(sequence.partitions.begin(), sequence.partitions.end(),
                                    [&](const UdfPartition& other) { return other.number == partition.number; });
    if (known == sequence.partitions.end())
        sequence.partitions.push_back(partition);
    else if (partition.sequenceNumber >= known->sequenceNumber)
        *known = partition;
}

void TakeLogicalVolume(Sequence& sequence, std::span<const std::byte> block) {
    const auto number = ReadStructure<UdfLogicalVolume>(block).sequenceNumber;
    if (sequence.logicalVolume.empty() ||
        number >= ReadStructure<UdfLogicalVolume>(sequence.logicalVolume).sequenceNumber)
        sequence.logicalVolume.assign(block.begin(), block.end());
}

SystemError ReadSequence(UdfSpace& space, UdfExtent extent, Sequence& sequence) {
    std::vector<std::byte> block(space.blockSize);
    std::uint32_t sector = extent.location, left = extent.length / space.blockSize;
    for (std::uint32_t count = 0; count < kMostDescriptors && left > 0; ++count) {
        SystemError error;
        if (!space.readSector(sector, block, error)) {
            sequence.isDamaged = true;
            return error;
        }
        const auto identifier = static_cast<UdfTagId>(std::uint16_t{ReadStructure<UdfTag>(block).identifier});
        const bool isBlank = identifier == UdfTagId{0} && std::all_of(block.begin(), block.end(), [](std::byte byte) {
                                 return byte == std::byte{0};
                             });
        if (isBlank) return {};
        const bool isValid = HasUdfTag(block, identifier, sector);
        ++sector;
        --left;
        if (!isValid) {
            sequence.isDamaged = true;
        } else if (identifier == UdfTagId::Terminating) {
            return {};
        } else if (identifier == UdfTagId::Pointer) {
            const auto next = ReadStructure<UdfPointer>(block).nextSequence;
            sector = next.location;
            left = next.length / space.blockSize;
        } else if (identifier == UdfTagId::Partition) {
            TakePartition(sequence, ReadStructure<UdfPartition>(block));
        } else if (identifier == UdfTagId::LogicalVolume) {
            TakeLogicalVolume(sequence, block);
        }
    }
    return {};
}

template <typename Details>
Details DetailsOf(const UdfPartitionMap2& map) {
    return ReadStructure<Details>(std::as_bytes(std::span(map.details)));
}

// Puts a range of whole packets where the table says it went to.
void Replace(std::vector<UdfRun>& runs, std::uint32_t original, std::uint32_t replacement, std::uint32_t blockCount) {
    const auto found = std::find_if(runs.rbegin(), runs.rend(), [&](const UdfRun& run) {
        return run.firstBlock <= original && original - run.firstBlock < run.blockCount;
    });
    if (found == runs.rend()) return;
    const UdfRun whole = *found;
    const std::uint32_t before = original - whole.firstBlock;
    blockCount = std::min(blockCount, whole.blockCount - before);
    const std::uint32_t behind = before + blockCount;
    std::vector<UdfRun> parts;
    if (before > 0) parts.push_back({whole.firstBlock, before, whole.firstSector});
    parts.push_back({original, blockCount, replacement});
    if (behind < whole.blockCount)
        parts.push_back({whole.firstBlock + behind, whole.blockCount - behind, whole.firstSector + behind});
    const auto place = runs.erase(std::next(found).base());
    runs.insert(place, parts.begin(), parts.end());
}

// Tables of the same content; the first valid one counts. Without any, nothing was replaced.
SystemError ApplySparing(UdfSpace& space, const UdfSparableDetails& map, std::vector<UdfRun>& runs) {
    for (std::size_t index = 0; index < std::min<std::size_t>(map.tableCount, std::size(map.tables)); ++index) {
        const auto limit = sizeof(UdfSparingTable) + sizeof(UdfSparingEntry) * 0xFFFF;
        std::vector<std::byte> bytes(std::min<std::size_t>(map.tableSize, limit));
        SystemError error;
        if (!space.readSector(map.tables[index], bytes, error)) {
            if (error.failed()) return error;
            continue;
        }
        const auto table = ReadStructure<UdfSparingTable>(bytes);
        if (!HasUdfTag(bytes, UdfTagId::SparingTable, map.tables[index]) ||
            !IsIdentifier(table.identifier, "*UDF Sparing Table"))
            continue;
        std::vector<UdfSparingEntry> entries;
        for (std::size_t entry = 0; entry < table.entryCount; ++entry) {
            const std::size_t offset = sizeof(UdfSparingTable) + entry * sizeof(UdfSparingEntry);
            if (offset + sizeof(UdfSparingEntry) > bytes.size()) break;
            const auto sparing = ReadStructure<UdfSparingEntry>(bytes, offset);
            if (sparing.original < kFirstSpecial) entries.push_back(sparing);
        }
        std::stable_sort(entries.begin(), entries.end(),
                         [](const auto& left, const auto& right) { return left.original < right.original; });
        for (const UdfSparingEntry& entry : entries) Replace(runs, entry.original, entry.replacement, map.packetBlocks);
        return {};
    }
    return {};
}

// Appends one block to the runs, joined to the last where it follows it.
void AddBlocks(std::vector<UdfRun>& runs, std::uint32_t block, std::uint64_t sector, std::uint32_t count) {
    if (!runs.empty()) {
        UdfRun& last = runs.back();
        if (last.firstBlock + last.blockCount == block && last.firstSector + last.blockCount == sector) {
            last.blockCount += count;
            return;
        }
    }
    runs.push_back({block, count, sector});
}

// The numbers of a virtual allocation table, of either form; nothing when it is none.
std::optional<std::span<const std::byte>> VirtualNumbers(std::span<const std::byte> table, std::uint8_t fileType) {
    if (fileType == UdfIcbTag::kVirtualTable) {
        const auto head = ReadStructure<UdfVirtualTable>(table);
        if (table.size() < sizeof(head) || head.headLength < sizeof(head) || head.headLength > table.size())
            return std::nullopt;
        return table.subspan(head.headLength);
    }
    if (fileType != 0 || table.size() < sizeof(UdfVirtualTableEnd)) return std::nullopt;
    const std::size_t end = table.size() - sizeof(UdfVirtualTableEnd);
    if (!IsIdentifier(ReadStructure<UdfVirtualTableEnd>(table, end).identifier, "*UDF Virtual Alloc Tbl"))
        return std::nullopt;
    return table.first(end);
}

// The table is the newest thing on the volume: its file entry is the last block, but for what the drive put behind.
Fault OpenVirtual(UdfSpace& space, std::uint16_t physical, std::vector<UdfRun>& runs) {
    const std::uint64_t sectorCount = space.sizeBytes() / space.blockSize;
    const std::uint64_t start = space.partitions[physical].front().firstSector;
    std::vector<std::byte> block(space.blockSize), table;
    UdfNode node;
    for (std::uint64_t back = 1; back <= std::min<std::uint64_t>(kVirtualTableReach, sectorCount); ++back) {
        const std::uint64_t sector = sectorCount - back;
        if (sector < start) break;
        const UdfPlace place{physical, static_cast<std::uint32_t>(sector - start)};
        SystemError error;
        if (!space.readSector(sector, block, error)) return Missing(u"Virtual Allocation Table", sector, error);
        const auto identifier = static_cast<UdfTagId>(std::uint16_t{ReadStructure<UdfTag>(block).identifier});
        if (identifier != UdfTagId::FileEntry && identifier != UdfTagId::ExtendedFileEntry) continue;
        if (ReadUdfNode(space, place, {}, node) || (node.fileType != 0 && node.fileType != UdfIcbTag::kVirtualTable))
            continue;
        if (ReadUdfData(space, node, kLargestVirtualTable, {}, table)) continue;
        const auto numbers = VirtualNumbers(table, node.fileType);
        if (!numbers) continue;
        for (std::size_t index = 0; (index + 1) * sizeof(Little32) <= numbers->size(); ++index) {
            const std::uint32_t number = ReadStructure<Little32>(*numbers, index * sizeof(Little32));
            if (number == kUnused) continue;
            if (const auto stretch = space.find({physical, number}))
                AddBlocks(runs, static_cast<std::uint32_t>(index), stretch->offset / space.blockSize, 1);
        }
        return std::nullopt;
    }
    return Missing(u"Virtual Allocation Table", sectorCount);
}

// The main metadata file, or its mirror where that cannot be used.
Fault OpenMetadata(UdfSpace& space, const UdfMetadataDetails& map, std::uint16_t physical, std::vector<UdfRun>& runs) {
    for (const std::uint32_t file : {map.file, map.mirror}) {
        UdfNode node;
        std::vector<DataExtent> extents;
        if (ReadUdfNode(space, {physical, file}, {}, node) || node.isEmbedded() ||
            LocateUdfData(space, node, {}, extents))
            continue;
        std::uint64_t block = 0;
        const bool isWhole = std::all_of(extents.begin(), extents.end(), [&](const DataExtent& extent) {
            const std::uint64_t count = extent.sizeBytes / space.blockSize;
            if (extent.sizeBytes % space.blockSize != 0 || block + count >= kUnused) return false;
            if (extent.offset != DataExtent::kZeros)
                AddBlocks(runs, static_cast<std::uint32_t>(block), extent.offset / space.blockSize,
                          static_cast<std::uint32_t>(count));
            block += count;
            return true;
        });
        if (isWhole && !runs.empty()) return std::nullopt;
        runs.clear();
    }
    return Missing(u"Metadata File", map.file);
}

// Partition maps as they stand in a logical volume descriptor, types 1 and 2 in one form.
std::optional<std::vector<UdfPartitionMap2>> ReadMaps(std::span<const std::byte> logicalVolume) {
    const auto volume = ReadStructure<UdfLogicalVolume>(logicalVolume);
    const auto room = logicalVolume.subspan(sizeof(UdfLogicalVolume));
    const auto table = room.first(std::min<std::size_t>(room.size(), volume.mapTableLength));
    std::vector<UdfPartitionMap2> maps;
    std::size_t offset = 0;
    while (maps.size() < volume.mapCount) {
        auto map = ReadStructure<UdfPartitionMap2>(table, offset);
        const std::size_t wanted = map.type == 1 ? sizeof(UdfPartitionMap) : sizeof(UdfPartitionMap2);
        if (map.length != wanted || offset + wanted > table.size() || maps.size() == kMostMaps) return std::nullopt;
        if (map.type == 1) map.partition = ReadStructure<UdfPartitionMap>(table, offset).partition;
        maps.push_back(map);
        offset += wanted;
    }
    return maps;
}

bool IsPhysical(const UdfPartitionMap2& map) {
    return map.type == 1 || (map.type == 2 && IsIdentifier(map.kind, "*UDF Sparable Partition"));
}

Fault OpenPhysical(UdfSpace& space, const Sequence& sequence, const UdfPartitionMap2& map, std::vector<UdfRun>& runs) {
    const auto partition =
        std::find_if(sequence.partitions.begin(), sequence.partitions.end(),
                     [&](const UdfPartition& candidate) { return candidate.number == map.partition; });
    if (partition == sequence.partitions.end() || partition->length == 0)
        return Missing(u"Partition Descriptor", map.partition);
    runs.push_back({0, partition->length, partition->start});
    if (map.type == 1) return std::nullopt;
    const SystemError error = ApplySparing(space, DetailsOf<UdfSparableDetails>(map), runs);
    return error.failed() ? Missing(u"Sparing Table", map.partition, error) : std::nullopt;
}

Fault OpenPartitions(UdfSpace& space, const Sequence& sequence) {
    const auto maps = ReadMaps(sequence.logicalVolume);
    if (!maps) return Missing(u"Logical Volume Descriptor", 0);
    space.partitions.assign(maps->size(), {});
    for (std::size_t index = 0; index < maps->size(); ++index)
        if (IsPhysical((*maps)[index]))
            if (Fault fault = OpenPhysical(space, sequence, (*maps)[index], space.partitions[index])) return fault;
    for (std::size_t index = 0; index < maps->size(); ++index) {
        const UdfPartitionMap2& map = (*maps)[index];
        if (IsPhysical(map)) continue;
        const auto below = std::find_if(maps->begin(), maps->end(), [&](const UdfPartitionMap2& other) {
            return IsPhysical(other) && other.partition == map.partition;
        });
        if (below == maps->end()) return Missing(u"Partition Map", index);
        const auto physical = static_cast<std::uint16_t>(below - maps->begin());
        Fault fault;
        if (IsIdentifier(map.kind, "*UDF Virtual Partition"))
            fault = OpenVirtual(space, physical, space.partitions[index]);
        else if (IsIdentifier(map.kind, "*UDF Metadata Partition"))
            fault = OpenMetadata(space, DetailsOf<UdfMetadataDetails>(map), physical, space.partitions[index]);
        else
            fault = Missing(u"Partition Map", index);
        if (fault) return fault;
    }
    return std::nullopt;
}

// The newest descriptor of file set 0. The extent may end early, and may lead to another one (4/8.3.1).
Fault FindFileSet(UdfSpace& space, UdfLongAd extent, UdfPlace& root) {
    std::vector<std::byte> block(space.blockSize);
    std::optional<std::uint32_t> newest;
    std::uint32_t left = (extent.length & kUdfExtentMask) / space.blockSize;
    UdfPlace place{extent.partition, extent.block};
    for (std::uint32_t count = 0; count < kMostFileSets && left > 0; ++count, --left, ++place.block) {
        SystemError error;
        const bool isRead = space.readBlock(place, block, error);
        if (error.failed()) return Missing(u"File Set Descriptor", place.block, error);
        // Some writers leave another block's number in it
        if (!isRead || !HasUdfTag(block, UdfTagId::FileSet, std::nullopt)) break;
        const auto set = ReadStructure<UdfFileSet>(block);
        if (set.number == 0 && (!newest || set.descriptorNumber >= *newest)) {
            newest = set.descriptorNumber;
            root = {set.root.partition, set.root.block};
        }
        if (const std::uint32_t next = (set.nextExtent.length & kUdfExtentMask) / space.blockSize; next > 0) {
            left = next + 1;
            place = {set.nextExtent.partition, set.nextExtent.block - 1};
        }
    }
    return newest ? std::nullopt : Missing(u"File Set Descriptor", extent.block);
}

Fault OpenSequence(UdfSpace& space, const Sequence& sequence, UdfOpened& opened) {
    const auto volume = ReadStructure<UdfLogicalVolume>(sequence.logicalVolume);
    if (volume.blockSize != space.blockSize) return Missing(u"Logical Volume Descriptor", volume.blockSize);
    if (Fault fault = OpenPartitions(space, sequence)) return fault;
    const auto identifier = std::as_bytes(std::span(volume.identifier));
    const auto length = std::min<std::size_t>(volume.identifier[127], 127);
    opened.label = DecodeUdfText(identifier.first(length)).value_or(Text());
    opened.revision = static_cast<std::uint16_t>(volume.domain.suffix[0] | volume.domain.suffix[1] << 8);
    return FindFileSet(space, volume.fileSet, opened.root);
}

// From an anchor on: the main sequence, or the reserve where that cannot be used; damaged ones only as a last resort.
Fault OpenAnchor(UdfSpace& space, const UdfAnchor& anchor, UdfOpened& opened) {
    Fault first;
    std::optional<Sequence> sequences[2];
    for (const bool isDamaged : {false, true}) {
        for (const std::size_t index : {0, 1}) {
            std::optional<Sequence>& sequence = sequences[index];
            const UdfExtent& extent = index == 0 ? anchor.mainSequence : anchor.reserveSequence;
            Fault fault;
            if (!sequence) {
                const SystemError error = ReadSequence(space, extent, sequence.emplace());
                if (error.failed()) fault = Missing(u"Volume Descriptor Sequence", extent.location, error);
            }
            if (!fault) {
                if (sequence->isDamaged != isDamaged) continue;
                fault = sequence->logicalVolume.empty() ? Missing(u"Logical Volume Descriptor", extent.location)
                                                        : OpenSequence(space, *sequence, opened);
                if (!fault) return std::nullopt;
            }
            if (!first) first = std::move(fault);
        }
    }
    return first;
}

}  // namespace

std::optional<VolumeFault> OpenUdfSpace(UdfSpace& space, UdfOpened& opened) {
    Fault first;
    for (const std::uint32_t blockSize : {2048u, 512u, 4096u, 1024u}) {
        space.blockSize = blockSize;
        const std::uint64_t count = space.sizeBytes() / blockSize;
        // The last two are where 3/8.4.2.1 puts it, taking N as the last sector and as their number
        for (const std::uint64_t sector : {std::uint64_t{kAnchorSector}, count - 1, count - 1 - kAnchorSector,
                                           count - kAnchorSector, std::uint64_t{512}}) {
            if (sector >= count) continue;
            std::byte bytes[512];
            SystemError error;
            if (!space.readSector(sector, bytes, error)) {
                if (error.failed() && !first) first = Missing(u"Anchor Volume Descriptor Pointer", sector, error);
                continue;
            }
            if (!HasUdfTag(bytes, UdfTagId::Anchor, static_cast<std::uint32_t>(sector))) continue;
            Fault fault = OpenAnchor(space, ReadStructure<UdfAnchor>(bytes), opened);
            if (!fault) return std::nullopt;
            if (!first) first = std::move(fault);
        }
    }
    return first ? first : Missing(u"Anchor Volume Descriptor Pointer", kAnchorSector);
}

}  // namespace tovlark
