#pragma once

#include "app/command/CommandRequest.h"
#include "app/session/Task.h"
#include "authoring/Compilation.h"
#include "base/Status.h"

namespace tovlark {

/// Burns the request's source on the disc in its target, a letter of a drive: an image file that can be read, or a
/// folder, whose files are put into the compilation.
Status BurnSource(Task& task, ImageBuildContext& compilation, const CommandRequest& request);

}  // namespace tovlark
