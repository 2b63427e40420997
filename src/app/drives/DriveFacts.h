#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/Text.h"
#include "optical/DiscSummary.h"
#include "optical/DiscTracks.h"
#include "optical/Drive.h"

namespace tovlark {

struct FeatureFacts {
    std::uint16_t code = 0;  // MMC-6 5.3
    bool isCurrent = false;  // usable with the disc that is in the drive
};

/// What a drive says of itself and of the disc in it.
struct DriveFacts {
    DriveIdentity identity;
    DriveEntry entry;  // medium, and its blocks
    std::optional<DiscInformation> disc;
    std::vector<TrackInformation> tracks;
    std::vector<std::uint32_t> writeSpeeds;  // KB/s
    std::vector<FeatureFacts> features;
    std::vector<std::pair<std::string, std::string>> faults;  // planted in a simulated drive: name and value
    std::optional<std::uint32_t> underruns;                   // of a simulated drive, since its disc was put in
};

DriveFacts ReadDriveFacts(const Texts& texts, Drive drive);

/// The standard's name of a feature; empty for one that this program does not know.
std::string_view FeatureName(std::uint16_t code);

/// Faults as lines to read, each ended by LF.
Text DescribeFaults(const std::vector<std::pair<std::string, std::string>>& faults);

/// The facts as lines to read, each ended by LF; `target` is what the letter stands for.
Text DescribeFacts(const Texts& texts, const DriveFacts& facts, TextView target);

}  // namespace tovlark
