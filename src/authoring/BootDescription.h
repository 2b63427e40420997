#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tovlark {

struct CompilationNode;

enum class BootPlatform : std::uint8_t { Bios = 0, PowerPc = 1, Mac = 2, Uefi = 0xEF };
enum class BootMedia : std::uint8_t { None = 0, Floppy1200 = 1, Floppy1440 = 2, Floppy2880 = 3, HardDisk = 4 };

/// Most boot images, and the most bytes of one: they are held in memory.
constexpr std::size_t kMostBootImages = 16;
constexpr std::uint64_t kLargestBootImage = 64 << 20;

/// A boot image that stands in sectors of its own.
struct BootImage {
    std::vector<std::byte> bytes;
    BootPlatform platform = BootPlatform::Bios;
    BootMedia media = BootMedia::None;
    bool isBootable = true;
    bool hasInfoTable = false;  // its boot information table is written anew for each disc
    std::uint8_t systemType = 0;
    std::uint16_t loadSegment = 0;
    std::uint16_t sectorCount = 0;  // of 512 bytes
    std::uint32_t firstSector = 0;  // set by the layout
};

/// What a compilation boots from. The first image is the default entry.
struct BootDescription {
    std::vector<BootImage> images;
};

/// Finds media type, system type, sector count and boot information table from the bytes of a BIOS boot image: floppies
/// by their size, a hard disk by a partition table with one partition that lies in the image, all else no emulation. An
/// image with a table loads its own rest, so 4 sectors are loaded, of all others the whole. `wantsInfoTable`: one
/// without emulation gets a table, though it holds none yet.
BootImage ExamineBootImage(std::vector<std::byte> bytes, bool wantsInfoTable = false);

/// True when bytes 16 to 23 of an image are its length and the sum of its words from byte 64.
bool HasBootInfoTable(std::span<const std::byte> image);

/// Writes the table of an image that has one, for where the image now stands.
void WriteBootInfoTable(BootImage& image, std::uint32_t descriptorSector);

/// The number of 512-byte sectors of an image as catalogs hold it: 0 when 16 bits do not hold it.
std::uint16_t BootSectorCount(std::uint64_t sizeBytes);

/// The catalog of these images, whole sectors apart: a section for each run of the same platform after the first image.
/// `uefiFile`, where not null, is a file of the tree that stands in its place and becomes a UEFI section of its own.
std::vector<std::byte> ToBootCatalog(const BootDescription& boot, const CompilationNode* uefiFile);

/// A boot setting as a file (*.bif), all integers little-endian:
///
///     0  8   "TVBOOT\r\n"
///     8  2   version, 1
///     10 2   number of images, 1 to 16
///     12 16  for each image: platform (1), media type (1), flags (1: 1 bootable, 2 boot information table),
///            system type (1), load segment (2), number of 512-byte sectors (2), size in bytes (4), zeros (4)
///     ..     the images, one after the other
///     .. 4   CRC-32 of everything before
std::vector<std::byte> ToBootFile(const BootDescription& boot);

/// False for what is no such file, down to the last byte; `boot` is then as it was.
bool FromBootFile(std::span<const std::byte> bytes, BootDescription& boot);

}  // namespace tovlark
