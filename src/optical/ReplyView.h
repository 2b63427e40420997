#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tovlark {

/// A drive's reply, read in a way that cannot run past its end: what is not there reads as 0.
class ReplyView {
public:
    constexpr ReplyView() = default;
    constexpr ReplyView(std::span<const std::byte> bytes) : bytes_(bytes) {}

    constexpr std::size_t size() const { return bytes_.size(); }
    /// True when the reply has at least so many bytes.
    constexpr bool has(std::size_t count) const { return bytes_.size() >= count; }
    constexpr std::span<const std::byte> bytes() const { return bytes_; }

    constexpr std::uint8_t u8(std::size_t offset) const { return static_cast<std::uint8_t>(big(offset, 1)); }
    constexpr std::uint16_t be16(std::size_t offset) const { return static_cast<std::uint16_t>(big(offset, 2)); }
    constexpr std::uint32_t be24(std::size_t offset) const { return static_cast<std::uint32_t>(big(offset, 3)); }
    constexpr std::uint32_t be32(std::size_t offset) const { return static_cast<std::uint32_t>(big(offset, 4)); }
    constexpr bool bit(std::size_t offset, unsigned bit) const { return (u8(offset) >> bit & 1) != 0; }

    /// What there is of `count` bytes from `offset` on.
    constexpr ReplyView part(std::size_t offset, std::size_t count = SIZE_MAX) const {
        if (offset >= bytes_.size()) return {};
        return bytes_.subspan(offset, std::min(count, bytes_.size() - offset));
    }

private:
    constexpr std::uint64_t big(std::size_t offset, std::size_t count) const {
        if (offset > bytes_.size() || bytes_.size() - offset < count) return 0;
        std::uint64_t value = 0;
        for (std::size_t index = 0; index < count; ++index)
            value = value << 8 | std::to_integer<std::uint64_t>(bytes_[offset + index]);
        return value;
    }

    std::span<const std::byte> bytes_;
};

}  // namespace tovlark
