#pragma once

#include "platform/SystemError.h"

namespace tovlark {

/// The system's number for a device that failed a transfer.
extern const SystemError kDeviceFailed;

}  // namespace tovlark
