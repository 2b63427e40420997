#pragma once

#include "base/Clock.h"
#include "base/Text.h"

// What the clock needs from each system; for this folder only.
namespace tovlark {

/// Local time minus UTC at an instant, in seconds; 0 where the system's calendar does not reach.
std::int32_t LocalOffsetAt(UnixSeconds when);

/// The system's short-date pattern, not yet in the form of `ShortDatePattern`.
Text SystemDatePattern();

/// Gives a pattern of d, m (or M) and y runs the form of `ShortDatePattern`: separators stay, other ASCII letters go;
/// one that does not hold each of the three once gives "yyyy-mm-dd".
Text NormalDatePattern(TextView pattern);

}  // namespace tovlark
