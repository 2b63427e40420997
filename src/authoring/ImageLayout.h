#pragma once

#include <cstdint>
#include <vector>

#include "app/session/Task.h"
#include "authoring/Compilation.h"
#include "authoring/DirectoryTree.h"
#include "authoring/IdenticalFiles.h"
#include "authoring/RockRidge.h"
#include "authoring/SectorStream.h"
#include "authoring/UdfText.h"

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
    Gap = 10,
    UdfRecognition = 11,
    UdfSequence = 12,
    UdfIntegrity = 13,
    UdfAnchor = 14,
    UdfFileSet = 15,
    UdfDirectories = 16,
    UdfFileEntries = 17,
    BootRecord = 18,
    BootCatalog = 19,
    BootImages = 20,
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

/// First sectors of the structures of UDF.
struct UdfPlaces {
    std::uint32_t mainSequence = 0, reserveSequence = 0, integrity = 0;
    std::uint32_t partition = 0;  // begins with the file set descriptor
    std::uint32_t entries = 0;    // file entry number 0, the root's; a sector each, in the order of `udf.children`
};

constexpr std::uint32_t kUdfSequenceSectors = 16, kUdfIntegritySectors = 2, kUdfFileSetSectors = 2;

/// Longest extent of whole sectors within the 30 bits of its length.
constexpr std::uint32_t kUdfLongestExtent = (1u << 30) - kSectorSize;
/// Largest file whose extents one file entry describes.
constexpr std::uint64_t kUdfLargestFile = std::uint64_t{kUdfEmbeddedBytes / sizeof(UdfShortAd)} * kUdfLongestExtent;

/// Unique identifier of a file entry: 0 is the root's, and those below 16 are reserved (UDF 3.2.1.1).
constexpr std::uint64_t UdfUniqueId(std::uint64_t entry) { return entry == 0 ? 0 : entry + 15; }

/// An image being made: the layout pass fills the list of extents, the writing pass walks it.
struct ImageBuild {
    ImageBuild(Task& buildTask, ImageBuildContext& buildContext) : task(buildTask), context(buildContext) {}
    ImageBuild(const ImageBuild&) = delete;

    bool failed() const { return context.error != BuildError::None; }
    /// The tree that has all files, and whose record order is the order of their data.
    const DirectoryTree& mainTree() const { return context.udfEnabled ? udf : iso; }

    Task& task;
    ImageBuildContext& context;
    DirectoryTree iso, joliet, udf;
    UdfPlaces udfPlaces;
    std::vector<Extent> extents;
    std::uint64_t sectorCount = 0;  // next free sector; in the end the volume's size
    std::vector<ContinuedRecord> continued;
    std::uint64_t continuationBytes = 0;
    std::uint32_t continuationSector = 0;
    std::uint32_t bootCatalogSector = 0;
    const CompilationNode* uefiImage = nullptr;
    Text label;
};

/// Gives every structure and file its first sector. Names are resolved already.
void PlaceImage(ImageBuild& build, const IdenticalFiles& identical);

/// Sizes the folders of a tree, one directory after the other in pre-order from sector `first` on; returns the sectors
/// they take. Collects the ISO tree's continued records.
std::uint64_t PlaceDirectories(ImageBuild& build, DirectoryTree& tree, std::uint64_t first);

/// The same for the UDF tree.
std::uint64_t PlaceUdfDirectories(ImageBuild& build, std::uint64_t first);

/// Bytes of a tree's path table.
std::uint64_t PathTableSize(const DirectoryTree& tree);

/// The writing pass: one function a kind of extent.
void EmitPrimaryDescriptor(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitJolietDescriptor(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitBootRecord(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitTerminator(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitPathTableL(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitPathTableM(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitDirectories(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitBootCatalog(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitBootImages(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitContinuation(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitFileData(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitUdfRecognition(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitUdfSequence(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitUdfIntegrity(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitUdfAnchor(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitUdfFileSet(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitUdfDirectories(const ImageBuild& build, const Extent& extent, SectorStream& stream);
void EmitUdfFileEntries(const ImageBuild& build, const Extent& extent, SectorStream& stream);

}  // namespace tovlark
