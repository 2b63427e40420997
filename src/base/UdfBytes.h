#pragma once

#include <cstddef>
#include <cstdint>

#include "base/Stored.h"

namespace tovlark {

// Structures of ECMA-167 (3rd edition) and OSTA UDF 1.02 to 2.60 as they stand on disc. Clauses are ECMA-167's unless
// UDF is named.

/// What a descriptor's tag says it is (3/7.2.1, 4/7.2.1; UDF 2.2.12 for the sparing table).
enum class UdfTagId : std::uint16_t {
    SparingTable = 0,
    Primary = 1,
    Anchor = 2,
    Pointer = 3,
    ImplementationUse = 4,
    Partition = 5,
    LogicalVolume = 6,
    UnallocatedSpace = 7,
    Terminating = 8,
    Integrity = 9,
    FileSet = 256,
    FileIdentifier = 257,
    AllocationExtent = 258,
    IndirectEntry = 259,
    TerminalEntry = 260,
    FileEntry = 261,
    ExtendedFileEntry = 266,
};

/// Descriptor tag (3/7.2). The CRC covers `crcLength` bytes after the tag: `Crc16` of base/Checksum.h.
struct UdfTag {
    Little16 identifier, version = 2;
    std::uint8_t checksum = 0, reserved5 = 0;  // the sum of the tag's other bytes
    Little16 serial, crc, crcLength;
    Little32 location;
};
static_assert(sizeof(UdfTag) == 16 && alignof(UdfTag) == 1 && offsetof(UdfTag, location) == 12);

/// Character set (1/7.2.1).
struct UdfCharSet {
    std::uint8_t type = 0;
    char information[63] = {};
};

/// Entity identifier (1/7.4).
struct UdfEntity {
    std::uint8_t flags = 0;
    char identifier[23] = {};
    std::uint8_t suffix[8] = {};
};
static_assert(sizeof(UdfEntity) == 32);

/// Date and time (1/7.3).
struct UdfTime {
    static constexpr std::int16_t kNoOffset = -2047;  // of local time to UTC

