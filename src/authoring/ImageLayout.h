#pragma once

#include <cstdint>
#include <vector>

#include "app/session/Task.h"
#include "authoring/Compilation.h"
#include "authoring/DirectoryTree.h"
#include "authoring/IdenticalFiles.h"
#include "authoring/RockRidge.h"
#include "authoring/SectorStream.h"

namespace tovlark {

/// What an extent of an image holds. The numbers are shown beside a writing error.
enum class ExtentKind : std::uint8_t {
    SystemArea = 0,
    PrimaryDescriptor = 1,
    JolietDescriptor = 2,
    Terminator = 3,
    Marker = 4,
    PathTableL = 5,
    PathTableM = 6,
    Directories = 7,
    Continuation = 8,
    FileData = 9,
    Count
};

/// A run of sectors of the image.
struct Extent {
    ExtentKind kind;
    std::uint32_t first;
    std::uint32_t count;
    DirectoryTree* tree;  // whose path table or directories; else null
};

/// A record whose system-use entries go on in the continuation area.
struct ContinuedRecord {
    RecordRole role;
    const CompilationNode* node;
};

/// An image being made: the layout pass fills the list of extents, the writing pass walks it.
struct ImageBuild {
    ImageBuild(Task& buildTask, ImageBuildContext& buildContext) : task(buildTask), context(buildContext) {}
    ImageBuild(const ImageBuild&) = delete;

    bool failed() const { return context.error != BuildError::None; }
    /// The tree whose record order is the order of the file data.
    const DirectoryTree& mainTree() const { return iso; }

    Task& task;
    ImageBuildContext& context;
    DirectoryTree iso, joliet;
    std::vector<Extent> extents;
    std::uint64_t sectorCount = 0;  // next free sector; in the end the volume's size
    std::vector<ContinuedRecord> continued;
    std::uint64_t continuationBytes = 0;
    std::uint32_t continuationSector = 0;
    Text label;
};

/// Gives every structure and file its first sector. Names are resolved already.
void PlaceImage(ImageBuild& build, const IdenticalFiles& identical);

/// Sizes the folders of a tree, one directory after the other in pre-order from sector `first` on; returns the sectors
/// they take. Collects the ISO tree's continued records.
std::uint64_t PlaceDirectories(ImageBuild& build, DirectoryTree& tree, std::uint64_t first);

/// Bytes of a tree's path table.
std::uint64_t PathTableSize(const DirectoryTree& tree);

/// The writing pass: one function a kind of extent.
void EmitPrimaryDescriptor(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitJolietDescriptor(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitTerminator(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitPathTableL(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitPathTableM(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitDirectories(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitContinuation(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitFileData(const ImageBuild& build, const Extent& extent, SectorStream& stream);

}  // namespace tovlark
