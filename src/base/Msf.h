#pragma once

#include <cstdint>

namespace tovlark {

/// Address of a logical block of a disc; those of a CD's first pre-gap are negative.
enum class Lba : std::int32_t {};

constexpr std::uint32_t kFramesPerSecond = 75;  // Red Book: sectors of a CD a second
constexpr std::uint32_t kPregapFrames = 150;    // two seconds before a disc's first track (MMC-6 annex on CD addresses)

/// A time or length on a CD.
struct Msf {
    std::uint8_t minute = 0, second = 0, frame = 0;

    bool operator==(const Msf&) const = default;
};

/// A length of whole sectors in minutes, seconds and frames; minutes stop at 255.
constexpr Msf SplitFrames(std::uint32_t frames) {
    const std::uint32_t minutes = frames / kFramesPerSecond / 60;
    return {static_cast<std::uint8_t>(minutes < 255 ? minutes : 255),
            static_cast<std::uint8_t>(frames / kFramesPerSecond % 60),
            static_cast<std::uint8_t>(frames % kFramesPerSecond)};
}

constexpr std::uint32_t JoinFrames(Msf time) {
    return (time.minute * 60u + time.second) * kFramesPerSecond + time.frame;
}

/// Addresses as the disc counts them: 00:02:00 is block 0, and 90:00:00 upwards lie before 00:00:00 (MMC-6 4.2.6.2).
constexpr Msf ToMsf(Lba block) {
    const std::int32_t frames = static_cast<std::int32_t>(block) + static_cast<std::int32_t>(kPregapFrames);
    return SplitFrames(static_cast<std::uint32_t>(frames >= 0 ? frames : frames + 450000));
}

constexpr Lba ToLba(Msf time) {
    const auto frames = static_cast<std::int32_t>(JoinFrames(time)) - static_cast<std::int32_t>(kPregapFrames);
    return Lba{time.minute >= 90 ? frames - 450000 : frames};
}

static_assert(ToMsf(Lba{0}) == Msf{0, 2, 0} && ToLba(ToMsf(Lba{-151})) == Lba{-151} && ToMsf(Lba{-1}) == Msf{0, 1, 74});

}  // namespace tovlark
