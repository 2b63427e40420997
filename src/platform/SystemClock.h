#pragma once

#include "base/Clock.h"
#include "base/Text.h"

namespace tovlark {

/// The machine's clock.
Clock SystemClock();

/// The system's short-date pattern as the three letters d, m, y and separators between them, year four digits, month
/// and day two: "dd.mm.yyyy", "mm/dd/yyyy".
Text ShortDatePattern();

}  // namespace tovlark
