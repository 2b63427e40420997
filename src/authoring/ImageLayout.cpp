#include "authoring/ImageLayout.h"

#include <limits>

#include "authoring/BootSelection.h"
#include "base/IsoBytes.h"
#include "base/Sectors.h"

namespace tovlark {

namespace {

constexpr std::uint64_t kSystemAreaSectors = 16;  // ECMA-119 6.2.1
constexpr std::uint64_t kUdfSequenceFirst = 32, kUdfAnchorSector = 256;
constexpr std::uint32_t kPrimaryDescriptorSector = kSystemAreaSectors;

/// Appends an extent at the next free sector; returns its first sector. Nothing is appended for no sectors.
std::uint32_t Place(ImageBuild& build, ExtentKind kind, std::uint64_t count, DirectoryTree* tree = nullptr) {
    const std::uint64_t first = build.sectorCount;
    if (build.failed()) return 0;
    if (count > std::numeric_limits<std::uint32_t>::max() - first) {
        build.context.error = BuildError::TooLarge;
        return 0;
    }
    if (count > 0)
        build.extents.push_back({kind, static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(count), tree});
    build.sectorCount += count;
    return static_cast<std::uint32_t>(first);
}

/// Places zeros up to a sector, where the image is not that long yet.
void PlaceGap(ImageBuild& build, std::uint64_t end) {
    if (build.sectorCount < end) Place(build, ExtentKind::Gap, end - build.sectorCount);
}

void PlaceUdf(ImageBuild& build) {
    UdfPlaces& places = build.udfPlaces;
    PlaceGap(build, kUdfSequenceFirst);
    places.mainSequence = Place(build, ExtentKind::UdfSequence, kUdfSequenceSectors);
    places.reserveSequence = Place(build, ExtentKind::UdfSequence, kUdfSequenceSectors);
    places.integrity = Place(build, ExtentKind::UdfIntegrity, kUdfIntegritySectors);
    PlaceGap(build, kUdfAnchorSector);
    Place(build, ExtentKind::UdfAnchor, 1);
    places.partition = Place(build, ExtentKind::UdfFileSet, kUdfFileSetSectors);
    Place(build, ExtentKind::UdfDirectories, PlaceUdfDirectories(build, build.sectorCount));
    places.entries = Place(build, ExtentKind::UdfFileEntries, build.udf.children.size() + 1);
}

void PlacePathTables(ImageBuild& build, DirectoryTree& tree) {
    tree.pathTableBytes = PathTableSize(tree);
    const std::uint64_t count = SectorsFor(tree.pathTableBytes);
    tree.pathTableL = Place(build, ExtentKind::PathTableL, count, &tree);
    tree.pathTableM = Place(build, ExtentKind::PathTableM, count, &tree);
}

void PlaceBootImages(ImageBuild& build, BootDescription& boot) {
    build.bootCatalogSector = Place(build, ExtentKind::BootCatalog, 1);
    std::uint64_t next = build.sectorCount;
    for (BootImage& image : boot.images) {
        image.firstSector = static_cast<std::uint32_t>(next);
        next += SectorsFor(image.bytes.size());
        WriteBootInfoTable(image, kPrimaryDescriptorSector);
    }
    Place(build, ExtentKind::BootImages, next - build.sectorCount);
    build.uefiImage = FindUefiImage(build.context);
}

void PlaceIsoTables(ImageBuild& build) {
    const bool hasJoliet = build.context.jolietEnabled;
    PlacePathTables(build, build.iso);
    if (hasJoliet) PlacePathTables(build, build.joliet);
    Place(build, ExtentKind::Directories, PlaceDirectories(build, build.iso, build.sectorCount), &build.iso);
    if (hasJoliet)
        Place(build, ExtentKind::Directories, PlaceDirectories(build, build.joliet, build.sectorCount), &build.joliet);
    if (build.context.boot) PlaceBootImages(build, *build.context.boot);
    build.continuationSector = Place(build, ExtentKind::Continuation, SectorsFor(build.continuationBytes));
}

/// Files in the order in which their data stand: identical ones share the first one's extent.
class FilePlacer {
public:
    FilePlacer(ImageBuild& build, const IdenticalFiles& identical)
        : build_(build), identical_(identical), next_(build.sectorCount) {}

    void place(CompilationNode& file) {
        if (file.kind != NodeKind::File || file.extent != 0 || file.sizeBytes == 0 || build_.failed()) return;
        if (file.sizeBytes > (build_.context.udfEnabled ? kUdfLargestFile : kLargestIsoFile)) {
            build_.context.error = BuildError::TooLarge;
            build_.context.errorSubject = PathInImage(file);
            return;
        }
        CompilationNode& leader = identical_.leaderOf(file);
        if (leader.extent == 0) {
            leader.extent = static_cast<std::uint32_t>(next_);
            next_ += SectorsFor(file.sizeBytes);
        }
        file.extent = leader.extent;
        if (next_ > std::numeric_limits<std::uint32_t>::max()) build_.context.error = BuildError::TooLarge;
    }

    std::uint64_t sectorCount() const { return next_ - build_.sectorCount; }

private:
    ImageBuild& build_;
    const IdenticalFiles& identical_;
    std::uint64_t next_;
};

void PlaceFileData(ImageBuild& build, const IdenticalFiles& identical) {
    const DirectoryTree& tree = build.mainTree();
    for (CompilationNode* node : tree.children) node->extent = 0;
    FilePlacer placer(build, identical);
    for (CompilationNode* file : build.context.priority) placer.place(*file);
    for (const std::uint32_t index : tree.preOrder)
        for (CompilationNode* child : tree.childrenOf(index)) placer.place(*child);
    Place(build, ExtentKind::FileData, placer.sectorCount());
}

}  // namespace

void PlaceImage(ImageBuild& build, const IdenticalFiles& identical) {
    const ImageBuildContext& context = build.context;
    Place(build, ExtentKind::SystemArea, kSystemAreaSectors);
    if (context.isoEnabled) {
        Place(build, ExtentKind::PrimaryDescriptor, 1);
        if (context.boot) Place(build, ExtentKind::BootRecord, 1);
        if (context.jolietEnabled) Place(build, ExtentKind::JolietDescriptor, 1);
        Place(build, ExtentKind::Terminator, 1);
    }
    if (context.udfEnabled) Place(build, ExtentKind::UdfRecognition, 3);
    if (context.isoEnabled) Place(build, ExtentKind::Marker, 1);
    if (context.udfEnabled) PlaceUdf(build);
    if (context.isoEnabled) PlaceIsoTables(build);
    PlaceFileData(build, identical);
    if (context.udfEnabled) Place(build, ExtentKind::UdfAnchor, 1);
}

}  // namespace tovlark
