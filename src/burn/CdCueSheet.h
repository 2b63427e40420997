#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "base/DiscLayout.h"
#include "base/Msf.h"

namespace tovlark {

/// A track as it goes onto a disc. Lengths are in sectors.
struct CdTrack {
    TrackType type = TrackType::Mode1;
    std::uint16_t sectorSize = 2048;  // that the host sends: 2048, 2336 or 2352
    std::uint32_t pregap = 0;         // INDEX 00, sent before the track; the first track's is at least 150
    std::uint32_t sectors = 0;        // from INDEX 01 on, what comes after the data included
    std::vector<std::uint32_t> furtherIndexes = {};  // 02 and on, from INDEX 01
    bool copyPermitted = false, preEmphasis = false, fourChannels = false;
    Text isrc = {};  // 12 characters; empty: none

    bool isAudio() const { return type == TrackType::Audio; }
    /// Mode of data sectors that the host sends whole; 0: none are.
    std::uint8_t wholeMode() const {
        if (isAudio() || sectorSize != kRawSectorSize) return 0;
        return IsMode2(type) ? 2 : 1;
    }
};

/// A session that is written at once.
struct CdSession {
    std::vector<CdTrack> tracks;  // at least one
    Text catalog = {};            // 13 digits; empty: none
    bool hasCdText = false;       // packs are written into the lead-in before
};

/// Shortest track in sectors, four seconds (IEC 60908 17.5.1): drives refuse sheets with shorter ones.
constexpr std::uint32_t kLeastTrackSectors = 4 * kFramesPerSecond;

/// Control bits of the Q sub-channel, 4 bits (IEC 60908 17.5): what kind of track, what may be done with it.
std::uint8_t ControlOf(const CdTrack& track);

/// The list of SEND CUE SHEET (MMC-6 6.29.3), 8 bytes an entry. Catalog numbers and ISRCs that are none are left out.
/// Nothing for a session without tracks, with more than 99, with a track that is too short, an index that is not
/// behind the one before and within its track, or an end beyond 99:59:74.
std::optional<std::vector<std::uint8_t>> BuildCueSheet(const CdSession& session);

}  // namespace tovlark
