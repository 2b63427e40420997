#pragma once

#include "app/session/Task.h"
#include "base/Status.h"
#include "burn/EraseTime.h"

namespace tovlark {

/// Erases the disc in the drive with that letter after asking. The reason of a failure is reported.
Status EraseDiscIn(Task& task, char16_t letter, EraseMethod method);

}  // namespace tovlark
