#pragma once

#include <array>

#include "readers/UdfSpace.h"

namespace tovlark {

/// A file or folder as its file entry tells.
struct UdfNode {
    UdfPlace place;                 // of the entry that counts
    std::uint64_t entryOffset = 0;  // of it in the source
    std::uint8_t fileType = 0;
    std::uint16_t flags = 0;
    std::uint32_t owner = 0, group = 0, permissions = 0, links = 0;
    std::uint64_t sizeBytes = 0;
    UdfTime modified;
    std::uint32_t dataStart = 0, dataLength = 0;  // in `block`: the allocation descriptors, or the data itself
    std::array<std::byte, UdfSpace::kLargestBlock> block;

    bool isEmbedded() const { return (flags & UdfIcbTag::kAdMask) == UdfIcbTag::kEmbedded; }
};

/// Reads the file entry that an ICB leads to. `subject` names the item in a fault.
std::optional<VolumeFault> ReadUdfNode(UdfSpace& space, UdfPlace icb, TextView subject, UdfNode& node);

/// Where the data lie: extents inside the source that add up to the size.
std::optional<VolumeFault> LocateUdfData(UdfSpace& space, const UdfNode& node, TextView subject,
                                         std::vector<DataExtent>& extents);

/// Reads the data of a node from its beginning on, in order.
class UdfDataStream {
public:
    UdfDataStream(UdfSpace& space, std::vector<DataExtent> extents) : space_(space), extents_(std::move(extents)) {}

    /// Fills `buffer`; `readCount` falls short only where the data end.
    SystemError read(std::span<std::byte> buffer, std::size_t& readCount);

private:
    UdfSpace& space_;
    std::vector<DataExtent> extents_;
    std::size_t index_ = 0;       // of the extent that is next
    std::uint64_t position_ = 0;  // in it
};

/// Reads the whole data of a node that is expected to be small: a fault beyond `limitBytes`.
std::optional<VolumeFault> ReadUdfData(UdfSpace& space, const UdfNode& node, std::uint64_t limitBytes, TextView subject,
                                       std::vector<std::byte>& bytes);

}  // namespace tovlark
