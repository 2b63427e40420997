#pragma once

#include <optional>

#include "base/Clock.h"
#include "base/IsoBytes.h"

namespace tovlark {

/// The instants of dates of ISO 9660, their offset from UTC taken into account (one that is out of range counts as
/// none). Nothing where no valid date is recorded.
std::optional<UnixSeconds> FromRecordDate(const IsoRecordDate& date);
std::optional<UnixSeconds> FromVolumeDate(const IsoVolumeDate& date);

}  // namespace tovlark
