#pragma once

#include "app/command/CommandRequest.h"
#include "app/session/Task.h"
#include "base/Status.h"

namespace tovlark {

/// Burns the request's source, an image file that can be read, on the disc in its target, a letter of a drive.
Status BurnImageFile(Task& task, const CommandRequest& request);

}  // namespace tovlark
