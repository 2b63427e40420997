#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "app/session/Task.h"
#include "platform/Files.h"

namespace tovlark {

/// Why a source could not deliver: the sentence that people see, and what it was about.
struct SourceFault {
    TextId text = TextId::ErrorReadingImageData;
    Text details;  // "/x.iso: Input/output error"; may be empty
};

void ReportFault(Task& task, const SourceFault& fault);

/// Where a source that makes its sectors in order puts them.
struct SectorIntake {
    void* self;
    /// Takes whole sectors; false when no more are wanted.
    bool (*put)(void* self, std::span<const std::byte> sectors);
    /// Hears of data that are not what they should be; the sectors go on.
    void (*warn)(void* self, const Text& words);
};

/// Where the sectors of a burn come from: either they are read, or made from the first to the last.
struct SectorSource {
    void* self = nullptr;
    std::uint32_t sectorSize = 0;   // 2048 for data, 2352 for audio and raw sectors
    std::uint32_t sectorCount = 0;  // from 0
    /// Fills `target`, which is whole sectors, from sector `first` on; false with the reason in `fault`. Called on a
    /// thread of the buffer's, by one at a time.
    bool (*read)(void* self, std::uint32_t first, std::span<std::byte> target, SourceFault& fault) = nullptr;
    /// Instead of `read`: puts all sectors, each time it is called; false with the reason in `fault`, which nobody
    /// hears when no more were wanted. Called on threads of buffers, by several at once.
    bool (*make)(void* self, const SectorIntake& intake, SourceFault& fault) = nullptr;
    bool isDisc = false;  // another disc, read while this one is written
};

/// Sectors of a file that follow one another there, or made-up ones.
struct SourceExtent {
    std::uint64_t sectorCount = 0;
    const InputFile* file = nullptr;  // null: zeros, or empty sectors of `madeMode`
    std::uint64_t offset = 0;         // in the file, of what is taken of the first sector
    std::uint64_t end = 0;            // of the data in the file: what would lie beyond reads as zeros
    std::uint32_t stride = 0;         // bytes from one sector to the next in the file
    std::uint32_t taken = 0;          // bytes of each sector that are taken; the rest of a sector is zeros
    bool swapsBytes = false;          // audio samples that are big-endian in the file
    /// Of sectors of 2352 bytes, 1 or 2: what lies around data of that mode is made, for a source that begins with
    /// block 0.
    std::uint8_t madeMode = 0;
};

/// A source that is put together of ranges of files. It is read by one thread at a time and has a fixed place in
/// memory.
class FileSource {
public:
    explicit FileSource(std::uint32_t sectorSize) : sectorSize_(sectorSize) {}
    FileSource(const FileSource&) = delete;

    /// Opens a file that lives as long as the source.
    SystemError open(const Text& path, const InputFile*& file);
    /// What would make the source longer than any medium is left out.
    void add(const SourceExtent& extent);

    std::uint32_t sectorCount() const { return sectorCount_; }
    SectorSource source();

private:
    struct OpenFile {
        Text path;
        InputFile file;
    };
    struct Place {
        std::uint32_t first;
        SourceExtent extent;
    };

    static bool read(void* self, std::uint32_t first, std::span<std::byte> target, SourceFault& fault);
    bool readExtent(const Place& place, std::uint32_t first, std::span<std::byte> target, SourceFault& fault);
    bool readBytes(const SourceExtent& extent, std::uint64_t offset, std::span<std::byte> target, SourceFault& fault);

    const std::uint32_t sectorSize_;
    std::uint32_t sectorCount_ = 0;
    std::vector<std::unique_ptr<OpenFile>> files_;
    std::vector<Place> places_;
    std::vector<std::byte> scratch_;  // of sectors that are taken in part
};

/// Adds an image file of sectors of `fileSectorSize` bytes, 2048 or 2352, to a source: of raw sectors of mode 1 a
/// source of 2048-byte sectors takes the data. A last sector that the file holds in part is filled up with zeros.
SystemError AddImageFile(FileSource& source, const Text& path, std::uint32_t fileSectorSize,
                         std::uint32_t sourceSectorSize);

/// True for an image of raw sectors, 2352 bytes each, that begins with a data sector.
bool IsRawImage(const Text& path);

}  // namespace tovlark