    Little16 typeAndOffset;  // type in bits 12-15 (0 UTC, 1 local), minutes from UTC in the others, signed
    Little16 year;
    std::uint8_t month = 0, day = 0, hour = 0, minute = 0, second = 0;
    std::uint8_t centiseconds = 0, hundredMicroseconds = 0, microseconds = 0;
};
static_assert(sizeof(UdfTime) == 12);

/// Extent of whole sectors of the volume (3/7.1).
struct UdfExtent {
    Little32 length, location;
};

/// Allocation descriptors (4/14.14.1, 4/14.14.2). Bits 30 and 31 of the length are the extent's type.
struct UdfShortAd {
    Little32 length, block;
};
struct UdfLongAd {
    Little32 length, block;
    Little16 partition;  // index of a partition map
    std::uint8_t implementationUse[6] = {};
};
static_assert(sizeof(UdfShortAd) == 8 && sizeof(UdfLongAd) == 16);

/// Longest extent of one allocation descriptor, and the types of extents (4/14.14.1.1).
constexpr std::uint32_t kUdfExtentMask = 0x3FFFFFFF;
enum class UdfExtentType : std::uint8_t { Recorded = 0, Allocated = 1, NotAllocated = 2, Continuation = 3 };

/// Anchor volume descriptor pointer (3/10.2); the rest of its 512 bytes is zero.
struct UdfAnchor {
    UdfTag tag;
    UdfExtent mainSequence, reserveSequence;
};
static_assert(sizeof(UdfAnchor) == 32);

/// Volume descriptor pointer (3/10.3).
struct UdfPointer {
    UdfTag tag;
    Little32 sequenceNumber;
    UdfExtent nextSequence;
};

/// Primary volume descriptor (3/10.1).
struct UdfPrimary {
    UdfTag tag;
    Little32 sequenceNumber, number;
    std::uint8_t volumeIdentifier[32] = {};
    Little16 volumeSequence = 1, volumeSequenceMaximum = 1, interchange = 2, interchangeMaximum = 2;
    Little32 charSets = 1, charSetsMaximum = 1;
    std::uint8_t volumeSetIdentifier[128] = {};
    UdfCharSet descriptorCharSet, explanatoryCharSet;
    UdfExtent abstractExtent, copyrightExtent;
    UdfEntity application;
    UdfTime recorded;
    UdfEntity implementation;
    std::uint8_t implementationUse[64] = {};
    Little32 predecessor;
    Little16 flags;
    std::uint8_t reserved490[22] = {};
};
static_assert(sizeof(UdfPrimary) == 512 && offsetof(UdfPrimary, recorded) == 376);

/// Implementation use volume descriptor with the use that UDF makes of it (3/10.4, UDF 2.2.7).
struct UdfImplementationUse {
    UdfTag tag;
    Little32 sequenceNumber;
    UdfEntity implementation;
    UdfCharSet charSet;
    std::uint8_t logicalVolumeIdentifier[128] = {};
    std::uint8_t information[3][36] = {};
    UdfEntity innerImplementation;
    std::uint8_t implementationUse[128] = {};
};
static_assert(sizeof(UdfImplementationUse) == 512 && offsetof(UdfImplementationUse, innerImplementation) == 352);

/// Partition descriptor (3/10.5).
struct UdfPartition {
    UdfTag tag;
    Little32 sequenceNumber;
    Little16 flags, number;
    UdfEntity contents;
    std::uint8_t contentsUse[128] = {};
    Little32 accessType, start, length;
    UdfEntity implementation;
    std::uint8_t implementationUse[128] = {};
    std::uint8_t reserved356[156] = {};
};
static_assert(sizeof(UdfPartition) == 512 && offsetof(UdfPartition, start) == 188);

/// Logical volume descriptor up to the partition maps (3/10.6).
struct UdfLogicalVolume {
    UdfTag tag;
    Little32 sequenceNumber;
    UdfCharSet charSet;
    std::uint8_t identifier[128] = {};
    Little32 blockSize;
    UdfEntity domain;
    UdfLongAd fileSet;
    Little32 mapTableLength, mapCount;
    UdfEntity implementation;
    std::uint8_t implementationUse[128] = {};
    UdfExtent integritySequence;
};
static_assert(sizeof(UdfLogicalVolume) == 440 && offsetof(UdfLogicalVolume, fileSet) == 248);

/// Partition map of type 1 (3/10.7.2).
struct UdfPartitionMap {
    std::uint8_t type = 1, length = 6;
    Little16 volumeSequence = 1, partition;
};
static_assert(sizeof(UdfPartitionMap) == 6);

/// Partition map of type 2: virtual (UDF 2.2.8), sparable (2.2.9), metadata (2.2.10).
struct UdfPartitionMap2 {
    std::uint8_t type = 2, length = 64;
    Little16 reserved2;
    UdfEntity kind;
    Little16 volumeSequence = 1, partition;
    std::uint8_t details[24] = {};  // one of the following structures; virtual: nothing
};
static_assert(sizeof(UdfPartitionMap2) == 64 && offsetof(UdfPartitionMap2, details) == 40);

struct UdfSparableDetails {
    Little16 packetBlocks;
    std::uint8_t tableCount = 0, reserved3 = 0;
    Little32 tableSize;
    Little32 tables[4];  // sectors of the volume
};
static_assert(sizeof(UdfSparableDetails) == 24);

struct UdfMetadataDetails {
    Little32 file, mirror, bitmap;  // blocks of the partition that hold their file entries
    Little32 allocationBlocks;
    Little16 alignmentBlocks;
    std::uint8_t flags = 0, reserved19[5] = {};
};
static_assert(sizeof(UdfMetadataDetails) == 24);

/// Sparing table up to its entries (UDF 2.2.12).
struct UdfSparingTable {
    UdfTag tag;
    UdfEntity identifier;
    Little16 entryCount, reserved50;
    Little32 sequenceNumber;
};
struct UdfSparingEntry {
    Little32 original, replacement;  // first block in the partition, first sector of the volume; whole packets
};
static_assert(sizeof(UdfSparingTable) == 56);

/// Head of the virtual allocation table since UDF 2.00 (UDF 2.2.11); `headLength` bytes, then one number per block.
struct UdfVirtualTable {
    Little16 headLength, implementationUseLength;
    std::uint8_t logicalVolumeIdentifier[128] = {};
    Little32 previousTable, fileCount, folderCount;
    Little16 minimumRead, minimumWrite, maximumWrite, reserved150;
};
static_assert(sizeof(UdfVirtualTable) == 152);

/// End of the virtual allocation table of UDF 1.50 (UDF 1.50, 2.2.10), behind its numbers.
struct UdfVirtualTableEnd {
    UdfEntity identifier;
    Little32 previousTable;
};
static_assert(sizeof(UdfVirtualTableEnd) == 36);

/// Logical volume integrity descriptor up to the tables (3/10.10).
struct UdfIntegrity {
    UdfTag tag;
    UdfTime recorded;
    Little32 type;
    UdfExtent next;
    Little64 nextUniqueId;
    std::uint8_t contentsUse[24] = {};
    Little32 partitionCount, implementationUseLength;
};
static_assert(sizeof(UdfIntegrity) == 80);

/// File set descriptor (4/14.1).
struct UdfFileSet {
    UdfTag tag;
    UdfTime recorded;
    Little16 interchange = 3, interchangeMaximum = 3;
    Little32 charSets = 1, charSetsMaximum = 1, number, descriptorNumber;
    UdfCharSet logicalVolumeCharSet;
    std::uint8_t logicalVolumeIdentifier[128] = {};
    UdfCharSet charSet;
    std::uint8_t identifier[32] = {}, copyrightFile[32] = {}, abstractFile[32] = {};
    UdfLongAd root;
    UdfEntity domain;
    UdfLongAd nextExtent, streamFolder;
    std::uint8_t reserved480[32] = {};
};
static_assert(sizeof(UdfFileSet) == 512 && offsetof(UdfFileSet, root) == 400);

/// File identifier descriptor up to the implementation use and the name (4/14.4); padded to a multiple of 4.
struct UdfFileIdentifier {
    static constexpr std::uint8_t kHidden = 1, kFolder = 2, kDeleted = 4, kParent = 8;

