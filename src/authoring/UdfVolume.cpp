#include <algorithm>
#include <cstring>

#include "authoring/UdfDescriptors.h"
#include "authoring/UdfText.h"
#include "base/Checksum.h"
#include "base/Dates.h"
#include "base/Format.h"
#include "base/Sectors.h"

namespace tovlark {

namespace {

constexpr std::uint8_t kDomainFlags = 3;      // hard and soft write-protected (UDF 2.1.5.3)
constexpr std::uint32_t kAllocatedFlag = 1;   // of a partition (3/10.5.3)
constexpr std::uint32_t kReadOnlyAccess = 1;  // (3/10.5.7)
constexpr std::uint32_t kClosed = 1;          // type of an integrity descriptor (3/10.10.3)

bool IsThirdEdition(const ImageBuild& build) { return build.context.udfRevision >= 0x0201; }

UdfEntity Entity(std::string_view identifier) {
    UdfEntity entity;
    std::copy(identifier.begin(), identifier.end(), entity.identifier);
    return entity;
}

UdfEntity RevisionEntity(const ImageBuild& build, std::string_view identifier, std::uint8_t flags = 0) {
    UdfEntity entity = Entity(identifier);
    entity.suffix[0] = static_cast<std::uint8_t>(build.context.udfRevision & 0xFF);
    entity.suffix[1] = static_cast<std::uint8_t>(build.context.udfRevision >> 8);
    entity.suffix[2] = flags;
    return entity;
}

UdfEntity Domain(const ImageBuild& build) { return RevisionEntity(build, "*OSTA UDF Compliant", kDomainFlags); }

UdfCharSet CompressedUnicode() {
    static constexpr std::string_view kName = "OSTA Compressed Unicode";
    UdfCharSet charSet;
    std::copy(kName.begin(), kName.end(), charSet.information);
    return charSet;
}

UdfTime VolumeTime(const ImageBuild& build) {
    const UnixSeconds creation = build.context.volumeDates[static_cast<std::size_t>(VolumeDate::Creation)];
    return ToUdfTime(build.task.clock, creation != 0 ? creation : build.context.now());
}

std::uint32_t LastSector(const ImageBuild& build) { return static_cast<std::uint32_t>(build.sectorCount - 1); }

std::uint32_t PartitionLength(const ImageBuild& build) { return LastSector(build) - build.udfPlaces.partition; }

UdfExtent ExtentAt(std::uint32_t sector, std::uint32_t sectorCount) { return {sectorCount * kSectorSize, sector}; }

/// Writes the descriptors of one kind of sequence, each in a sector of its own.
class SequenceWriter {
public:
    SequenceWriter(const ImageBuild& build, SectorStream& stream) : build_(build), stream_(stream) {}

