#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "app/session/TextId.h"
#include "base/Clock.h"
#include "base/Text.h"
#include "readers/ByteSource.h"

namespace tovlark {

/// The trees of names that an image can carry, the richest last.
enum class VolumeKind : std::uint8_t { Iso, Joliet, Udf, RockRidge };

enum class EntryKind : std::uint8_t { File, Folder, SymbolicLink, Other };

/// One item of a folder of an image. Names come as they are recorded: whoever turns one into a local path makes it
/// harmless first.
struct VolumeEntry {
    Text name;  // never empty
    EntryKind kind = EntryKind::File;
    std::uint64_t sizeBytes = 0;
    std::optional<UnixSeconds> date;
    bool hasAttributes = false;  // mode, owner, group and links were recorded
    std::uint32_t mode = 0;      // POSIX mode with the file-type bits
    std::uint32_t owner = 0, group = 0, links = 1;
    Text linkTarget;          // symbolic links: "/" separated
    std::uint64_t place = 0;  // the reader's own: where it finds the item again
};

/// A run of bytes of a file's data, in the file's order.
struct DataExtent {
    static constexpr std::uint64_t kZeros = std::numeric_limits<std::uint64_t>::max();

    std::uint64_t offset;  // in the source; `kZeros`: not recorded, reads as zeros
    std::uint64_t sizeBytes;
};

/// Why a volume cannot be read on: what is wrong and with which item.
struct VolumeFault {
    TextId text;
    Text subject;             // the argument of the text
    SystemError systemError;  // where the source could not be read: its words are worth adding
};

/// One tree of names of one file system of an image, open for reading. Every length, place and count of the image is
/// checked before it is used: an image can be wrong, it can never make a read go astray, a loop endless or memory
/// full.
class Volume {
public:
    virtual ~Volume() = default;

    virtual VolumeKind kind() const = 0;
    virtual Text label() const = 0;
    virtual VolumeEntry root() const = 0;
    /// Visits what is in a folder, "." and ".." left out, in the recorded order, until `visit` returns false. What was
    /// visited stands when there is a fault: it tells about the first item that could not be read, or only in part, or
    /// why the listing ended early. `visit` may list other folders of the same volume.
    virtual std::optional<VolumeFault> list(const VolumeEntry& folder,
                                            const std::function<bool(const VolumeEntry&)>& visit) = 0;
    /// Where the data of a file, or the records of a folder, lie; the extents add up to its size and lie inside the
    /// source. Of a folder that the end of the source cuts they tell the part that is there, beside the fault.
    virtual std::optional<VolumeFault> locate(const VolumeEntry& file, std::vector<DataExtent>& extents) = 0;
};

/// The trees that the source carries, the richest first; empty when it is none of the known file systems. A tree that
/// is announced but broken is left out, and `fault` says why.
std::vector<VolumeKind> FindVolumes(const ByteSource& source, std::optional<VolumeFault>& fault);

/// Opens one tree. The source must outlive the volume.
std::unique_ptr<Volume> OpenVolume(const ByteSource& source, VolumeKind kind, std::optional<VolumeFault>& fault);

/// Looks up "/a/b": names are compared exactly first, then without regard to case. Null text of `fault` and no entry:
/// nothing has that path.
std::optional<VolumeEntry> FindEntry(Volume& volume, TextView path, std::optional<VolumeFault>& fault);

/// Reads a range of a file's data from its extents; `readCount` falls short where the data or the source end.
SystemError ReadRange(const ByteSource& source, std::span<const DataExtent> extents, std::uint64_t offset,
                      std::span<std::byte> buffer, std::size_t& readCount);

}  // namespace tovlark
