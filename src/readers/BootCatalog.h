#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "readers/Volume.h"

namespace tovlark {

/// One boot image that the catalog names (El Torito 2.2, 2.4).
struct BootCatalogEntry {
    std::uint8_t platform = 0;      // 0: x86, 1: PowerPC, 2: Mac, 0xEF: UEFI
    std::string identifier;         // of the validation entry or section, as bytes without the filling at the end
    bool isBootable = false;        // the indicator is 0x88
    std::uint8_t mediaType = 0;     // 0: no emulation, 1 to 3: floppy of 1.2, 1.44, 2.88 MB, 4: hard disk
    std::uint16_t loadSegment = 0;  // 0: 0x7C0
    std::uint8_t systemType = 0;    // of the hard disk's partition
    std::uint16_t sectorCount = 0;  // to load, of 512 bytes
    std::uint32_t firstSector = 0;  // of the image, of 2048 bytes; inside the source
};

struct BootCatalog {
    std::uint32_t sector = 0;               // where it stands
    std::vector<BootCatalogEntry> entries;  // the default entry first
};

/// Reads the boot catalog. Nothing when the image has none; when it is damaged `fault` is set and the entries before
/// the damage stand.
std::optional<BootCatalog> ReadBootCatalog(const ByteSource& source, std::optional<VolumeFault>& fault);

}  // namespace tovlark
