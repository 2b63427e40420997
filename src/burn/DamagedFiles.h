#pragma once

#include <cstdint>
#include <span>

#include "app/session/Task.h"
#include "burn/SectorSource.h"

namespace tovlark {

/// Sectors of a source that follow one another.
struct SectorRange {
    std::uint32_t first, count;
};

/// Names the files of an image whose data lie in any of the ranges, or says that none does. Silent when the source has
/// no file system that can be read. Nobody else reads the source meanwhile.
void NameDamagedFiles(Task& task, const SectorSource& source, std::span<const SectorRange> ranges);

}  // namespace tovlark
