#include "platform/StayAwake.h"

#include <windows.h>

namespace tovlark {

void StayAwake() {
    constexpr EXECUTION_STATE kBusy = ES_CONTINUOUS | ES_SYSTEM_REQUIRED | ES_DISPLAY_REQUIRED;
    if (::SetThreadExecutionState(kBusy | ES_AWAYMODE_REQUIRED) == 0) (void)::SetThreadExecutionState(kBusy);
}

}  // namespace tovlark
