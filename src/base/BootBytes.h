#pragma once

#include <cstddef>
#include <cstdint>

#include "base/Sectors.h"
#include "base/Stored.h"

namespace tovlark {

// Structures of a boot catalog as they stand in a sector; figures are those of "El Torito" Bootable CD-ROM Format 1.0.
// Platform 0xEF is UEFI's (UEFI 2.10, 13.3.2.1).

/// Figure 7: in the sector behind the primary volume descriptor.
struct BootRecord {
    std::uint8_t type = 0;
    char identifier[5] = {'C', 'D', '0', '0', '1'};
    std::uint8_t version = 1;
    char system[32] = {'E', 'L', ' ', 'T', 'O', 'R', 'I', 'T', 'O', ' ', 'S', 'P',
                       'E', 'C', 'I', 'F', 'I', 'C', 'A', 'T', 'I', 'O', 'N'};
    std::uint8_t unused39[32] = {};
    Little32 catalogSector;
    std::uint8_t unused75[1973] = {};
};
static_assert(sizeof(BootRecord) == kSectorSize && offsetof(BootRecord, catalogSector) == 71);

/// Figure 2: the first entry of a catalog. Its 16 little-endian words add up to 0.
struct BootValidation {
    std::uint8_t header = 1;
    std::uint8_t platform = 0;
    std::uint8_t unused2[2] = {};
    char identifier[24] = {};
    Little16 checksum;
    std::uint8_t key55 = 0x55, keyAA = 0xAA;
};
static_assert(sizeof(BootValidation) == 32 && offsetof(BootValidation, checksum) == 28);

/// Figures 3 and 5: the initial entry or one of a section.
struct BootEntry {
    static constexpr std::uint8_t kBootable = 0x88, kNotBootable = 0;

    std::uint8_t indicator = kBootable;
    std::uint8_t media = 0;
    Little16 loadSegment;  // 0: 0x7C0
    std::uint8_t systemType = 0;
    std::uint8_t unused5 = 0;
    Little16 sectorCount;  // of 512 bytes, loaded at first
    Little32 loadSector;   // of 2048 bytes
    std::uint8_t selection[20] = {};
};
static_assert(sizeof(BootEntry) == 32 && offsetof(BootEntry, loadSector) == 8);

/// Figure 4: what a section begins with.
struct BootSectionHeader {
    static constexpr std::uint8_t kMoreFollow = 0x90, kFinal = 0x91;

    std::uint8_t indicator = kFinal;
    std::uint8_t platform = 0;
    Little16 entryCount;
    char identifier[28] = {};
};
static_assert(sizeof(BootSectionHeader) == 32);

/// From byte 8 of a boot image that finds itself on the disc by it.
struct BootInfoTable {
    static constexpr std::size_t kOffset = 8;
    static constexpr std::size_t kSummedFrom = 64;  // `checksum` covers the rest of the image

    Little32 descriptorSector, imageSector, imageBytes, checksum;
    std::uint8_t unused16[40] = {};
};
static_assert(BootInfoTable::kOffset + sizeof(BootInfoTable) == BootInfoTable::kSummedFrom);

}  // namespace tovlark
