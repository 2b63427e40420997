#pragma once

#include <cstdint>
#include <span>

#include "authoring/Compilation.h"
#include "platform/Files.h"

namespace tovlark {

/// The local folder opened last, so that the files of one folder are reached without finding it again.
class FolderCache {
public:
    SystemError open(const SourceFolder& folder);
    const OpenFolder& folder() const { return folder_; }

private:
    OpenFolder folder_;
    const SourceFolder* opened_ = nullptr;
    SystemError error_;
};

/// The data of a file that has a source outside memory: a local file, or ranges of an image that is edited.
class NodeData {
public:
    SystemError open(const CompilationNode& node);
    SystemError open(const CompilationNode& node, FolderCache& cache);
    /// As `InputFile::readAt`; the data of an edited image end where its extents end.
    SystemError readAt(std::uint64_t offset, std::span<std::byte> buffer, std::size_t enoughCount,
                       std::size_t& readCount) const;

private:
    InputFile file_;
    const ImageSource* inImage_ = nullptr;
};

/// True for a file whose data `NodeData` reads.
inline bool HasSource(const CompilationNode& node) {
    return node.memory == nullptr && (node.sourceFolder != nullptr || node.inImage != nullptr);
}

}  // namespace tovlark
