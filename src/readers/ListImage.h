#pragma once

#include "app/session/Task.h"
#include "base/Status.h"

namespace tovlark {

struct ListRequest {
    Text image;      // path of the image file
    Text innerPath;  // folder inside it, "/" separated
    bool isRecursive = false;
};

/// Prints what a folder of an image holds, in the order in which the image records it: dates as local time
/// "YYYY-MM-DD HH:MM", folders and files as they come, links and special files among the files.
Status ListImage(Task& task, const ListRequest& request);

}  // namespace tovlark
