#pragma once

#include <cstring>
#include <numeric>
#include <string>
#include <type_traits>
#include <vector>

#include "base/Checksum.h"
#include "base/UdfBytes.h"
#include "readers/ByteSource.h"

namespace tovlark {

/// The bytes of a structure, or of several in sequence.
template <typename... Structures>
std::string BytesOf(const Structures&... structures) {
    static_assert((std::is_trivially_copyable_v<Structures> && ...));
    std::string bytes;
    (bytes.append(reinterpret_cast<const char*>(&structures), sizeof(structures)), ...);
    return bytes;
}

/// Gives a descriptor its tag: `bytes` begin with room for one.
inline std::string Tagged(std::string bytes, UdfTagId identifier, std::uint32_t location) {
    UdfTag tag;
    tag.identifier = static_cast<std::uint16_t>(identifier);
    tag.location = location;
    tag.crcLength = static_cast<std::uint16_t>(bytes.size() - sizeof(tag));
    tag.crc = Crc16(std::as_bytes(std::span(bytes)).subspan(sizeof(tag)));
    const std::string head = BytesOf(tag);
    tag.checksum = std::accumulate(head.begin(), head.end(), std::uint8_t{0}, [](std::uint8_t sum, char byte) {
        return static_cast<std::uint8_t>(sum + static_cast<unsigned char>(byte));
    });
    return bytes.replace(0, sizeof(tag), BytesOf(tag));
}

/// An entity identifier.
inline UdfEntity EntityOf(const std::string& text) {
    UdfEntity entity;
    std::memcpy(entity.identifier, text.data(), text.size());
    return entity;
}

/// A UDF volume put together by hand: descriptors at 32 (main) and 48 (reserve), an anchor at 256, a partition of
/// number 0 from 257 on, its file set in block 0, the root folder's file entry in block 1.
class UdfImage {
public:
    static constexpr std::uint32_t kBlock = 2048, kStart = 257, kSectors = 512, kMain = 32, kReserve = 48;

    /// Its root holds what the identifiers say; the maps are those of the logical volume descriptor.
    explicit UdfImage(const std::string& maps = BytesOf(UdfPartitionMap{}), std::uint32_t mapCount = 1,
                      std::uint16_t fileSetPartition = 0)
        : bytes(kSectors * kBlock, '\0') {
        for (const auto& [sector, identifier] : {std::pair(16, "BEA01"), {17, "NSR02"}, {18, "TEA01"}})
            put(static_cast<std::uint32_t>(sector), std::string(1, '\0') + identifier + '\1');
        for (const std::uint32_t sequence : {kMain, kReserve}) putSequence(sequence, maps, mapCount, fileSetPartition);
        putAnchor(256);
        putFileSet(kStart, fileSetPartition);
    }

    void put(std::uint32_t sector, const std::string& text) { bytes.replace(sector * kBlock, text.size(), text); }
    void putAnchor(std::uint32_t sector) {
        const UdfAnchor anchor{{}, {16 * kBlock, kMain}, {16 * kBlock, kReserve}};
        put(sector, Tagged(BytesOf(anchor) + std::string(480, '\0'), UdfTagId::Anchor, sector));
    }
    void putFileSet(std::uint32_t sector, std::uint16_t partition) {
        UdfFileSet set;
        set.root = {kBlock, 1, partition};
        put(sector, Tagged(BytesOf(set), UdfTagId::FileSet, 0));
    }
    /// A file entry in a block of the partition. `data` are its allocation descriptors or, embedded, its data.
    /// `sector`: where it really lies when that is elsewhere.
    void putEntry(std::uint32_t block, std::uint8_t type, std::uint16_t form, std::uint64_t size,
                  const std::string& data, UdfFileEntry entry = {}, std::uint32_t sector = 0) {
        entry.icb.fileType = type;
        entry.icb.flags = static_cast<std::uint16_t>(entry.icb.flags | form);
        entry.size = size;
        entry.descriptorsLength = static_cast<std::uint32_t>(data.size());
        put(sector != 0 ? sector : kStart + block, Tagged(BytesOf(entry) + data, UdfTagId::FileEntry, block));
    }
    void putEmbedded(std::uint32_t block, std::uint8_t type, const std::string& data, std::uint32_t sector = 0) {
        putEntry(block, type, UdfIcbTag::kEmbedded, data.size(), data, {}, sector);
    }
    /// An identifier of a folder. `name` as stored, its compression first.
    static std::string identifier(const std::string& name, std::uint32_t block, std::uint8_t characteristics = 0,
                                  std::uint16_t partition = 0) {
        UdfFileIdentifier head;
        head.characteristics = characteristics;
        head.nameLength = static_cast<std::uint8_t>(name.size());
        head.icb = {kBlock, block, partition};
        std::string text = BytesOf(head) + name;
        text.resize((text.size() + 3) / 4 * 4);
        return Tagged(text, UdfTagId::FileIdentifier, 0);
    }

    ByteSource source() {
        return {this, bytes.size(),
                [](void* self, std::uint64_t offset, std::span<std::byte> buffer, std::size_t& readCount) {
                    const std::string& all = static_cast<UdfImage*>(self)->bytes;
                    readCount = offset < all.size() ? std::min<std::size_t>(buffer.size(), all.size() - offset) : 0;
                    if (readCount > 0) std::memcpy(buffer.data(), all.data() + offset, readCount);
                    return SystemError{};
                },
                nullptr};
    }

    std::string bytes;

private:
    void putSequence(std::uint32_t sector, const std::string& maps, std::uint32_t mapCount, std::uint16_t partition) {
        UdfPartition descriptor;
        descriptor.start = kStart;
        descriptor.length = kSectors - kStart;
        put(sector, Tagged(BytesOf(descriptor), UdfTagId::Partition, sector));
        UdfLogicalVolume volume;
        std::memcpy(volume.identifier, "\10By hand", 8);
        volume.identifier[127] = 8;
        volume.blockSize = kBlock;
        volume.fileSet = {kBlock, 0, partition};
        volume.mapTableLength = static_cast<std::uint32_t>(maps.size());
        volume.mapCount = mapCount;
        put(sector + 1, Tagged(BytesOf(volume) + maps, UdfTagId::LogicalVolume, sector + 1));
        put(sector + 2, Tagged(std::string(512, '\0'), UdfTagId::Terminating, sector + 2));
    }
};

}  // namespace tovlark
