#pragma once

#include "app/session/Task.h"
#include "authoring/Compilation.h"
#include "base/Status.h"

namespace tovlark {

/// Fills an empty compilation from an image: the richest of its trees with names, dates, attributes and links, its file
/// systems, volume fields and boot images. The data stay where the image has them, and the image stays open until the
/// compilation has been written or goes.
///
/// Failed with a message, and the compilation as it was, when the image cannot be read. A damaged folder or file is
/// reported, sets the error flag and is left out.
Status OpenForEditing(Task& task, ImageBuildContext& context, const Text& path);

}  // namespace tovlark
