#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

#include "authoring/IsoDates.h"
#include "authoring/RockRidge.h"
#include "authoring/UdfDescriptors.h"
#include "authoring/UdfText.h"
#include "base/Sectors.h"

namespace tovlark {

namespace {

constexpr std::size_t kLongestIdentifier = (sizeof(UdfFileIdentifier) + 1 + kUdfNameBytes + 3) / 4 * 4;

bool HasIdsInFolders(const ImageBuild& build) { return build.context.udfRevision >= 0x0200; }

TextView NameOf(const ImageBuildContext& context, const CompilationNode& node) {
    const auto found = context.udfNames.empty() ? context.udfNames.end() : context.udfNames.find(&node);
    return found == context.udfNames.end() ? node.longName : found->second;
}

std::size_t IdentifierSize(std::size_t nameSize) { return (sizeof(UdfFileIdentifier) + nameSize + 3) / 4 * 4; }

std::uint32_t BlockOf(const ImageBuild& build, std::uint32_t sector) { return sector - build.udfPlaces.partition; }

/// By folder index, the number of the folder's file entry: the root's is 0, a child's its place in `children` plus 1.
std::vector<std::uint32_t> EntriesOfFolders(const DirectoryTree& tree) {
    std::vector<std::uint32_t> entries{0};
    entries.reserve(tree.folders.size());
    for (std::uint32_t index = 0; index < tree.children.size(); ++index)
        if (tree.children[index]->isFolder()) entries.push_back(index + 1);
    return entries;
}

/// The file identifiers of one folder on their way to a stream.
class IdentifierWriter {
public:
    IdentifierWriter(const ImageBuild& build, std::uint32_t firstSector, SectorStream& stream)
        : build_(build), firstBlock_(BlockOf(build, firstSector)), stream_(stream) {}

    void write(std::uint8_t characteristics, std::uint32_t entry, const UdfText& name) {
        UdfFileIdentifier head;
        head.characteristics = characteristics;
        head.nameLength = name.size();
        head.icb.length = kSectorSize;
        head.icb.block = BlockOf(build_, build_.udfPlaces.entries) + entry;
        if (HasIdsInFolders(build_)) {
            const Little32 uniqueId(static_cast<std::uint32_t>(UdfUniqueId(entry)));
            std::memcpy(head.icb.implementationUse + 2, &uniqueId, sizeof(uniqueId));
        }
        std::byte bytes[kLongestIdentifier];
        const std::size_t size = IdentifierSize(name.size()), used = sizeof(head) + name.size();
        std::memcpy(bytes, &head, sizeof(head));
        std::copy(name.bytes().begin(), name.bytes().end(), bytes + sizeof(head));
        std::fill(bytes + used, bytes + size, std::byte{0});
        const auto block = static_cast<std::uint32_t>(firstBlock_ + written_ / kSectorSize);
        SealDescriptor(build_, std::span(bytes).first(size), UdfTagId::FileIdentifier, block);
        stream_.write(std::span(bytes).first(size));
        written_ += size;
    }

private:
    const ImageBuild& build_;
    std::uint32_t firstBlock_;
    SectorStream& stream_;
    std::uint64_t written_ = 0;
};

/// Permissions of other, group and owner, five bits each (4/14.9.5): execute, write, read, change attributes, delete.
std::uint32_t PermissionsOf(std::uint32_t mode) {
    std::uint32_t permissions = 0;
    for (unsigned who = 0; who < 3; ++who) {
        const std::uint32_t bits = mode >> (3 * who) & 7;
        permissions |= (bits | ((bits & 2) != 0 ? 0x18u : 0u)) << (5 * who);
    }
    return permissions;
}

std::uint16_t FlagsOf(std::uint32_t mode) {
    std::uint16_t flags = 0;
    if ((mode & 04000) != 0) flags |= UdfIcbTag::kSetUser;
    if ((mode & 02000) != 0) flags |= UdfIcbTag::kSetGroup;
    if ((mode & 01000) != 0) flags |= UdfIcbTag::kSticky;
    return flags;
}

std::uint8_t FileTypeOf(NodeKind kind) {
    switch (kind) {
        case NodeKind::Folder: return UdfIcbTag::kFolder;
        case NodeKind::SymbolicLink: return UdfIcbTag::kSymbolicLink;
        default: return UdfIcbTag::kFile;
    }
}

/// File entries, each in a block of its own.
class EntryWriter {
public:
    EntryWriter(const ImageBuild& build, SectorStream& stream) : build_(build), stream_(stream) {}

