#include "authoring/NodeData.h"

namespace tovlark {

SystemError FolderCache::open(const SourceFolder& folder) {
    if (opened_ != &folder) error_ = folder_.open(folder.path);
    opened_ = &folder;
    return error_;
}

SystemError NodeData::open(const CompilationNode& node) {
    inImage_ = node.inImage;
    return inImage_ != nullptr ? SystemError{} : file_.open(SourcePath(node));
}

SystemError NodeData::open(const CompilationNode& node, FolderCache& cache) {
    inImage_ = node.inImage;
    if (inImage_ != nullptr) return {};
    if (const SystemError error = cache.open(*node.sourceFolder); error.failed()) return error;
    return file_.open(cache.folder(), node.sourceName);
}

SystemError NodeData::readAt(std::uint64_t offset, std::span<std::byte> buffer, std::size_t enoughCount,
                             std::size_t& readCount) const {
    if (inImage_ == nullptr) return file_.readAt(offset, buffer, enoughCount, readCount);
    return ReadRange(inImage_->image->opened.source, inImage_->extents, offset, buffer, readCount);
}

}  // namespace tovlark
