#pragma once

#include "authoring/Compilation.h"
#include "base/Clock.h"
#include "base/IsoBytes.h"

namespace tovlark {

/// The local time of an instant as directory records hold it; years before 1900 and after 2155 become the first and the
/// last second that they can hold.
IsoRecordDate ToRecordDate(const Clock& clock, UnixSeconds when);

/// The date that a node's records carry. A root without one takes the volume's modification date before "now".
UnixSeconds RecordedDateOf(const ImageBuildContext& context, const CompilationNode& node);

/// The local time of an instant as volume descriptors hold it; 0 means not set.
IsoVolumeDate ToVolumeDate(const Clock& clock, UnixSeconds when);

}  // namespace tovlark
