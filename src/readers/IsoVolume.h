#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "readers/Volume.h"

namespace tovlark {

/// The nine text fields of a volume descriptor (ECMA-119 8.4).
enum class IsoField : std::uint8_t {
    Volume,
    System,
    VolumeSet,
    Publisher,
    DataPreparer,
    Application,
    Copyright,
    Abstract,
    Bibliographic,
    Count
};
/// Its four dates.
enum class IsoDate : std::uint8_t { Creation, Modification, Expiration, Effective, Count };

/// One usable tree as its volume descriptor tells it.
struct IsoTreeFacts {
    std::uint32_t blockSize;  // 512, 1024 or 2048
    std::uint64_t rootOffset, rootSizeBytes;
    std::uint64_t volumeSizeBytes;                                       // as recorded, nothing checked
    std::array<Text, static_cast<std::size_t>(IsoField::Count)> fields;  // the filling at the end cut off
    std::array<std::optional<UnixSeconds>, static_cast<std::size_t>(IsoDate::Count)> dates;
};

/// What the volume descriptors of an image tell. A tree that is missing or broken is not there; `fault` tells about the
/// first broken one.
struct IsoVolumeFacts {
    std::optional<IsoTreeFacts> iso, joliet;
    bool hasRockRidge = false;
    std::uint8_t rockRidgeSkip = 0;  // bytes before the system-use entries of a record
    std::uint8_t jolietLevel = 0;    // UCS-2 level 1 to 3; 0: no Joliet
    std::optional<std::uint32_t> bootCatalogSector;
    std::optional<VolumeFault> fault;
};

IsoVolumeFacts ReadIsoFacts(const ByteSource& source);

/// Opens one of the trees of ISO 9660: `Iso`, `Joliet` or `RockRidge`. Null when the facts do not have it.
std::unique_ptr<Volume> OpenIso(const ByteSource& source, VolumeKind kind, const IsoVolumeFacts& facts);

}  // namespace tovlark
