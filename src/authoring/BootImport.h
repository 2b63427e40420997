#pragma once

#include "app/session/Task.h"
#include "authoring/Compilation.h"

namespace tovlark {

/// Takes over what an edited image boots from, whose tree is imported already. Boot images that the writer would find
/// in the tree by itself are left to it, so that a loader that is replaced or deleted is replaced or gone in the new
/// image too; all others become boot images of the compilation. What cannot be read is reported, and the image counts
/// as incomplete.
void ImportBootImages(Task& task, ImageBuildContext& context, SourceImage& image);

}  // namespace tovlark
