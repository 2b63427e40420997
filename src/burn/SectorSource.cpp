#include "burn/SectorSource.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/DiscLayout.h"
#include "base/RawSector.h"
#include "base/Sectors.h"
#include "platform/SystemError.h"

namespace tovlark {

namespace {

// Of a raw sector (ECMA-130 14, ISO/IEC 10149): sync pattern, address, mode; of mode 2 a sub-header follows.
constexpr std::uint32_t kModeOffset = 15, kMode1Data = 16, kMode2Data = 24;

constexpr std::uint32_t kMostSectors = 0xFFFFFFE0;  // more than any medium has, in whole chunks

void SwapSamples(std::span<std::byte> samples) {
    for (std::size_t index = 0; index + 1 < samples.size(); index += 2) std::swap(samples[index], samples[index + 1]);
}

/// The sector of these data, of 2048 or 2336 bytes.
void CompleteAround(std::span<const std::byte> data, std::int32_t block, std::uint8_t mode,
                    std::span<std::byte> target) {
    RawSector sector{};
    const bool hasForm = mode == 2 && data.size() == kSectorSize;
    std::ranges::copy(data, sector.begin() + (hasForm ? kMode2Data : kMode1Data));
    CompleteSector(sector, block, mode, data.size() == kSectorSize);
    std::ranges::copy(sector, target.begin());
}

std::uint32_t DataOffsetIn(const InputFile& file) {
    std::byte mode{};
    std::size_t readCount = 0;
    const bool isRead = !file.readAt(kModeOffset, std::span(&mode, 1), readCount).failed() && readCount == 1;
    return isRead && mode == std::byte{2} ? kMode2Data : kMode1Data;
}

}  // namespace

void ReportFault(Task& task, const SourceFault& fault) {
    ReportError(task, Text(task.session.texts()[fault.text]));
    if (!fault.details.empty()) TellError(task, fault.details);
}

SystemError FileSource::open(const Text& path, const InputFile*& file) {
    auto opened = std::make_unique<OpenFile>(OpenFile{path, {}});
    const SystemError error = opened->file.open(path);
    if (error.failed()) return error;
    file = &opened->file;
    files_.push_back(std::move(opened));
    return {};
}

void FileSource::add(const SourceExtent& extent) {
    const auto sectors =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(extent.sectorCount, kMostSectors - sectorCount_));
    if (sectors == 0) return;
    Place& place = places_.emplace_back(Place{sectorCount_, extent});
    place.extent.sectorCount = sectors;
    sectorCount_ += sectors;
}

SectorSource FileSource::source() {
    return {.self = this, .sectorSize = sectorSize_, .sectorCount = sectorCount_, .read = read};
}

bool FileSource::read(void* self, std::uint32_t first, std::span<std::byte> target, SourceFault& fault) {
    auto& source = *static_cast<FileSource*>(self);
    auto place = std::ranges::upper_bound(source.places_, first, {}, &Place::first);
    while (!target.empty()) {
        const Place& current = *std::prev(place);
        const std::uint32_t within = first - current.first;
        const std::size_t bytes =
            std::min<std::size_t>(target.size(), std::size_t{current.extent.sectorCount - within} * source.sectorSize_);
        if (!source.readExtent(current, within, target.first(bytes), fault)) return false;
        target = target.subspan(bytes);
        first += static_cast<std::uint32_t>(bytes / source.sectorSize_);
        if (!target.empty() && place == source.places_.end()) return false;  // beyond the source
        ++place;
    }
    return true;
}

bool FileSource::readExtent(const Place& place, std::uint32_t first, std::span<std::byte> target, SourceFault& fault) {
    const SourceExtent& extent = place.extent;
    const auto block = static_cast<std::int32_t>(place.first + first);
    if (extent.file == nullptr) {
        MakeEmptySectors(target, block, extent.madeMode);
        return true;
    }
    const std::uint64_t offset = extent.offset + std::uint64_t{first} * extent.stride;
    if (extent.stride == sectorSize_ && extent.taken == sectorSize_) {
        if (!readBytes(extent, offset, target, fault)) return false;
    } else {
        const std::size_t sectors = target.size() / sectorSize_;
        scratch_.resize((sectors - 1) * extent.stride + extent.taken);
        if (!readBytes(extent, offset, scratch_, fault)) return false;
        std::ranges::fill(target, std::byte{0});
        for (std::size_t index = 0; index < sectors; ++index) {
            const auto taken = std::span(scratch_).subspan(index * extent.stride, extent.taken);
            const auto sector = target.subspan(index * sectorSize_, sectorSize_);
            if (extent.madeMode == 0)
                std::ranges::copy(taken, sector.begin());
            else
                CompleteAround(taken, block + static_cast<std::int32_t>(index), extent.madeMode, sector);
        }
    }
    if (extent.swapsBytes) SwapSamples(target);
    return true;
}

bool FileSource::readBytes(const SourceExtent& extent, std::uint64_t offset, std::span<std::byte> target,
                           SourceFault& fault) {
    const std::uint64_t left = extent.end > offset ? extent.end - offset : 0;
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left, target.size()));
    std::size_t readCount = 0;
    const SystemError error = extent.file->readAt(offset, target.first(wanted), readCount);
    if (!error.failed() && readCount == wanted) {
        std::ranges::fill(target.subspan(wanted), std::byte{0});
        return true;
    }
    const auto file =
        std::ranges::find_if(files_, [&](const auto& candidate) { return &candidate->file == extent.file; });
    const Text& path = (*file)->path;
    fault.details = error.failed() ? path + u": " + DescribeError(error) : path;
    return false;
}

bool IsRawImage(const Text& path) {
    static constexpr std::array<std::uint8_t, 12> kSync{0,    0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                                        0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0};
    std::array<std::byte, kSync.size()> head{};
    InputFile file;
    std::size_t readCount = 0;
    return !file.open(path).failed() && !file.readAt(0, head, readCount).failed() &&
           std::ranges::equal(head, std::as_bytes(std::span(kSync)));
}

SystemError AddImageFile(FileSource& source, const Text& path, std::uint32_t fileSectorSize,
                         std::uint32_t sourceSectorSize) {
    const InputFile* file = nullptr;
    if (const SystemError error = source.open(path, file); error.failed()) return error;
    FileInfo info;
    if (const SystemError error = file->examine(info); error.failed()) return error;
    const std::uint64_t sectors = (info.sizeBytes + fileSectorSize - 1) / fileSectorSize;
    const bool takesPart = fileSectorSize == kRawSectorSize && sourceSectorSize == kSectorSize;
    source.add({.sectorCount = sectors,
                .file = file,
                .offset = takesPart ? DataOffsetIn(*file) : 0,
                .end = info.sizeBytes,
                .stride = fileSectorSize,
                .taken = takesPart ? kSectorSize : fileSectorSize});
    return {};
}

}  // namespace tovlark
