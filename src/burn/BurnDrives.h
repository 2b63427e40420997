#pragma once

#include <span>

#include "burn/BurnImage.h"

namespace tovlark {

/// One of several drives that burn side by side. Each has a session for its own progress and questions, and an image
/// file that it opened for itself; log, settings and a compilation may be shared.
struct DriveTask {
    Task& task;
    BurnRequest request;
    Status status = Status::Failed;
};

/// Burns on all drives at once, one thread each, and returns when the last one is done. Their lines in the log begin
/// with the drive, "[NAME F:]". Whether to break off verifying is asked once, for all.
void BurnOnDrives(std::span<DriveTask> drives);

}  // namespace tovlark
