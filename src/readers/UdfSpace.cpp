#include "readers/UdfSpace.h"

#include <algorithm>
#include <numeric>

#include "base/Checksum.h"

namespace tovlark {

bool HasUdfTag(std::span<const std::byte> descriptor, UdfTagId identifier, std::optional<std::uint32_t> location) {
    if (descriptor.size() < sizeof(UdfTag)) return false;
    const auto tag = ReadStructure<UdfTag>(descriptor);
    if (tag.identifier != static_cast<std::uint16_t>(identifier) || (location && tag.location != *location))
        return false;
    const auto head = descriptor.first(sizeof(UdfTag));
    const auto sum = std::accumulate(head.begin(), head.end(), 0u, [](unsigned total, std::byte byte) {
        return total + std::to_integer<unsigned>(byte);
    });
    if (static_cast<std::uint8_t>(sum - tag.checksum) != tag.checksum) return false;
    return tag.crcLength <= descriptor.size() - sizeof(UdfTag) &&
           Crc16(descriptor.subspan(sizeof(UdfTag), tag.crcLength)) == tag.crc;
}

std::optional<Text> DecodeUdfText(std::span<const std::byte> bytes) {
    if (bytes.empty()) return Text();
    // 254 and 255: the same for names that were deleted (UDF 2.1.1)
    const auto width = std::to_integer<unsigned>(bytes.front());
    const bool isWide = width == 16 || width == 255;
    if (!isWide && width != 8 && width != 254) return std::nullopt;
    Text text;
    const auto units = bytes.subspan(1);
    const auto at = [&](std::size_t index) { return std::to_integer<std::uint16_t>(units[index]); };
    if (isWide)
        for (std::size_t index = 0; index + 1 < units.size(); index += 2)
            text.push_back(static_cast<char16_t>(at(index) << 8 | at(index + 1)));
    else
        for (std::size_t index = 0; index < units.size(); ++index) text.push_back(static_cast<char16_t>(at(index)));
    return text;
}

std::optional<UdfSpace::Stretch> UdfSpace::find(UdfPlace place) const {
    if (place.partition >= partitions.size()) return std::nullopt;
    const std::vector<UdfRun>& runs = partitions[place.partition];
    const auto behind = std::upper_bound(runs.begin(), runs.end(), place.block,
                                         [](std::uint32_t block, const UdfRun& run) { return block < run.firstBlock; });
    if (behind == runs.begin()) return std::nullopt;
    const UdfRun& run = *(behind - 1);
    const std::uint32_t index = place.block - run.firstBlock;
    if (index >= run.blockCount) return std::nullopt;
    const std::uint64_t offset = (run.firstSector + index) * blockSize;
    if (offset >= sizeBytes()) return std::nullopt;
    return Stretch{offset, run.blockCount - index};
}

bool UdfSpace::readSector(std::uint64_t sector, std::span<std::byte> buffer, SystemError& error) {
    return cache_.readWhole(sector * blockSize, buffer, error);
}

bool UdfSpace::readBlock(UdfPlace place, std::span<std::byte> buffer, SystemError& error) {
    const auto stretch = find(place);
    return stretch && readSector(stretch->offset / blockSize, buffer, error);
}

}  // namespace tovlark
