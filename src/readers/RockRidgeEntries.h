#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "base/Clock.h"
#include "readers/CachedSource.h"

namespace tovlark {

/// What the system-use entries of one directory record tell (SUSP 1.12, RRIP 1.12).
struct RockRidgeEntries {
    bool isSharing = false;      // "SP" with its check bytes
    std::uint8_t skipBytes = 0;  // of "SP": bytes before the entries of every other record
    bool hasRockRidge = false;   // "ER" of Rock Ridge, "RR" or "PX"
    bool hasName = false;        // "NM"
    bool isRelocated = false;    // "RE": shown elsewhere, through a "CL"
    bool isUnsupported = false;  // "SF": a sparse file's table stands where the data should
    bool isDamaged = false;      // not all could be read
    bool hasAttributes = false;  // "PX"
    std::uint32_t mode = 0, links = 1, owner = 0, group = 0;
    std::optional<UnixSeconds> modified;      // "TF"
    std::optional<std::uint32_t> childBlock;  // "CL": the logical block of the folder that this record stands for
    std::string name, linkTarget;             // as bytes; the target "/" separated
    SystemError error;                        // why a continuation could not be read
};

/// Reads the entries of a system-use area and of the continuation areas that it leads to. `entries` is used again from
/// record to record to spare memory.
void ReadRockRidge(std::span<const std::byte> area, CachedSource& cache, std::uint32_t blockSize,
                   RockRidgeEntries& entries);

}  // namespace tovlark