    template <typename Descriptor>
    void write(UdfTagId identifier, Descriptor& descriptor) {
        descriptor.sequenceNumber = sequenceNumber_++;
        seal(identifier, std::as_writable_bytes(std::span(&descriptor, 1)));
    }
    void seal(UdfTagId identifier, std::span<std::byte> descriptor, std::uint32_t firstSector = 0) {
        const auto sector = static_cast<std::uint32_t>(stream_.position() / kSectorSize) - firstSector;
        SealDescriptor(build_, descriptor, identifier, sector);
        stream_.write(descriptor);
        stream_.padToSector();
    }
    void terminate(std::uint32_t firstSector = 0) {
        std::byte descriptor[512] = {};
        seal(UdfTagId::Terminating, descriptor, firstSector);
    }
    std::uint32_t takeNumber() { return sequenceNumber_++; }

private:
    const ImageBuild& build_;
    SectorStream& stream_;
    std::uint32_t sequenceNumber_ = 0;
};

void WritePrimary(const ImageBuild& build, SequenceWriter& sequence) {
    UdfPrimary primary;
    FillUdfField(primary.volumeIdentifier, build.label);
    const auto now = static_cast<std::uint32_t>(build.context.now());
    FillUdfField(primary.volumeSetIdentifier,
                 FormatText(u"%08X%08X", {now, build.context.runIdentifier.value_or(now)}));
    primary.interchange = primary.interchangeMaximum = 2;
    primary.descriptorCharSet = primary.explanatoryCharSet = CompressedUnicode();
    primary.recorded = VolumeTime(build);
    primary.implementation = UdfImplementation();
    sequence.write(UdfTagId::Primary, primary);
}

void WriteImplementationUse(const ImageBuild& build, SequenceWriter& sequence) {
    UdfImplementationUse use;
    use.implementation = RevisionEntity(build, "*UDF LV Info");
    use.charSet = CompressedUnicode();
    FillUdfField(use.logicalVolumeIdentifier, build.label);
    use.innerImplementation = UdfImplementation();
    sequence.write(UdfTagId::ImplementationUse, use);
}

void WritePartition(const ImageBuild& build, SequenceWriter& sequence) {
    UdfPartition partition;
    partition.flags = kAllocatedFlag;
    partition.contents = Entity(IsThirdEdition(build) ? "+NSR03" : "+NSR02");
    partition.accessType = kReadOnlyAccess;
    partition.start = build.udfPlaces.partition;
    partition.length = PartitionLength(build);
    partition.implementation = UdfImplementation();
    sequence.write(UdfTagId::Partition, partition);
}

void WriteLogicalVolume(const ImageBuild& build, SequenceWriter& sequence) {
    struct {
        UdfLogicalVolume volume;
        UdfPartitionMap map;
    } descriptor;
    static_assert(sizeof(descriptor) == 446);
    UdfLogicalVolume& volume = descriptor.volume;
    volume.sequenceNumber = sequence.takeNumber();
    volume.charSet = CompressedUnicode();
    FillUdfField(volume.identifier, build.label);
    volume.blockSize = kSectorSize;
    volume.domain = Domain(build);
    volume.fileSet.length = 2 * kSectorSize;
    volume.fileSet.block = 0;  // the partition begins with it
    volume.mapTableLength = sizeof(UdfPartitionMap);
    volume.mapCount = 1;
    volume.implementation = UdfImplementation();
    volume.integritySequence = ExtentAt(build.udfPlaces.integrity, kUdfIntegritySectors);
    sequence.seal(UdfTagId::LogicalVolume, std::as_writable_bytes(std::span(&descriptor, 1)));
}

}  // namespace

void SealDescriptor(const ImageBuild& build, std::span<std::byte> descriptor, UdfTagId identifier,
                    std::uint32_t location) {
    const auto body = descriptor.subspan(sizeof(UdfTag));
    UdfTag tag;
    tag.identifier = static_cast<std::uint16_t>(identifier);
    tag.version = IsThirdEdition(build) ? 3 : 2;
    tag.crc = Crc16(body);
    tag.crcLength = static_cast<std::uint16_t>(body.size());
    tag.location = location;
    std::uint8_t sum = 0;
    for (const std::byte byte : std::as_bytes(std::span(&tag, 1)))
        sum = static_cast<std::uint8_t>(sum + std::to_integer<std::uint8_t>(byte));
    tag.checksum = sum;
    std::memcpy(descriptor.data(), &tag, sizeof(tag));
}

UdfEntity UdfImplementation() { return Entity("*tovlark"); }

UdfTime ToUdfTime(const Clock& clock, UnixSeconds when) {
    constexpr std::uint16_t kLocalTime = 1 << 12;
    CalendarTime local = ToLocal(clock, when);
    if (local.year < 1) local = {1, 1, 1, 0, 0, 0};
    if (local.year > 9999) local = {9999, 12, 31, 23, 59, 59};
    UdfTime time;
    time.typeAndOffset = static_cast<std::uint16_t>(kLocalTime | (QuarterHourOffset(clock, when) * 15 & 0xFFF));
    time.year = static_cast<std::uint16_t>(local.year);
    time.month = local.month;
    time.day = local.day;
    time.hour = local.hour;
    time.minute = local.minute;
    time.second = local.second;
    return time;
}

void EmitUdfRecognition(const ImageBuild& build, const Extent&, SectorStream& stream) {
    for (const std::string_view identifier : {"BEA01", IsThirdEdition(build) ? "NSR03" : "NSR02", "TEA01"}) {
        stream.zeros(1);
        stream.write(std::as_bytes(std::span(identifier)));
        stream.writeStructure(std::uint8_t{1});
        stream.padToSector();
    }
}

void EmitUdfSequence(const ImageBuild& build, const Extent& extent, SectorStream& stream) {
    SequenceWriter sequence(build, stream);
    WritePrimary(build, sequence);
    WriteImplementationUse(build, sequence);
    WritePartition(build, sequence);
    WriteLogicalVolume(build, sequence);
    struct {
        UdfTag tag;
        Little32 sequenceNumber, descriptorCount;
    } unallocated;
    sequence.write(UdfTagId::UnallocatedSpace, unallocated);
    sequence.terminate();
    const std::uint64_t end = (std::uint64_t{extent.first} + extent.count) * kSectorSize;
    stream.zeros(end - stream.position());
}

void EmitUdfIntegrity(const ImageBuild& build, const Extent&, SectorStream& stream) {
    struct {
        UdfIntegrity head;
        Little32 freeBlocks, sizeBlocks;
        UdfEntity implementation;
        Little32 fileCount, folderCount;
        Little16 minimumRead, minimumWrite, maximumWrite;
    } descriptor;
    static_assert(sizeof(descriptor) == 134);
    descriptor.head.recorded = VolumeTime(build);
    descriptor.head.type = kClosed;
    descriptor.head.nextUniqueId = UdfUniqueId(build.udf.children.size()) + 1;
    descriptor.head.partitionCount = 1;
    descriptor.head.implementationUseLength = 46;
    descriptor.sizeBlocks = PartitionLength(build);
    descriptor.implementation = UdfImplementation();
    const auto folderCount = static_cast<std::uint32_t>(build.udf.folders.size());
    descriptor.fileCount = static_cast<std::uint32_t>(build.udf.children.size()) + 1 - folderCount;
    descriptor.folderCount = folderCount;
    descriptor.minimumRead = descriptor.minimumWrite = descriptor.maximumWrite = build.context.udfRevision;
    SequenceWriter sequence(build, stream);
    sequence.seal(UdfTagId::Integrity, std::as_writable_bytes(std::span(&descriptor, 1)));
    sequence.terminate();
}

void EmitUdfAnchor(const ImageBuild& build, const Extent&, SectorStream& stream) {
    struct {
        UdfAnchor anchor;
        std::uint8_t reserved32[480] = {};
    } descriptor;
    descriptor.anchor.mainSequence = ExtentAt(build.udfPlaces.mainSequence, kUdfSequenceSectors);
    descriptor.anchor.reserveSequence = ExtentAt(build.udfPlaces.reserveSequence, kUdfSequenceSectors);
    SequenceWriter(build, stream).seal(UdfTagId::Anchor, std::as_writable_bytes(std::span(&descriptor, 1)));
}

void EmitUdfFileSet(const ImageBuild& build, const Extent& extent, SectorStream& stream) {
    UdfFileSet fileSet;
    fileSet.recorded = VolumeTime(build);
    fileSet.logicalVolumeCharSet = fileSet.charSet = CompressedUnicode();
    FillUdfField(fileSet.logicalVolumeIdentifier, build.label);
    FillUdfField(fileSet.identifier, build.label);
    fileSet.root.length = kSectorSize;
    fileSet.root.block = build.udfPlaces.entries - build.udfPlaces.partition;
    fileSet.domain = Domain(build);
    SequenceWriter sequence(build, stream);
    sequence.seal(UdfTagId::FileSet, std::as_writable_bytes(std::span(&fileSet, 1)), extent.first);
    sequence.terminate(extent.first);
}

}  // namespace tovlark
