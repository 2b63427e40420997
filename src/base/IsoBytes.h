#pragma once

#include <cstddef>
#include <cstdint>

#include "base/Sectors.h"
#include "base/Stored.h"

namespace tovlark {

// Structures of ECMA-119 as they stand in a sector; clauses are of its second edition.

/// Recording date of a directory record (9.1.5).
struct IsoRecordDate {
    std::uint8_t yearsSince1900 = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    std::int8_t quarterHours = 0;  // local time minus UTC
};
static_assert(sizeof(IsoRecordDate) == 7);

/// Date of a volume descriptor (8.4.26.1): "yyyymmddhhmmsscc"; all "0" and offset 0 when not set.
struct IsoVolumeDate {
    char digits[16] = {'0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0'};
    std::int8_t quarterHours = 0;
};
static_assert(sizeof(IsoVolumeDate) == 17);

/// Directory record up to the identifier (9.1).
struct DirectoryRecordHead {
    static constexpr std::uint8_t kFolder = 2;

    std::uint8_t length = 0, extendedLength = 0;
    Both32 extent, dataLength;
    IsoRecordDate date;
    std::uint8_t flags = 0, unitSize = 0, gapSize = 0;
    Both16 volumeSequence = 1;
    std::uint8_t nameLength = 1;
};
static_assert(sizeof(DirectoryRecordHead) == 33 && alignof(DirectoryRecordHead) == 1);
static_assert(offsetof(DirectoryRecordHead, nameLength) == 32);

/// Longest directory record: its length is one byte and even (9.1.1, 9.1.12).
constexpr std::uint8_t kLongestRecord = 254;

/// Record of a path table up to the identifier (9.4).
template <typename Number32, typename Number16>
struct PathTableHead {
    std::uint8_t nameLength = 1, extendedLength = 0;
    Number32 extent;
    Number16 parent;
};
static_assert(sizeof(PathTableHead<Little32, Little16>) == 8);

/// Largest file that one directory record describes (9.1.4).
constexpr std::uint64_t kLargestIsoFile = 0xFFFFFFFF;

/// Most folders a path table can number.
constexpr std::uint32_t kMostFolders = 65535;

/// Primary (8.4) and supplementary (8.5) volume descriptor; the terminator (8.3) uses its first seven bytes.
struct VolumeDescriptor {
    static constexpr std::uint8_t kPrimary = 1, kSupplementary = 2, kTerminator = 255;

    std::uint8_t type = kPrimary;
    char identifier[5] = {'C', 'D', '0', '0', '1'};
    std::uint8_t version = 1;
    std::uint8_t flags = 0;
    char systemIdentifier[32] = {};
    char volumeIdentifier[32] = {};
    std::uint8_t unused72[8] = {};
    Both32 spaceSize;
    char escapeSequences[32] = {};
    Both16 setSize;
    Both16 sequenceNumber;
    Both16 blockSize;
    Both32 pathTableSize;
    Little32 pathTableL, optionalPathTableL;
    Big32 pathTableM, optionalPathTableM;
    DirectoryRecordHead root;
    std::uint8_t rootName = 0;
    char volumeSetIdentifier[128] = {};
    char publisherIdentifier[128] = {};
    char dataPreparerIdentifier[128] = {};
    char applicationIdentifier[128] = {};
    char copyrightFile[37] = {};
    char abstractFile[37] = {};
    char bibliographicFile[37] = {};
    IsoVolumeDate creation, modification, expiration, effective;
    std::uint8_t fileStructureVersion = 1;
    std::uint8_t unused882 = 0;
    std::uint8_t applicationUse[512] = {};
    std::uint8_t unused1395[653] = {};
};
static_assert(sizeof(VolumeDescriptor) == kSectorSize && alignof(VolumeDescriptor) == 1);
static_assert(offsetof(VolumeDescriptor, spaceSize) == 80 && offsetof(VolumeDescriptor, root) == 156);
static_assert(offsetof(VolumeDescriptor, creation) == 813 && offsetof(VolumeDescriptor, applicationUse) == 883);

}  // namespace tovlark
