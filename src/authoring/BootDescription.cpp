#include "authoring/BootDescription.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>
#include <utility>

#include "authoring/Compilation.h"
#include "base/BootBytes.h"
#include "base/Checksum.h"
#include "base/Sectors.h"
#include "base/Stored.h"

namespace tovlark {

namespace {

constexpr std::size_t kVirtualSector = 512;
constexpr std::uint16_t kLoaderSectors = 4;  // one sector of the disc: what loaders with a table count on

struct FloppySize {
    std::size_t sizeBytes;
    BootMedia media;
};
constexpr FloppySize kFloppies[] = {
    {1'228'800, BootMedia::Floppy1200}, {1'474'560, BootMedia::Floppy1440}, {2'949'120, BootMedia::Floppy2880}};

struct PartitionEntry {
    std::uint8_t status = 0, firstChs[3] = {}, type = 0, lastChs[3] = {};
    Little32 first, count;
};
static_assert(sizeof(PartitionEntry) == 16);

template <typename Structure>
Structure StructureAt(std::span<const std::byte> bytes, std::size_t offset) {
    Structure structure;
    std::memcpy(&structure, bytes.data() + offset, sizeof structure);
    return structure;
}

template <typename Structure>
void Append(std::vector<std::byte>& bytes, const Structure& structure) {
    bytes.resize(bytes.size() + sizeof structure);
    std::memcpy(bytes.data() + bytes.size() - sizeof structure, &structure, sizeof structure);
}

/// The type of the only partition of a hard disk's image.
std::optional<std::uint8_t> OnlyPartition(std::span<const std::byte> image) {
    constexpr std::size_t kTable = 446, kSignature = 510, kEntries = 4;
    if (image.size() <= kVirtualSector || StructureAt<Little16>(image, kSignature) != 0xAA55) return {};
    std::optional<std::uint8_t> type;
    for (std::size_t index = 0; index < kEntries; ++index) {
        const auto entry = StructureAt<PartitionEntry>(image, kTable + index * sizeof(PartitionEntry));
        if (entry.type == 0) continue;
        const std::uint64_t end = std::uint64_t{entry.first} + entry.count;
        const bool isSound =
            (entry.status & 0x7F) == 0 && entry.first > 0 && entry.count > 0 && end <= image.size() / kVirtualSector;
        if (type || !isSound) return {};
        type = entry.type;
    }
    return type;
}

/// The sum of an image's little-endian words from byte 64; the last one is filled up with zeros.
std::uint32_t SumOf(std::span<const std::byte> image) {
    std::uint32_t sum = 0;
    for (std::size_t index = BootInfoTable::kSummedFrom; index < image.size(); ++index)
        sum += std::to_integer<std::uint32_t>(image[index]) << (8 * (index % 4));
    return sum;
}

BootValidation ValidationOf(BootPlatform platform) {
    BootValidation validation;
    validation.platform = static_cast<std::uint8_t>(platform);
    std::uint16_t sum = 0;
    const auto words = std::as_bytes(std::span(&validation, 1));
    for (std::size_t index = 0; index < sizeof validation; index += 2)
        sum = static_cast<std::uint16_t>(sum + StructureAt<Little16>(words, index));
    validation.checksum = static_cast<std::uint16_t>(-sum);
    return validation;
}

BootEntry EntryOf(const BootImage& image) {
    BootEntry entry;
    entry.indicator = image.isBootable ? BootEntry::kBootable : BootEntry::kNotBootable;
    entry.media = static_cast<std::uint8_t>(image.media);
    entry.loadSegment = image.loadSegment;
    entry.systemType = image.systemType;
    entry.sectorCount = image.sectorCount;
    entry.loadSector = image.firstSector;
    return entry;
}

struct BootFileHead {
    char magic[8] = {'T', 'V', 'B', 'O', 'O', 'T', '\r', '\n'};
    Little16 version = 1, imageCount;

