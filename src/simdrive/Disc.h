#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/Files.h"
#include "platform/LockedFile.h"
#include "simdrive/Medium.h"

namespace tovlark {

enum class TrackState : std::uint8_t {
    Blank = 0,     // nothing written: the invisible track, or a reserved one
    Open = 1,      // partly written
    Complete = 2,  // closed
};

inline constexpr std::uint32_t kSubchannelBytes = 96;

/// A track (MMC-6 calls those of DVDs RZones and fragments). Addresses are logical blocks.
struct DiscTrack {
    std::uint8_t number = 1, session = 1;
    TrackState state = TrackState::Blank;
    bool isReserved = false;   // has a fixed size while it is not complete
    std::uint8_t control = 4;  // Q control nibble: 4 data, 0 audio
    std::uint8_t mode = 1;     // 0 audio, 1, 2
    std::uint16_t blockBytes = 2048;
    bool hasSubchannel = false;  // 96 bytes of sub-channels R to W, as they are on the disc, follow each block
    bool hasRunOut = false;      // its last two blocks cannot be read
    bool isIncremental = false;  // of a DVD: written packet by packet
    std::uint32_t pregap = 0;    // blocks before `first` that belong to it
    std::int32_t first = 0;
    std::uint32_t size = 0;                   // blocks from `first`
    std::int32_t next = 0;                    // that is written next, from `first` on
    std::array<char, 12> isrc{};              // or NULs
    std::vector<std::uint32_t> indexes = {};  // where index 2 and each further one begins, in blocks from `first`

    std::uint32_t storedBytes() const { return blockBytes + (hasSubchannel ? kSubchannelBytes : 0); }
    bool isAudio() const { return (control & 4) == 0; }
    bool operator==(const DiscTrack&) const = default;
};

enum class BackgroundFormat : std::uint8_t { None = 0, Stopped = 1, Running = 2, Complete = 3 };

/// All that a disc knows of itself but the data.
struct DiscState {
    const MediumRules* rules = nullptr;
    std::uint32_t blocks = 0;           // capacity
    std::vector<DiscTrack> tracks;      // in order; an appendable disc's last one is its invisible track
    std::uint8_t closedSessions = 0;    // sessions 1 to this are closed
    bool isFinal = false;               // takes no more data
    bool isQuickBlanked = false;        // takes disc-at-once only
    std::uint32_t formattedBlocks = 0;  // 0: not formatted
    BackgroundFormat background = BackgroundFormat::None;
    std::uint32_t backgroundBlocks = 0;     // formatted in the background so far
    std::uint16_t eraseCycles = 0;          // that are left
    std::array<char, 14> timestamp{};       // YYYYMMDDhhmmss, or NULs
    std::array<char, 13> catalog{};         // media catalogue number, or NULs
    std::vector<std::uint8_t> cdText = {};  // packs of 18 bytes

    /// Blocks that can be written or are: less than all where a part was set apart as spare.
    std::uint32_t capacity() const { return formattedBlocks > 0 && rules->isBd() ? formattedBlocks : blocks; }
    /// No track has data and none is reserved.
    bool isBlank() const;
    DiscTrack* openTrack(std::int32_t block);
    const DiscTrack* trackOf(std::int32_t block) const;
    bool operator==(const DiscState&) const = default;
};

/// A new disc of this kind.
DiscState BlankDisc(const MediumRules& rules, std::uint32_t blocks);

/// Why a file is no disc that can be inserted. `NotPressed`: it is one, but cannot be of the chosen kind.
enum class DiscFault : std::uint8_t { None, System, NotADisc, NotPressed, Damaged, TooNew };

/// A disc that lies in a file (docs/simulated-drives.md), or an image that counts as a pressed one.
class Disc {
public:
    /// Makes the file of a new disc.
    static SystemError create(const Text& path, const MediumRules& rules, std::uint32_t blocks);

    /// A disc file is locked while it is open; `systemError` tells more of the fault `System`. An image is of the kind
    /// `pressed`; null: of that which its size fits.
    DiscFault open(const Text& path, SystemError& systemError, const MediumRules* pressed = nullptr);
    /// Keeps what was changed over any end of the process.
    SystemError save();

    /// Blocks of one track, all below its end; `storedBytes` each.
    SystemError read(const DiscTrack& track, std::int32_t block, std::span<std::byte> bytes) const;
    SystemError write(const DiscTrack& track, std::int32_t block, std::span<const std::byte> bytes);
    /// Drops all data; to be followed by writing only.
    SystemError clear();
    /// Of a disc whose clusters can be recorded once, in any order: whether one of these is, and that they all are.
    SystemError readRecorded(std::uint32_t cluster, std::uint32_t count, bool& isAny) const;
    SystemError markRecorded(std::uint32_t cluster, std::uint32_t count);

    /// Changes with each state that is kept.
    std::uint64_t stamp() const { return sequence_; }

    DiscState state;

private:
    struct Source {
        InputFile file;
        std::uint64_t offset;
        bool isSwapped;
    };

    DiscFault openImage(const Text& path, SystemError& systemError, const MediumRules* pressed);
    DiscFault openSheet(const Text& path, SystemError& systemError);

    LockedFile file_;
    std::vector<Source> sources_;  // of a pressed disc, one a track
    std::uint64_t sequence_ = 0;
    bool isChanged_ = false;
    DiscState saved_;
};

}  // namespace tovlark
