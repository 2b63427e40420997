#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/Msf.h"
#include "optical/Drive.h"

namespace tovlark {

/// What a disc takes, in the numbers of READ DISC INFORMATION (MMC-6 6.21).
enum class DiscStatus : std::uint8_t { Blank = 0, Appendable = 1, Complete = 2, Random = 3 };

/// The standard disc information.
struct DiscInformation {
    DiscStatus status = DiscStatus::Blank;
    bool isErasable = false;
    bool isFormatting = false;  // in the background
    std::uint32_t sessions = 0, firstTrack = 0,
                  lastTrack = 0;  // an appendable disc's last ones are those to be written
};

/// What READ TRACK INFORMATION (MMC-6 6.26) says of a track. Addresses and counts are of logical blocks.
struct TrackInformation {
    std::uint32_t number = 0, session = 0;
    std::uint8_t control = 0;   // Q control nibble
    std::uint8_t dataMode = 0;  // 15: unknown
    bool isReserved = false, isBlank = false;
    Lba first{};
    std::optional<Lba> next;  // where it is written next
    std::uint32_t blocks = 0, freeBlocks = 0;

    bool isAudio() const { return (control & 4) == 0; }
};

/// Nothing when the drive does not tell: no disc, or one that it cannot read.
std::optional<DiscInformation> QueryDisc(Drive drive);
std::optional<TrackInformation> QueryTrack(Drive drive, std::uint32_t number);

/// The tracks of a disc in order, as far as the drive tells of them.
std::vector<TrackInformation> QueryTracks(Drive drive, const DiscInformation& disc);

}  // namespace tovlark
