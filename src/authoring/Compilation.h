#pragma once

#include <cstdint>
#include <deque>
#include <limits>
#include <memory_resource>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

#include "app/session/Task.h"
#include "authoring/BootDescription.h"
#include "base/Clock.h"
#include "base/Text.h"
#include "platform/CodePage.h"
#include "platform/SystemError.h"
#include "readers/IsoVolume.h"
#include "readers/OpenedImage.h"

namespace tovlark {

struct CompilationNode;

constexpr UnixSeconds kNoDate = std::numeric_limits<UnixSeconds>::min();

/// The longest name of a node in UTF-16 units: what the file systems of both systems allow, and what a Rock Ridge name
/// entry with its continuation always holds.
constexpr std::size_t kMaximumNameUnits = 255;

enum class NodeKind : std::uint8_t { File, Folder, SymbolicLink };

/// Sampling state of the identical-file comparison.
enum class FingerprintState : std::uint8_t { NotComputed = 0, Computed = 1, ReadFailed = 2 };

/// A local folder that supplies files, by its full path. One object per path, so that equal sources have equal
/// pointers.
struct SourceFolder {
    Text path;
};

/// An image whose files a compilation takes over; open until the new image is written.
struct SourceImage {
    Text path;
    OpenedImage opened;
    FileIdentity identity;
    bool isIncomplete = false;  // something of it could not be taken over
};

/// Where the data of a file lie in such an image.
struct ImageSource {
    const SourceImage* image;
    std::span<const DataExtent> extents;
};

/// Data made in memory, with the owner that made it.
struct MemorySource {
    const void* owner;
    std::span<const std::byte> data;
};

/// Where a folder's records stand in one of the trees; set by the layout.
struct DirectoryPlace {
    std::uint32_t extent = 0, sizeBytes = 0;  // whole sectors, in UDF the records only
    std::uint32_t pathNumber = 0;             // from 1, path-table order
    std::uint32_t subfolderCount = 0;
};

/// What only folders have.
struct FolderContents {
    std::vector<CompilationNode*> children;  // in the order added; `ResolveNames` sorts them by long name
    /// Open-addressed index of the children by long name, a power of two in size; empty while they are few.
    std::vector<CompilationNode*> slots;
    DirectoryPlace isoPlace, jolietPlace, udfPlace;
};

/// One file or folder of a compilation. Nodes and names live as long as the compilation; a deleted node is only
/// unlinked. Plain data without a destructor, so that a million of them are allocated in bulk.
struct CompilationNode {
    CompilationNode* parent = nullptr;
    FolderContents* folder = nullptr;  // folders only
    TextView longName;                 // at most `kMaximumNameUnits`
    std::string_view isoName;          // "." is the byte 0x00, ".." the byte 0x01
    TextView jolietName;
    const SourceFolder* sourceFolder = nullptr;  // null: no local source
    TextView sourceName;                         // file name in `sourceFolder`
    TextView linkTarget;                         // symbolic links only
    const MemorySource* memory = nullptr;
    const ImageSource* inImage = nullptr;  // the data stay where an edited image has them
    std::uint64_t sizeBytes = 0;
    UnixSeconds date = kNoDate;
    std::uint32_t mode = 0, owner = 0, group = 0, links = 1;
    std::uint32_t extent = 0;  // first sector of a file's data; 0 until the layout assigns it
    std::uint32_t fingerprint = 0;
    std::uint32_t orderIndex = 0;  // place in the size-sorted list of all files
    std::int32_t trackLink = 0;    // -256 Video CD folder, -256 + n MPEG track n; non-zero: special entry
    NodeKind kind = NodeKind::File;
    FingerprintState fingerprintState = FingerprintState::NotComputed;
    std::uint8_t isoRecordLength = 0;     // 33 + ISO name length, plus 1 when odd
    std::uint8_t jolietRecordLength = 0;  // the same in the Joliet tree

    bool isFolder() const { return kind == NodeKind::Folder; }
    bool isSpecial() const { return trackLink != 0; }
};
static_assert(sizeof(CompilationNode) <= 184);

using VolumeField = IsoField;
using VolumeDate = IsoDate;

enum class ImageKind : std::uint8_t { Data, VideoCd, SuperVideoCd };

/// How Rock Ridge is chosen (setting `RockRidge`).
enum class RockRidgeChoice : std::uint8_t { Off = 0, On = 1, Automatic = 2 };

/// A build's error state: once set, every later step returns at once.
enum class BuildError : std::uint8_t {
    None,
    Cancelled,
    OpenFailed,
    WriteFailed,
    NoUniqueName,
    TooManyFolders,
    TooLarge,
    NamesRefused,
    InvalidBootFile,
    SecondBootFile,  // only one boot setting can hold
    NoFileSystem,
    OutOfMemory
};

/// The compilation being built: tree, file-system switches, volume fields and dates.
struct ImageBuildContext {
    ImageBuildContext();
    ImageBuildContext(const ImageBuildContext&) = delete;

