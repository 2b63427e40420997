#include "authoring/ImageLayout.h"
#include "authoring/IsoDates.h"
#include "base/IsoBytes.h"
#include "base/Sectors.h"

namespace tovlark {

namespace {

/// Walks the records of one tree in the order in which they stand, the same way for measuring and for writing: the
/// continuation area fills up along the way.
class RecordWalk {
public:
    RecordWalk(const ImageBuild& build, const DirectoryTree& tree)
        : build_(build),
          tree_(tree),
          hasSystemUse_(tree.kind == TreeKind::Iso && build.context.rockRidgeEnabled()),
          systemUse_(build.context, build.task.clock) {}

    /// Calls `visit(role, node, length)` for each record of a folder.
    template <typename Visit>
    void walk(std::uint32_t folderIndex, const Visit& visit) {
        const CompilationNode& folder = *tree_.folders[folderIndex];
        const CompilationNode& parent = folder.parent != nullptr ? *folder.parent : folder;
        visit(RecordRole::Self, folder, measure(RecordRole::Self, folder));
        visit(RecordRole::Parent, parent, measure(RecordRole::Parent, parent));
        for (const CompilationNode* child : tree_.childrenOf(folderIndex))
            visit(RecordRole::Child, *child, measure(RecordRole::Child, *child));
    }

    const SystemUse& systemUse() const { return systemUse_; }
    bool hasContinuation() const { return hasSystemUse_ && !systemUse_.areaBytes().empty(); }
    std::uint64_t areaOffset() const { return areaOffset_; }

    /// Length of the record of `node`, even and at most 254; 0 when it cannot be that short.
    std::uint8_t measure(RecordRole role, const CompilationNode& node) {
        const std::size_t base = baseLength(role, node);
        if (!hasSystemUse_) return static_cast<std::uint8_t>(base);
        if (base + SystemUse::kLeastSpace > kLongestRecord) return 0;
        const std::uint32_t subfolders = node.isFolder() ? tree_.placeOf(node).subfolderCount : 0;
        systemUse_.build(node, role, subfolders, kLongestRecord - base, build_.continuationSector, areaOffset_);
        areaOffset_ += systemUse_.areaBytes().size();
        const std::size_t length = base + systemUse_.recordBytes().size();
        return static_cast<std::uint8_t>(length + length % 2);
    }

    /// The record's length without system-use entries.
    std::size_t baseLength(RecordRole role, const CompilationNode& node) const {
        if (role != RecordRole::Child) return sizeof(DirectoryRecordHead) + 1;
        return tree_.kind == TreeKind::Iso ? node.isoRecordLength : node.jolietRecordLength;
    }

private:
    const ImageBuild& build_;
    const DirectoryTree& tree_;
    bool hasSystemUse_;
    SystemUse systemUse_;
    std::uint64_t areaOffset_ = 0;
};

/// True when a record that would begin at `offset` starts the next sector instead: also when it would end exactly
/// with its sector, so that a directory never fills one to the last byte.
bool MovesToNextSector(std::uint64_t offset, std::uint8_t length) {
    return offset % kSectorSize + length >= kSectorSize;
}

std::uint64_t RoundUpToSector(std::uint64_t offset) { return SectorsFor(offset) * kSectorSize; }

DirectoryRecordHead HeadOf(const ImageBuild& build, const DirectoryTree& tree, const CompilationNode& node) {
    DirectoryRecordHead head;
    head.date = ToRecordDate(build.task.clock, RecordedDateOf(build.context, node));
    if (node.isFolder()) {
        head.flags = DirectoryRecordHead::kFolder;
        head.extent = tree.placeOf(node).extent;
        head.dataLength = tree.placeOf(node).sizeBytes;
    } else if (node.kind == NodeKind::File) {
        head.extent = node.extent;
        head.dataLength = static_cast<std::uint32_t>(node.sizeBytes);
    }
    return head;
}

}  // namespace

std::uint64_t PlaceDirectories(ImageBuild& build, DirectoryTree& tree, std::uint64_t first) {
    RecordWalk records(build, tree);
    std::uint64_t sectors = 0;
    for (const std::uint32_t index : tree.preOrder) {
        if (build.failed()) return 0;
        std::uint64_t offset = 0;
        records.walk(index, [&](RecordRole role, const CompilationNode& node, std::uint8_t length) {
            if (length == 0 && !build.failed()) {
                build.context.error = BuildError::NoUniqueName;
                build.context.errorSubject = PathInImage(node);
            }
            if (MovesToNextSector(offset, length)) offset = RoundUpToSector(offset);
            offset += length;
            if (records.hasContinuation()) build.continued.push_back({role, &node});
        });
        const std::uint64_t count = SectorsFor(offset);
        if (first + sectors + count > 0xFFFFFFFF || count * kSectorSize > 0xFFFFFFFF) {
            build.context.error = BuildError::TooLarge;
            return 0;
        }
        DirectoryPlace& place = tree.placeOf(*tree.folders[index]);
        place.extent = static_cast<std::uint32_t>(first + sectors);
        place.sizeBytes = static_cast<std::uint32_t>(count * kSectorSize);
        sectors += count;
    }
    if (tree.kind == TreeKind::Iso) build.continuationBytes = records.areaOffset();
    return sectors;
}

void EmitDirectories(const ImageBuild& build, const Extent& extent, SectorStream& stream) {
    const DirectoryTree& tree = *extent.tree;
    RecordWalk records(build, tree);
    for (const std::uint32_t index : tree.preOrder) {
        if (stream.failed()) return;
        records.walk(index, [&](RecordRole role, const CompilationNode& node, std::uint8_t length) {
            if (MovesToNextSector(stream.position(), length)) stream.padToSector();
            const std::uint64_t end = stream.position() + length;
            const std::uint64_t systemUseBegin = stream.position() + records.baseLength(role, node);

            DirectoryRecordHead head = HeadOf(build, tree, node);
            head.length = length;
            if (role == RecordRole::Child) {
                const Identifier identifier(node, tree.kind);
                head.nameLength = identifier.size();
                stream.writeStructure(head);
                stream.write(identifier.bytes());
            } else {
                stream.writeStructure(head);
                stream.writeStructure(role == RecordRole::Self ? std::byte{0} : std::byte{1});
            }
            stream.zeros(systemUseBegin - stream.position());
            stream.write(records.systemUse().recordBytes());
            stream.zeros(end - stream.position());
        });
        stream.padToSector();
    }
}

void EmitContinuation(const ImageBuild& build, const Extent&, SectorStream& stream) {
    RecordWalk records(build, build.iso);
    for (const ContinuedRecord& record : build.continued) {
        if (stream.failed()) return;
        records.measure(record.role, *record.node);
        stream.write(records.systemUse().areaBytes());
    }
    stream.padToSector();
}

}  // namespace tovlark
