#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/Text.h"

namespace tovlark {

constexpr std::size_t kMaximumTracks = 99;  // Red Book
constexpr std::uint16_t kRawSectorSize = 2352;
constexpr std::uint16_t kMode2SectorSize = 2336;

/// What the sectors of a track hold, in the number used for it everywhere.
enum class TrackType : std::uint8_t {
    Audio = 1,
    Mode1 = 2,
    Mode1Raw = 3,  // with sync, header and error correction
    Mode2 = 4,     // without sync and header
    Mode2Form1 = 5,
    Mode2Form2 = 6,
    Mode2Raw = 8,
    Mode2Mixed = 32
};

constexpr bool IsMode2(TrackType type) {
    return type == TrackType::Mode2 || type == TrackType::Mode2Form1 || type == TrackType::Mode2Form2 ||
           type == TrackType::Mode2Raw || type == TrackType::Mode2Mixed;
}

/// CD-Text of a track or, without the ISRC, of the disc.
struct DiscText {
    Text title, performer, songwriter, composer;

    bool operator==(const DiscText&) const = default;
};

/// True for an ISRC without hyphens, 5 letters or digits and 7 digits (ISO 3901), and for a catalogue number, 13
/// digits.
bool IsIsrc(TextView text);
bool IsCatalogNumber(TextView text);

/// How the bytes of a data file are to be read.
enum class DataFileKind : std::uint8_t {
    Binary,      // sectors one after the other; audio samples little-endian
    BigEndian,   // the same, audio samples big-endian
    Wave,        // a RIFF container; `dataOffset` and `dataBytes` tell where its samples lie
    Aiff,        // an IFF container, samples big-endian
    Compressed,  // audio that has to be decoded; its length is unknown here
};

struct DataFile {
    Text name;  // as the sheet gives it
    Text path;  // where that is on this machine
    DataFileKind kind = DataFileKind::Binary;
    std::uint64_t dataOffset = 0;
    std::optional<std::uint64_t> dataBytes;  // nothing: unknown, or the file is not there

    bool operator==(const DataFile&) const = default;
};

/// Positions count sectors from the start of the data of the track's file.
struct TrackLayout {
    std::uint8_t number = 0;
    TrackType type = TrackType::Audio;
    std::uint16_t sectorSize = kRawSectorSize;
    std::uint8_t session = 0;  // from 0
    std::uint8_t file = 0;     // in `DiscLayout::files`
    std::uint32_t start = 0;   // INDEX 01
    /// INDEX 00: data of the pre-gap that the file holds.
    std::optional<std::uint32_t> pregapStart;
    bool pregapInFileBefore = false;            // and `pregapStart` counts in that file
    std::vector<std::uint32_t> furtherIndexes;  // 02 and on, audio only
    std::uint32_t silenceBefore = 0;            // sectors to be made up: PREGAP, not in any file
    std::uint32_t silenceAfter = 0;             // POSTGAP
    bool copyPermitted = false, preEmphasis = false, fourChannels = false, serialCopy = false;
    DiscText text;
    Text isrc;

    bool isAudio() const { return type == TrackType::Audio; }
    bool operator==(const TrackLayout&) const = default;
};

struct SessionLayout {
    std::uint32_t leadOut = 0;  // 0: unknown

    bool operator==(const SessionLayout&) const = default;
};

/// Tracks, sessions and texts of a disc: what a CUE sheet says, what a disc that is read has, what a burn needs.
struct DiscLayout {
    std::vector<TrackLayout> tracks;      // at most `kMaximumTracks`
    std::vector<SessionLayout> sessions;  // at least one
    std::vector<DataFile> files;
    std::uint16_t sectorSize = kRawSectorSize;  // 2048, 2336 or 2352: shared by all data tracks
    Text catalog;                               // 13 digits
    DiscText text;

    bool operator==(const DiscLayout&) const = default;
};

}  // namespace tovlark
