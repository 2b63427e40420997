#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "authoring/ImageLayout.h"
#include "base/UdfBytes.h"

namespace tovlark {

/// Writes the tag of a descriptor whose bytes are otherwise complete; the CRC covers all of them after the tag.
/// `location`: the sector, or within the partition the logical block, where it stands.
void SealDescriptor(const ImageBuild& build, std::span<std::byte> descriptor, UdfTagId identifier,
                    std::uint32_t location);

template <typename Descriptor>
void SealDescriptor(const ImageBuild& build, Descriptor& descriptor, UdfTagId identifier, std::uint32_t location) {
    SealDescriptor(build, std::as_writable_bytes(std::span(&descriptor, 1)), identifier, location);
}

/// The entity identifier of this program.
UdfEntity UdfImplementation();

/// The local time of an instant; years outside 1 to 9999 become the first and the last.
UdfTime ToUdfTime(const Clock& clock, UnixSeconds when);

}  // namespace tovlark
