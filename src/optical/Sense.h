#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace tovlark {

/// Bytes of sense data that are asked for (fixed format, SPC-4 4.5.3).
constexpr std::size_t kSenseBytes = 18;

/// Why a drive refused: sense key, additional sense code and its qualifier.
struct Sense {
    std::uint8_t key = 0, code = 0, qualifier = 0;

    constexpr std::uint32_t triple() const { return key << 16 | code << 8 | std::uint32_t{qualifier}; }
    constexpr bool operator==(const Sense&) const = default;
};

/// From key << 16, code << 8 and qualifier.
constexpr Sense SenseOf(std::uint32_t triple) {
    return {static_cast<std::uint8_t>(triple >> 16), static_cast<std::uint8_t>(triple >> 8),
            static_cast<std::uint8_t>(triple)};
}

constexpr std::uint8_t kNotReady = 2, kMediumError = 3, kIllegalRequest = 5, kUnitAttention = 6;

/// Long write, operation, format in progress: the drive works on and will be ready.
constexpr Sense kStillWorking[] = {{2, 0x04, 0x08}, {2, 0x04, 0x07}, {2, 0x04, 0x04}};
/// Power on or reset, becoming ready, command sequence error.
constexpr Sense kTransient[] = {{6, 0x29, 0x00}, {2, 0x04, 0x01}, {5, 0x2C, 0x00}};

constexpr bool IsOneOf(Sense sense, std::span<const Sense> list) {
    for (const Sense& candidate : list)
        if (sense == candidate) return true;
    return false;
}

static_assert(SenseOf(0x052400).triple() == 0x052400 && IsOneOf(SenseOf(0x020407), kStillWorking));

}  // namespace tovlark
