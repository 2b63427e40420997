#include "authoring/ImageLayout.h"
#include "base/IsoBytes.h"

namespace tovlark {

namespace {

using LittleHead = PathTableHead<Little32, Little16>;
using BigHead = PathTableHead<Big32, Big16>;

template <typename Head>
void EmitPathTable(const DirectoryTree& tree, SectorStream& stream) {
    for (const CompilationNode* folder : tree.folders) {
        Head head;
        head.extent = tree.placeOf(*folder).extent;
        if (folder->parent == nullptr) {
            head.parent = 1;
            stream.writeStructure(head);
            stream.zeros(2);  // the root's identifier and its padding
            continue;
        }
        const Identifier identifier(*folder, tree.kind);
        head.nameLength = identifier.size();
        head.parent = static_cast<std::uint16_t>(tree.placeOf(*folder->parent).pathNumber);
        stream.writeStructure(head);
        stream.write(identifier.bytes());
        stream.zeros(identifier.size() % 2);
    }
    stream.padToSector();
}

}  // namespace

std::uint64_t PathTableSize(const DirectoryTree& tree) {
    std::uint64_t sizeBytes = 0;
    for (const CompilationNode* folder : tree.folders) {
        const std::size_t nameLength = folder->parent == nullptr ? 1 : Identifier(*folder, tree.kind).size();
        sizeBytes += sizeof(LittleHead) + nameLength + nameLength % 2;
    }
    return sizeBytes;
}

void EmitPathTableL(const ImageBuild&, const Extent& extent, SectorStream& stream) {
    EmitPathTable<LittleHead>(*extent.tree, stream);
}

void EmitPathTableM(const ImageBuild&, const Extent& extent, SectorStream& stream) {
    EmitPathTable<BigHead>(*extent.tree, stream);
}

}  // namespace tovlark