    std::pmr::monotonic_buffer_resource storage;  // nodes and names
    std::deque<FolderContents> folders;
    CompilationNode* root;

    bool isoEnabled = true;
    bool udfEnabled = false;
    std::uint16_t udfRevision = 0x0102;  // or 0x0201
    bool jolietEnabled = true;
    std::uint8_t jolietLevel = 3;
    std::uint8_t isoNameLength = 30;     // 12, 30 or 221
    std::uint8_t jolietNameLength = 64;  // 64 or 110
    RockRidgeChoice rockRidge = RockRidgeChoice::Automatic;
    bool isoNameLengthFixed = false;  // set by -iso-name-len: automatic Rock Ridge yields to 30 and 221
    bool fileSystemsFixed = false;    // set by the switches that choose ISO 9660 or Joliet explicitly
    bool lowerCaseAllowed = false;
    bool optimisationEnabled = true;
    bool rationalAttributes = false;  // Rock Ridge: owner 0, readable by all
    bool keepSymbolicLinks = false;
    bool useCreationTime = false;
    bool autoBootImage = true;            // a well-known boot image of the tree makes the image bootable
    std::optional<BootDescription> boot;  // keeps ISO 9660 on
    ImageKind kind = ImageKind::Data;
    CodePage codePage{1252};

    Text volumeFields[static_cast<std::size_t>(VolumeField::Count)];
    bool labelSet = false;  // else the label is the date (`VolumeFieldText`)
    UnixSeconds volumeDates[static_cast<std::size_t>(VolumeDate::Count)] = {};  // 0: not set
    UnixSeconds fixedDate = kNoDate;             // -file-datetime, else TimeFixed: overrides every file's date
    UnixSeconds startedAt = 0;                   // the clock when the compilation was made
    std::optional<std::uint32_t> runIdentifier;  // tells runs apart in UDF; none: the same as "now"

    /// Names that had to be cut for UDF; an empty one is a symbolic link that it cannot record.
    std::unordered_map<const CompilationNode*, TextView> udfNames;

    std::deque<SourceImage> sourceImages;    // that nodes take their data from
    std::vector<CompilationNode*> priority;  // files to be written first, in this order

    BuildError error = BuildError::None;
    Text errorSubject;  // the path or name the error is about
    SystemError systemError;
    std::int32_t errorPlace = 0;  // which structure was being written

    /// Automatic Rock Ridge resolved: on unless the name length was fixed to 30 or 221 or ISO 9660 is off.
    bool rockRidgeEnabled() const;
    /// The time of volume dates and generated entries: fixed date, else the time the compilation was made.
    UnixSeconds now() const { return fixedDate != kNoDate ? fixedDate : startedAt; }
    /// The date a node is recorded with: the fixed date, else its own, else "now".
    UnixSeconds dateOf(const CompilationNode& node) const;

    /// Adds a child. The name is copied and must be free in `parent`. Mode 0755 (folders), 0644 (files), 0777 (links).
    CompilationNode& newNode(NodeKind nodeKind, CompilationNode& parent, TextView longName);
    /// The one object for a full local path.
    const SourceFolder& sourceFolder(TextView path);
    /// Where data lie in an image of `sourceImages`.
    const ImageSource& imageSource(const SourceImage& image, std::span<const DataExtent> extents);
    TextView store(TextView text);
    std::string_view store(std::string_view bytes);

private:
    std::unordered_map<Text, SourceFolder> sourceFolders_;
};

/// Applies the settings (TimeFixed, UseFileCreationTime, UdfRevision, RockRidge, RockRidgeRational, KeepSymbolicLinks,
/// AutoBootImage, the code page of Language) and the clock to a new compilation. Switches of the command line come
/// after it.
void InitialiseCompilation(const Task& task, ImageBuildContext& context);

/// Text of a volume field; a label that was not set is the local date of `now()` in the system's short-date pattern.
Text VolumeFieldText(const ImageBuildContext& context, VolumeField field, const Clock& clock);

/// The full local path of a node's source, empty when it has none; for data of an edited image its path and, after a
/// colon, the node's in the image.
Text SourcePath(const CompilationNode& node);

/// Path of a node inside the image, "/" separated; the root is "/".
Text PathInImage(const CompilationNode& node);

/// Makes `node` a child of `folder`, or takes it out of its folder. A node taken out keeps what is below it.
void Link(CompilationNode& folder, CompilationNode& node);
void Unlink(CompilationNode& node);

/// Child of that exact long name, or null.
CompilationNode* FindChild(const CompilationNode& folder, TextView longName);

/// Node at "/a/b", or null. "/" is the root; empty parts are skipped.
CompilationNode* FindNode(const ImageBuildContext& context, TextView path);

}  // namespace tovlark