    bool operator==(const BootFileHead& other) const { return std::memcmp(this, &other, sizeof other) == 0; }
};
static_assert(sizeof(BootFileHead) == 12);

struct BootFileEntry {
    static constexpr std::uint8_t kBootable = 1, kInfoTable = 2;

    std::uint8_t platform = 0, media = 0, flags = 0, systemType = 0;
    Little16 loadSegment, sectorCount;
    Little32 sizeBytes, unused12;
};
static_assert(sizeof(BootFileEntry) == 16);

BootFileEntry FileEntryOf(const BootImage& image) {
    BootFileEntry entry;
    entry.platform = static_cast<std::uint8_t>(image.platform);
    entry.media = static_cast<std::uint8_t>(image.media);
    entry.flags = static_cast<std::uint8_t>((image.isBootable ? BootFileEntry::kBootable : 0) |
                                            (image.hasInfoTable ? BootFileEntry::kInfoTable : 0));
    entry.systemType = image.systemType;
    entry.loadSegment = image.loadSegment;
    entry.sectorCount = image.sectorCount;
    entry.sizeBytes = static_cast<std::uint32_t>(image.bytes.size());
    return entry;
}

bool IsSound(const BootFileEntry& entry) {
    constexpr BootPlatform kPlatforms[] = {BootPlatform::Bios, BootPlatform::PowerPc, BootPlatform::Mac,
                                           BootPlatform::Uefi};
    const bool isInfoTable = (entry.flags & BootFileEntry::kInfoTable) != 0;
    return std::ranges::find(kPlatforms, static_cast<BootPlatform>(entry.platform)) != std::end(kPlatforms) &&
           entry.media <= static_cast<std::uint8_t>(BootMedia::HardDisk) &&
           (entry.flags & ~(BootFileEntry::kBootable | BootFileEntry::kInfoTable)) == 0 && entry.sizeBytes > 0 &&
           entry.sizeBytes <= kLargestBootImage && entry.unused12 == 0 &&
           (!isInfoTable || (entry.media == 0 && entry.sizeBytes > BootInfoTable::kSummedFrom));
}

BootImage ImageOf(const BootFileEntry& entry, std::span<const std::byte> bytes) {
    BootImage image;
    image.bytes.assign(bytes.begin(), bytes.end());
    image.platform = static_cast<BootPlatform>(entry.platform);
    image.media = static_cast<BootMedia>(entry.media);
    image.isBootable = (entry.flags & BootFileEntry::kBootable) != 0;
    image.hasInfoTable = (entry.flags & BootFileEntry::kInfoTable) != 0;
    image.systemType = entry.systemType;
    image.loadSegment = entry.loadSegment;
    image.sectorCount = entry.sectorCount;
    return image;
}

}  // namespace

BootImage ExamineBootImage(std::vector<std::byte> bytes, bool wantsInfoTable) {
    BootImage image;
    image.bytes = std::move(bytes);
    const auto floppy = std::ranges::find(kFloppies, image.bytes.size(), &FloppySize::sizeBytes);
    if (floppy != std::end(kFloppies)) {
        image.media = floppy->media;
        image.sectorCount = 1;
    } else if (const auto partition = OnlyPartition(image.bytes)) {
        image.media = BootMedia::HardDisk;
        image.systemType = *partition;
        image.sectorCount = 1;
    } else {
        image.hasInfoTable = wantsInfoTable || HasBootInfoTable(image.bytes);
        image.sectorCount = image.hasInfoTable ? kLoaderSectors : BootSectorCount(image.bytes.size());
    }
    return image;
}

bool HasBootInfoTable(std::span<const std::byte> image) {
    if (image.size() <= BootInfoTable::kSummedFrom) return false;
    const auto table = StructureAt<BootInfoTable>(image, BootInfoTable::kOffset);
    return table.imageBytes == image.size() && table.checksum == SumOf(image);
}

void WriteBootInfoTable(BootImage& image, std::uint32_t descriptorSector) {
    if (!image.hasInfoTable || image.bytes.size() <= BootInfoTable::kSummedFrom) return;
    BootInfoTable table;
    table.descriptorSector = descriptorSector;
    table.imageSector = image.firstSector;
    table.imageBytes = static_cast<std::uint32_t>(image.bytes.size());
    table.checksum = SumOf(image.bytes);
    std::memcpy(image.bytes.data() + BootInfoTable::kOffset, &table, sizeof table);
}

std::uint16_t BootSectorCount(std::uint64_t sizeBytes) {
    const std::uint64_t count = (sizeBytes + kVirtualSector - 1) / kVirtualSector;
    return count <= 0xFFFF ? static_cast<std::uint16_t>(count) : std::uint16_t{0};
}

std::vector<std::byte> ToBootCatalog(const BootDescription& boot, const CompilationNode* uefiFile) {
    static_assert(sizeof(BootValidation) + 2 * kMostBootImages * sizeof(BootEntry) + 2 * sizeof(BootEntry) <=
                  kSectorSize);
    std::vector<std::byte> catalog;
    Append(catalog, ValidationOf(boot.images.front().platform));
    Append(catalog, EntryOf(boot.images.front()));
    for (auto image = boot.images.begin() + 1; image != boot.images.end();) {
        const auto end =
            std::find_if(image, boot.images.end(), [&](const BootImage& o) { return o.platform != image->platform; });
        BootSectionHeader header;
        const bool isFinal = end == boot.images.end() && uefiFile == nullptr;
        header.indicator = isFinal ? BootSectionHeader::kFinal : BootSectionHeader::kMoreFollow;
        header.platform = static_cast<std::uint8_t>(image->platform);
        header.entryCount = static_cast<std::uint16_t>(end - image);
        Append(catalog, header);
        for (; image != end; ++image) Append(catalog, EntryOf(*image));
    }
    if (uefiFile != nullptr) {
        BootSectionHeader header;
        header.platform = static_cast<std::uint8_t>(BootPlatform::Uefi);
        header.entryCount = 1;
        Append(catalog, header);
        BootEntry entry;
        entry.sectorCount = BootSectorCount(uefiFile->sizeBytes);
        entry.loadSector = uefiFile->extent;
        Append(catalog, entry);
    }
    return catalog;
}

std::vector<std::byte> ToBootFile(const BootDescription& boot) {
    std::vector<std::byte> bytes;
    BootFileHead head;
    head.imageCount = static_cast<std::uint16_t>(boot.images.size());
    Append(bytes, head);
    for (const BootImage& image : boot.images) Append(bytes, FileEntryOf(image));
    for (const BootImage& image : boot.images) bytes.insert(bytes.end(), image.bytes.begin(), image.bytes.end());
    Append(bytes, Little32(Crc32(bytes)));
    return bytes;
}

bool FromBootFile(std::span<const std::byte> bytes, BootDescription& boot) {
    if (bytes.size() < sizeof(BootFileHead) + sizeof(Little32)) return false;
    const std::span<const std::byte> checked = bytes.first(bytes.size() - sizeof(Little32));
    if (StructureAt<Little32>(bytes, checked.size()) != Crc32(checked)) return false;
    BootFileHead expected;
    expected.imageCount = StructureAt<BootFileHead>(bytes, 0).imageCount;
    const std::size_t count = expected.imageCount;
    if (!(StructureAt<BootFileHead>(bytes, 0) == expected) || count == 0 || count > kMostBootImages) return false;
    std::size_t position = sizeof(BootFileHead) + count * sizeof(BootFileEntry);
    if (position > checked.size()) return false;
    BootDescription read;
    for (std::size_t index = 0; index < count; ++index) {
        const auto entry = StructureAt<BootFileEntry>(bytes, sizeof(BootFileHead) + index * sizeof(BootFileEntry));
        if (!IsSound(entry) || entry.sizeBytes > checked.size() - position) return false;
        read.images.push_back(ImageOf(entry, checked.subspan(position, entry.sizeBytes)));
        position += entry.sizeBytes;
    }
    if (position != checked.size()) return false;
    boot = std::move(read);
    return true;
}

}  // namespace tovlark
