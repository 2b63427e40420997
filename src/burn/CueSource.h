#pragma once

#include <cstdint>
#include <optional>

#include "app/session/Texts.h"
#include "base/DiscLayout.h"
#include "burn/BurnCd.h"
#include "burn/SectorSource.h"

namespace tovlark {

/// Size of the sectors that the tracks are sent in, one for all: 2048 for data of mode 1 alone, 2336 for mode 2 alone,
/// else 2352.
std::uint16_t BurnSectorSize(const DiscLayout& layout);

/// Lays the tracks of a CUE sheet out for a CD: their data go into `source`, whose sectors are of that size. Why they
/// cannot be burned, or nothing. `path` is the sheet's, for messages.
std::optional<Text> AddCueTracks(const Texts& texts, const Text& path, const DiscLayout& layout, FileSource& source,
                                 CdContent& content);

}  // namespace tovlark
