#pragma once

#include <vector>

#include "app/session/Task.h"
#include "authoring/Compilation.h"

namespace tovlark {

/// All files of the compilation, ordered by size and grouped by content: after `FindIdenticalFiles`, files for which
/// `Leader` gives the same node share one extent.
class IdenticalFiles {
public:
    /// The node whose data the file shares; itself when it shares none.
    CompilationNode& leaderOf(CompilationNode& file) const;

private:
    friend IdenticalFiles FindIdenticalFiles(Task& task, ImageBuildContext& context);
    std::vector<CompilationNode*> bySize_;
    std::vector<std::uint32_t> leaderIndex_;  // by `orderIndex`
};

/// Compares files of equal size: special entries never, the same source path without reading, else by fingerprint and
/// then byte for byte. Reads a file only when another has exactly its size. Shows progress. A file that cannot be read
/// is not shareable; one that cannot be opened sets `context.error`.
IdenticalFiles FindIdenticalFiles(Task& task, ImageBuildContext& context);

}  // namespace tovlark