    UdfTag tag;
    Little16 version = 1;
    std::uint8_t characteristics = 0, nameLength = 0;
    UdfLongAd icb;
    Little16 implementationUseLength;
};
static_assert(sizeof(UdfFileIdentifier) == 38);

/// ICB tag (4/14.6).
struct UdfIcbTag {
    static constexpr std::uint8_t kFolder = 4, kFile = 5, kSymbolicLink = 12;                // types
    static constexpr std::uint8_t kVirtualTable = 248, kRealTimeFile = 249;                  // UDF 2.3.5.2
    static constexpr std::uint16_t kAdMask = 7, kShortAds = 0, kLongAds = 1, kEmbedded = 3;  // flags
    static constexpr std::uint16_t kSetUser = 0x40, kSetGroup = 0x80, kSticky = 0x100;       // flags

    Little32 priorEntries;
    Little16 strategy = 4, strategyParameter, entryMaximum = 1;
    std::uint8_t reserved10 = 0, fileType = 0;
    Little32 parentBlock;
    Little16 parentPartition, flags;
};
static_assert(sizeof(UdfIcbTag) == 20 && offsetof(UdfIcbTag, fileType) == 11);

/// File entry (4/14.9); extended attributes and allocation descriptors follow.
struct UdfFileEntry {
    UdfTag tag;
    UdfIcbTag icb;
    Little32 owner, group, permissions;
    Little16 links;
    std::uint8_t recordFormat = 0, displayAttributes = 0;
    Little32 recordLength;
    Little64 size, blocksRecorded;
    UdfTime accessed, modified, attributesChanged;
    Little32 checkpoint = 1;
    UdfLongAd extendedAttributes;
    UdfEntity implementation;
    Little64 uniqueId;
    Little32 attributesLength, descriptorsLength;
};
static_assert(sizeof(UdfFileEntry) == 176 && offsetof(UdfFileEntry, modified) == 84);

/// Extended file entry (4/14.17).
struct UdfExtendedFileEntry {
    UdfTag tag;
    UdfIcbTag icb;
    Little32 owner, group, permissions;
    Little16 links;
    std::uint8_t recordFormat = 0, displayAttributes = 0;
    Little32 recordLength;
    Little64 size, objectSize, blocksRecorded;
    UdfTime accessed, modified, created, attributesChanged;
    Little32 checkpoint = 1, reserved132;
    UdfLongAd extendedAttributes, streamFolder;
    UdfEntity implementation;
    Little64 uniqueId;
    Little32 attributesLength, descriptorsLength;
};
static_assert(sizeof(UdfExtendedFileEntry) == 216 && offsetof(UdfExtendedFileEntry, modified) == 92);

/// Indirect entry (4/14.7).
struct UdfIndirectEntry {
    UdfTag tag;
    UdfIcbTag icb;
    UdfLongAd next;
};
static_assert(sizeof(UdfIndirectEntry) == 52);

/// Allocation extent descriptor (4/14.5); allocation descriptors follow.
struct UdfAllocationExtent {
    UdfTag tag;
    Little32 previous, length;
};
static_assert(sizeof(UdfAllocationExtent) == 24);

/// Path component of a symbolic link up to its name (4/14.16.1).
struct UdfPathComponent {
    static constexpr std::uint8_t kRootOfAll = 1, kRoot = 2, kParent = 3, kHere = 4, kName = 5;  // types

    std::uint8_t type = kName, nameLength = 0;
    Little16 version;
};
static_assert(sizeof(UdfPathComponent) == 4);

}  // namespace tovlark
