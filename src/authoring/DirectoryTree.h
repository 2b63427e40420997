#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "authoring/Compilation.h"

namespace tovlark {

enum class TreeKind : std::uint8_t { Iso, Joliet, Udf };

/// Folders and records of one of the trees in the orders in which they are written.
struct DirectoryTree {
    TreeKind kind = TreeKind::Iso;
    std::vector<CompilationNode*> folders;   // path-table order (ECMA-119 6.9.1): number n stands at n - 1
    std::vector<CompilationNode*> children;  // in record order, folder after folder as in `folders`
    std::vector<std::uint32_t> firstChild;   // by folder index, and one more at the end
    std::vector<std::uint32_t> preOrder;     // folder indexes, parents before children
    std::uint64_t pathTableBytes = 0;
    std::uint32_t pathTableL = 0, pathTableM = 0;  // first sectors

    std::span<CompilationNode* const> childrenOf(std::uint32_t folderIndex) const {
        return std::span(children).subspan(firstChild[folderIndex],
                                           firstChild[folderIndex + 1] - firstChild[folderIndex]);
    }
    DirectoryPlace& placeOf(const CompilationNode& folder) const {
        switch (kind) {
            case TreeKind::Iso: return folder.folder->isoPlace;
            case TreeKind::Joliet: return folder.folder->jolietPlace;
            case TreeKind::Udf: break;
        }
        return folder.folder->udfPlace;
    }
};

/// Orders the compilation's tree by its resolved names: records in ascending order of their identifiers (ECMA-119 9.3;
/// Joliet and UDF by UTF-16 unit), folders by level, parent and identifier. Fills path-table numbers and subfolder
/// counts. Symbolic links stand in the UDF tree, and in the ISO tree with Rock Ridge; files too large for the other two
/// stand in the UDF tree only. More folders than a path table numbers set `context.error`.
DirectoryTree OrderTree(ImageBuildContext& context, TreeKind kind);

/// The bytes of a node's identifier in the ISO or Joliet tree (two a unit, big-endian, for Joliet). Not for "." and
/// "..".
class Identifier {
public:
    Identifier(const CompilationNode& node, TreeKind kind);

    std::span<const std::byte> bytes() const { return {bytes_, size_}; }
    std::uint8_t size() const { return size_; }

private:
    std::byte bytes_[255];
    std::uint8_t size_ = 0;
};

}  // namespace tovlark
