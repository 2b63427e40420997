#pragma once

#include <utility>
#include <vector>

#include "app/session/Task.h"
#include "authoring/Compilation.h"

namespace tovlark {

/// All files of the compilation that have data, ordered by size and grouped by content: files for which `leaderOf`
/// gives the same node share one extent.
class IdenticalFiles {
public:
    /// `bySize[i]` has order index i; `leaderIndex[i]` is the order index of its leader.
    IdenticalFiles(std::vector<CompilationNode*> bySize, std::vector<std::uint32_t> leaderIndex)
        : bySize_(std::move(bySize)), leaderIndex_(std::move(leaderIndex)) {}

    /// The node whose data the file shares; itself when it shares none.
    CompilationNode& leaderOf(CompilationNode& file) const;

private:
    std::vector<CompilationNode*> bySize_;
    std::vector<std::uint32_t> leaderIndex_;
};

/// Compares files of equal size: special entries never, those of one memory owner by their buffers, the same source
/// path without reading, all else by fingerprint and then byte for byte. Reads a file only when another has exactly its
/// size. Shows progress.
///
/// A file that cannot be read to its end is not shareable (state `ReadFailed`); one that cannot be opened sets
/// `context.error`, and so does the cancel flag. Nothing is compared when the optimisation is off, nor for Video CDs.
IdenticalFiles FindIdenticalFiles(Task& task, ImageBuildContext& context);

}  // namespace tovlark
