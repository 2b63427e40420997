#include "authoring/DirectoryTree.h"

#include <algorithm>
#include <cstring>

#include "base/IsoBytes.h"

namespace tovlark {

namespace {

/// Compares as if the shorter were filled with spaces.
int ComparePadded(std::string_view left, std::string_view right) {
    const std::size_t common = std::min(left.size(), right.size());
    if (const int order = std::char_traits<char>::compare(left.data(), right.data(), common); order != 0) return order;
    const bool isLeftLonger = left.size() > right.size();
    for (const char unit : (isLeftLonger ? left : right).substr(common))
        if (unit != ' ') return (static_cast<unsigned char>(unit) > ' ') == isLeftLonger ? 1 : -1;
    return 0;
}

struct NameParts {
    std::string_view name, extension;
};

// A folder's identifier has no extension, whatever dots it holds: so records and path table agree in their order.
NameParts PartsOf(const CompilationNode& node) {
    const std::size_t dot = node.isFolder() ? std::string_view::npos : node.isoName.rfind('.');
    if (dot == std::string_view::npos) return {node.isoName, {}};
    return {node.isoName.substr(0, dot), node.isoName.substr(dot + 1)};
}

bool IsBeforeInIso(const CompilationNode* left, const CompilationNode* right) {
    const NameParts leftParts = PartsOf(*left), rightParts = PartsOf(*right);
    if (const int order = ComparePadded(leftParts.name, rightParts.name); order != 0) return order < 0;
    if (const int order = ComparePadded(leftParts.extension, rightParts.extension); order != 0) return order < 0;
    return left->isoName < right->isoName;
}

bool IsBeforeInJoliet(const CompilationNode* left, const CompilationNode* right) {
    return left->jolietName < right->jolietName;
}

bool IsInTree(const ImageBuildContext& context, TreeKind kind, const CompilationNode& node) {
    if (node.kind == NodeKind::SymbolicLink) {
        if (kind != TreeKind::Udf) return kind == TreeKind::Iso && context.rockRidgeEnabled();
        const auto found = context.udfNames.find(&node);
        return found == context.udfNames.end() || !found->second.empty();
    }
    return kind == TreeKind::Udf || !context.udfEnabled || node.sizeBytes <= kLargestIsoFile;
}

std::vector<std::uint32_t> PreOrder(const DirectoryTree& tree) {
    std::vector<std::uint32_t> order, waiting{0};
    order.reserve(tree.folders.size());
    while (!waiting.empty()) {
        const std::uint32_t index = waiting.back();
        waiting.pop_back();
        order.push_back(index);
        const auto children = tree.childrenOf(index);
        for (std::size_t left = children.size(); left-- > 0;)
            if (children[left]->isFolder()) waiting.push_back(tree.placeOf(*children[left]).pathNumber - 1u);
    }
    return order;
}

}  // namespace

DirectoryTree OrderTree(ImageBuildContext& context, TreeKind kind) {
    DirectoryTree tree;
    tree.kind = kind;
    if (context.error != BuildError::None) return tree;

    tree.folders.push_back(context.root);
    for (std::uint32_t index = 0; index < tree.folders.size(); ++index) {
        CompilationNode& folder = *tree.folders[index];
        const std::size_t first = tree.children.size();
        tree.firstChild.push_back(static_cast<std::uint32_t>(first));
        for (CompilationNode* child : folder.folder->children)
            if (IsInTree(context, kind, *child)) tree.children.push_back(child);
        if (kind != TreeKind::Udf)  // whose children are in order already
            std::sort(tree.children.begin() + static_cast<std::ptrdiff_t>(first), tree.children.end(),
                      kind == TreeKind::Iso ? IsBeforeInIso : IsBeforeInJoliet);

        const std::size_t foldersBefore = tree.folders.size();
        for (std::size_t child = first; child < tree.children.size(); ++child)
            if (tree.children[child]->isFolder()) tree.folders.push_back(tree.children[child]);
        if (kind != TreeKind::Udf && tree.folders.size() > kMostFolders) {
            context.error = BuildError::TooManyFolders;
            return tree;
        }
        tree.placeOf(folder) = {0, 0, index + 1, static_cast<std::uint32_t>(tree.folders.size() - foldersBefore)};
        for (std::size_t added = foldersBefore; added < tree.folders.size(); ++added)
            tree.placeOf(*tree.folders[added]).pathNumber = static_cast<std::uint32_t>(added + 1);
    }
    tree.firstChild.push_back(static_cast<std::uint32_t>(tree.children.size()));
    tree.preOrder = PreOrder(tree);
    return tree;
}

Identifier::Identifier(const CompilationNode& node, TreeKind kind) {
    if (kind == TreeKind::Iso) {
        size_ = static_cast<std::uint8_t>(std::min(node.isoName.size(), sizeof(bytes_)));
        std::memcpy(bytes_, node.isoName.data(), size_);
        return;
    }
    for (const char16_t unit : node.jolietName.substr(0, sizeof(bytes_) / 2)) {
        bytes_[size_++] = static_cast<std::byte>(unit >> 8);
        bytes_[size_++] = static_cast<std::byte>(unit & 0xFF);
    }
}

}  // namespace tovlark
