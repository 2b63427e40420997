#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "base/Sectors.h"
#include "base/Text.h"
#include "base/UdfBytes.h"

namespace tovlark {

/// Most bytes of a name's content: its length has 8 bits and counts the compression identifier too (4/14.4.4).
constexpr std::size_t kUdfNameBytes = 254;

/// A text as OSTA compressed Unicode (UDF 2.1.1): a compression identifier, 8 or 16, then so many bits a unit,
/// big-endian; 8 where every unit is below 256.
class UdfText {
public:
    /// Cut at `limit` bytes of content, at most `kUdfNameBytes`, never inside a surrogate pair.
    explicit UdfText(TextView text, std::size_t limit = kUdfNameBytes);

    /// The identifier and the content; nothing for an empty text.
    std::span<const std::byte> bytes() const { return {bytes_, size_}; }
    std::uint8_t size() const { return static_cast<std::uint8_t>(size_); }

    /// Most units of which a name like this one can have, by the width that its characters need.
    static std::size_t unitLimit(TextView text);

private:
    std::byte bytes_[1 + kUdfNameBytes];
    std::size_t size_ = 0;
};

/// A fixed field of text (UDF 2.1.3): the compressed text, zeros, and in the last byte how many bytes are used.
void FillUdfField(std::span<std::uint8_t> field, TextView text);

/// Bytes that a file entry, which is a sector, has for allocation descriptors or for the content itself.
constexpr std::size_t kUdfEmbeddedBytes = kSectorSize - sizeof(UdfFileEntry);

/// The path components of a symbolic link's target (4/14.16.1); empty when a name is too long for a component or all of
/// them for a file entry.
std::vector<std::byte> UdfPathOf(TextView target);

}  // namespace tovlark
