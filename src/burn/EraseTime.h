#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "app/session/SettingsStore.h"
#include "optical/MediaType.h"

namespace tovlark {

enum class EraseMethod : std::uint8_t { Quick = 1, Full = 2 };

/// Media that are erased alike and take about as long, in the order of their places in the record of times.
enum class EraseKind : std::uint8_t { CdRw, DvdPlusRw, DvdMinusRw, DvdRam, BdRe };

/// How a medium is erased; nothing for one that cannot be.
std::optional<EraseKind> EraseKindOf(MediaType type);

/// How long erasing took the last times, as the settings keep it (`EraseTime`): seconds in 16 bits, big-endian, quick
/// and full for one kind after the other; 0 is not known.
struct EraseTimes {
    static constexpr std::size_t kBytes = 64;

    std::array<std::byte, kBytes> record{};

    static EraseTimes load(const SettingsStore& settings);
    bool save(SettingsStore& settings) const;

    /// Seconds that erasing will take: what it took, but not less than ever can be, or what it usually takes.
    std::uint32_t estimate(EraseKind kind, EraseMethod method) const;
    void store(EraseKind kind, EraseMethod method, std::uint64_t seconds);
};

}  // namespace tovlark
