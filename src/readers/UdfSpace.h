#pragma once

#include <cstring>
#include <optional>
#include <span>
#include <vector>

#include "base/UdfBytes.h"
#include "readers/CachedSource.h"
#include "readers/Volume.h"

namespace tovlark {

/// A logical block: of which partition map (its index), and its number there.
struct UdfPlace {
    std::uint16_t partition = 0;
    std::uint32_t block = 0;
};

/// Blocks of a partition that lie in sequence on the volume.
struct UdfRun {
    std::uint32_t firstBlock, blockCount;  // in the partition
    std::uint64_t firstSector;             // of the volume
};

/// Copies a structure out of `bytes`; zeros stand for what is cut off.
template <typename Structure>
Structure ReadStructure(std::span<const std::byte> bytes, std::size_t offset = 0) {
    Structure structure{};
    if (offset < bytes.size())
        std::memcpy(&structure, bytes.data() + offset, std::min(sizeof(Structure), bytes.size() - offset));
    return structure;
}

/// True when a descriptor begins with a tag of this identifier whose checksum and CRC are right, and which lies where
/// it says. Without `location`, it may say anything: some writers count it from elsewhere.
bool HasUdfTag(std::span<const std::byte> descriptor, UdfTagId identifier, std::optional<std::uint32_t> location);

/// Text of CS0 (UDF 2.1.1): one byte that tells 8 from 16 bits, then the characters. Nothing when it is neither.
std::optional<Text> DecodeUdfText(std::span<const std::byte> bytes);

/// The logical blocks of an opened UDF volume, whatever their partition map does to them: every kind of partition
/// (plain, with sparing, virtual, metadata) is a list of runs.
class UdfSpace {
public:
    static constexpr std::uint32_t kLargestBlock = 4096;

    explicit UdfSpace(const ByteSource& source) : cache_(source) {}

    std::uint32_t blockSize = 2048;
    std::vector<std::vector<UdfRun>> partitions;  // one per map; runs in ascending order of `firstBlock`

    CachedSource& cache() { return cache_; }
    std::uint64_t sizeBytes() const { return cache_.source().sizeBytes; }
    /// Where the block lies in the source, and how many blocks from it on lie in sequence; nothing when it lies in no
    /// partition or outside the source.
    struct Stretch {
        std::uint64_t offset;
        std::uint32_t blockCount;
    };
    std::optional<Stretch> find(UdfPlace place) const;
    /// Reads one block of the volume. False where it ends before; `error` tells whether the source failed.
    bool readSector(std::uint64_t sector, std::span<std::byte> buffer, SystemError& error);
    bool readBlock(UdfPlace place, std::span<std::byte> buffer, SystemError& error);

private:
    CachedSource cache_;
};

/// What a whole UDF volume is opened to.
struct UdfOpened {
    Text label;
    std::uint16_t revision = 0;  // 0x0102 for 1.02; as the domain of the logical volume says (UDF 2.1.5.3)
    UdfPlace root;
};

/// Finds the anchors and reads everything up to the file set.
std::optional<VolumeFault> OpenUdfSpace(UdfSpace& space, UdfOpened& opened);

}  // namespace tovlark
