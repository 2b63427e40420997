#pragma once

#include "app/session/Task.h"
#include "base/Status.h"
#include "burn/EraseTime.h"
#include "optical/DiscSummary.h"
#include "optical/Drive.h"

namespace tovlark {

struct EraseRequest {
    Drive drive;
    EraseMethod method = EraseMethod::Quick;
};

/// Waits for a disc that was just put in, which is there only after a while. False, after a message, when the drive is
/// at work on it for longer than half a minute; without a disc true, and when the task is cancelled.
[[nodiscard]] bool WaitForDisc(Task& task, Drive drive);

/// Says what disc there is and how it is to be erased, warns, and asks. False, after a message, when it is not to be.
[[nodiscard]] bool AskToErase(Task& task, const DriveEntry& entry, EraseMethod method);

/// Erases the disc in the drive, whatever is on it, and remembers how long that took. Each failure is reported. When
/// the task is cancelled, what the drive can stop is stopped, and what state the disc is in is said.
Status EraseDisc(Task& task, const EraseRequest& request);

}  // namespace tovlark
