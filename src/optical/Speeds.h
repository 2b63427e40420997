#pragma once

#include <cstdint>
#include <vector>

#include "app/session/Texts.h"
#include "optical/Drive.h"
#include "optical/MediaType.h"

namespace tovlark {

/// Single speeds in KB/s.
constexpr std::uint32_t kCdSpeed = 176, kCdDataSpeed = 150, kDvdSpeed = 1385, kBdSpeed = 4495;
constexpr std::uint32_t kMaximumSpeed = 0xFFFFFFFF;
/// The unit that `AddSpeedEntry` is to choose itself.
constexpr std::uint32_t kChooseUnit = 1;

struct SpeedEntry {
    Text label;  // "8x (11080KB/s)"
    std::uint32_t kbPerSecond;
};

/// Adds a speed to a list, unless it is below a tenth of the unit. `unit` is one of the single speeds, or
/// `kChooseUnit`: then the one that fits the rate best is chosen and left there.
void AddSpeedEntry(const Texts& texts, std::vector<SpeedEntry>& list, std::uint32_t kbPerSecond, std::uint32_t& unit,
                   MediaType type);

/// "Setting the drive speed to ..." for a unit that is one of the single speeds.
Text DescribeSettingSpeed(const Texts& texts, std::uint32_t kbPerSecond, std::uint32_t unit);

/// The speeds in KB/s at which the drive can write the disc that it holds, as it lists them; empty if it does not say.
std::vector<std::uint32_t> ReadWriteSpeeds(Drive drive);

/// Sets the speeds for reading and writing; `kMaximumSpeed` lets the drive choose. The write speed also decides how
/// patiently the drive is waited for.
[[nodiscard]] bool SetDriveSpeed(Drive drive, MediaType type, std::uint32_t readKbPerSecond,
                                 std::uint32_t writeKbPerSecond);

}  // namespace tovlark
