#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <vector>

#include "base/Checksum.h"
#include "readers/TreeWalk.h"
#include "readers/UdfSpace.h"
#include "readers/UdfVolume.h"

using namespace tovlark;

namespace {

constexpr std::size_t kUnit = 512;

// Head of an input, then pieces: a head and its bytes each. Everything else of the image is zeros.
struct InputHead {
    Little32 units;           // of the image
    std::uint8_t repair = 0;  // 1: tags get right sums, so that changes get behind them
};
struct PieceHead {
    Little32 unit;
    Little16 length;
};

struct SparseImage {
    std::uint64_t sizeBytes = 0;
    std::vector<std::pair<std::uint64_t, std::vector<std::byte>>> pieces;  // by offset

    ByteSource source() {
        return {this, sizeBytes,
                [](void* self, std::uint64_t offset, std::span<std::byte> buffer, std::size_t& readCount) {
                    const auto& image = *static_cast<SparseImage*>(self);
                    readCount =
                        offset < image.sizeBytes
                            ? static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), image.sizeBytes - offset))
                            : 0;
                    std::ranges::fill(buffer, std::byte{0});
                    for (const auto& [begin, bytes] : image.pieces) {
                        const std::uint64_t first = std::max(begin, offset);
                        const std::uint64_t end = std::min(begin + bytes.size(), offset + readCount);
                        for (std::uint64_t at = first; at < end; ++at) buffer[at - offset] = bytes[at - begin];
                    }
                    return SystemError{};
                },
                nullptr};
    }
};

bool IsIdentifier(std::span<const std::byte> bytes) {
    return bytes.size() >= sizeof(UdfFileIdentifier) &&
           ReadStructure<UdfTag>(bytes).identifier == static_cast<std::uint16_t>(UdfTagId::FileIdentifier);
}

void Repair(std::span<std::byte> bytes) {
    if (bytes.size() < sizeof(UdfTag)) return;
    auto tag = ReadStructure<UdfTag>(bytes);
    tag.crcLength = static_cast<std::uint16_t>(std::min<std::size_t>(tag.crcLength, bytes.size() - sizeof(tag)));
    tag.crc = Crc16(bytes.subspan(sizeof(tag), tag.crcLength));
    tag.checksum = 0;
    const auto head = std::as_writable_bytes(std::span(&tag, 1));
    tag.checksum =
        static_cast<std::uint8_t>(std::accumulate(head.begin(), head.end(), 0u, [](unsigned sum, std::byte byte) {
            return sum + std::to_integer<unsigned>(byte);
        }));
    std::ranges::copy(head, bytes.begin());
}

void RepairIdentifiers(std::span<std::byte> bytes) {
    while (IsIdentifier(bytes)) {
        const auto head = ReadStructure<UdfFileIdentifier>(bytes);
        const std::size_t length = (sizeof(head) + head.implementationUseLength + head.nameLength + 3u) / 4 * 4;
        Repair(bytes.first(std::min(length, bytes.size())));
        bytes = bytes.subspan(std::min(length, bytes.size()));
    }
}

// A piece is a descriptor, a run of identifiers, or a file entry that may hold one.
void RepairPiece(std::span<std::byte> bytes) {
    if (IsIdentifier(bytes)) return RepairIdentifiers(bytes);
    for (const std::size_t inner : {sizeof(UdfFileEntry), sizeof(UdfExtendedFileEntry)})
        if (bytes.size() > inner) RepairIdentifiers(bytes.subspan(inner));
    Repair(bytes);
}

SparseImage ReadInput(std::span<const std::byte> input) {
    SparseImage image;
    const auto head = ReadStructure<InputHead>(input);
    image.sizeBytes = std::uint64_t{head.units} * kUnit;
    std::size_t position = sizeof(InputHead);
    while (position + sizeof(PieceHead) < input.size()) {
        const auto piece = ReadStructure<PieceHead>(input, position);
        position += sizeof(PieceHead);
        const std::size_t length = std::min<std::size_t>(piece.length, input.size() - position);
        const auto bytes = input.subspan(position, length);
        position += length;
        image.pieces.emplace_back(piece.unit * kUnit, std::vector(bytes.begin(), bytes.end()));
        if (head.repair == 1) RepairPiece(image.pieces.back().second);
    }
    return image;
}

}  // namespace

// A sparse image: its tree is walked to its end and all data are located, inside the source and of the told size.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    SparseImage image = ReadInput(std::as_bytes(std::span(data, size)));
    const ByteSource source = image.source();
    HasUdf(source);
    std::optional<VolumeFault> fault;
    const std::unique_ptr<Volume> volume = OpenUdf(source, fault);
    if ((volume == nullptr) != fault.has_value()) std::abort();
    if (!volume) return 0;
    std::vector<DataExtent> extents;
    TreeVisitor visitor;
    visitor.item = [&](const WalkedFolder&, const VolumeEntry& entry, std::uint64_t&, bool&) {
        if (entry.name.empty()) std::abort();
        if (volume->locate(entry, extents)) return true;
        std::uint64_t total = 0;
        for (const DataExtent& extent : extents) {
            if (extent.offset != DataExtent::kZeros &&
                (extent.offset > source.sizeBytes || extent.sizeBytes > source.sizeBytes - extent.offset))
                std::abort();
            total += extent.sizeBytes;
        }
        if (total != entry.sizeBytes) std::abort();
        return true;
    };
    WalkTree(*volume, {u"/", volume->root()}, visitor);
    return 0;
}