    void write(std::uint32_t number, const CompilationNode& node) {
        const ImageBuildContext& context = build_.context;
        const std::uint32_t mode = PosixModeOf(node, context.rationalAttributes);
        UdfFileEntry entry;
        entry.icb.fileType = FileTypeOf(node.kind);
        entry.icb.flags = FlagsOf(mode);
        entry.owner = context.rationalAttributes ? 0 : node.owner;
        entry.group = context.rationalAttributes ? 0 : node.group;
        entry.permissions = PermissionsOf(mode);
        entry.links = 1;
        entry.accessed = entry.modified = entry.attributesChanged = timeOf(RecordedDateOf(context, node));
        entry.implementation = UdfImplementation();
        entry.uniqueId = UdfUniqueId(number);
        contentSize_ = 0;
        if (node.isFolder()) {
            const DirectoryPlace& place = build_.udf.placeOf(node);
            // Its own identifier, or the root's of itself, and one in each subfolder.
            entry.links = static_cast<std::uint16_t>(std::min(place.subfolderCount + 1, 0xFFFFu));
            addExtents(entry, place.extent, place.sizeBytes);
        } else if (node.kind == NodeKind::SymbolicLink) {
            embed(entry, UdfPathOf(node.linkTarget));
        } else {
            addExtents(entry, node.extent, node.sizeBytes);
        }
        entry.descriptorsLength = static_cast<std::uint32_t>(contentSize_);
        std::memcpy(block_, &entry, sizeof(entry));
        const std::span<std::byte> used = std::span(block_).first(sizeof(entry) + contentSize_);
        SealDescriptor(build_, used, UdfTagId::FileEntry, BlockOf(build_, build_.udfPlaces.entries) + number);
        stream_.write(used);
        stream_.padToSector();
    }

private:
    void addExtents(UdfFileEntry& entry, std::uint32_t sector, std::uint64_t sizeBytes) {
        entry.size = sizeBytes;
        entry.blocksRecorded = SectorsFor(sizeBytes);
        for (std::uint32_t block = BlockOf(build_, sector); sizeBytes > 0; block += kUdfLongestExtent / kSectorSize) {
            const auto length = static_cast<std::uint32_t>(std::min<std::uint64_t>(sizeBytes, kUdfLongestExtent));
            const UdfShortAd extent{length, block};
            append(std::as_bytes(std::span(&extent, 1)));
            sizeBytes -= length;
        }
    }

    void embed(UdfFileEntry& entry, const std::vector<std::byte>& content) {
        entry.icb.flags = entry.icb.flags | UdfIcbTag::kEmbedded;
        entry.size = content.size();
        append(content);
    }

    void append(std::span<const std::byte> bytes) {
        std::copy(bytes.begin(), bytes.end(), block_ + sizeof(UdfFileEntry) + contentSize_);
        contentSize_ += bytes.size();
    }

    UdfTime timeOf(UnixSeconds when) {
        if (when != timeKept_) time_ = ToUdfTime(build_.task.clock, when);
        timeKept_ = when;
        return time_;
    }

    const ImageBuild& build_;
    SectorStream& stream_;
    std::byte block_[kSectorSize];
    std::size_t contentSize_ = 0;  // behind the entry's fixed part
    UnixSeconds timeKept_ = kNoDate;
    UdfTime time_;
};

}  // namespace

std::uint64_t PlaceUdfDirectories(ImageBuild& build, std::uint64_t first) {
    const DirectoryTree& tree = build.udf;
    std::uint64_t sectors = 0;
    for (std::uint32_t index = 0; index < tree.folders.size(); ++index) {
        std::uint64_t sizeBytes = IdentifierSize(0);
        for (const CompilationNode* child : tree.childrenOf(index))
            sizeBytes += IdentifierSize(UdfText(NameOf(build.context, *child)).size());
        constexpr std::uint64_t kLimit = std::numeric_limits<std::uint32_t>::max();
        if (sizeBytes > kLimit || first + sectors + SectorsFor(sizeBytes) > kLimit) {
            build.context.error = BuildError::TooLarge;
            return 0;
        }
        DirectoryPlace& place = tree.placeOf(*tree.folders[index]);
        place.extent = static_cast<std::uint32_t>(first + sectors);
        place.sizeBytes = static_cast<std::uint32_t>(sizeBytes);
        sectors += SectorsFor(sizeBytes);
    }
    return sectors;
}

void EmitUdfDirectories(const ImageBuild& build, const Extent&, SectorStream& stream) {
    const DirectoryTree& tree = build.udf;
    const std::vector<std::uint32_t> folderEntries = EntriesOfFolders(tree);
    for (std::uint32_t index = 0; index < tree.folders.size() && !stream.failed(); ++index) {
        const CompilationNode& folder = *tree.folders[index];
        const CompilationNode& parent = folder.parent != nullptr ? *folder.parent : folder;
        IdentifierWriter identifiers(build, tree.placeOf(folder).extent, stream);
        identifiers.write(UdfFileIdentifier::kFolder | UdfFileIdentifier::kParent,
                          folderEntries[tree.placeOf(parent).pathNumber - 1], UdfText({}));
        std::uint32_t entry = tree.firstChild[index];
        for (const CompilationNode* child : tree.childrenOf(index))
            identifiers.write(child->isFolder() ? UdfFileIdentifier::kFolder : std::uint8_t{0}, ++entry,
                              UdfText(NameOf(build.context, *child)));
        stream.padToSector();
    }
}

void EmitUdfFileEntries(const ImageBuild& build, const Extent&, SectorStream& stream) {
    EntryWriter entries(build, stream);
    entries.write(0, *build.context.root);
    std::uint32_t number = 0;
    for (const CompilationNode* node : build.udf.children) {
        if (stream.failed()) return;
        entries.write(++number, *node);
    }
}

}  // namespace tovlark
