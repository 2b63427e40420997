#pragma once

#include <cstdint>
#include <span>

#include "base/Text.h"

namespace tovlark {

/// Kinds of media, in the numbers that are used for them everywhere.
enum class Medium : std::uint8_t {
    CdRom = 1,
    CdR = 2,
    CdRw = 3,
    DvdRom = 16,
    DvdR = 17,
    DvdRwSequential = 18,
    DvdRwOverwrite = 19,
    DvdRam = 20,
    DvdPlusR = 21,
    DvdPlusRw = 22,
    DvdRDl = 23,
    DvdPlusRDl = 24,
    DvdPlusRwDl = 26,
    BdRom = 32,
    BdR = 33,  // of each number of layers: sequential, then with pseudo-overwrite, then random recording mode
    BdRPseudo = 34,
    BdRRandom = 35,
    BdRDl = 36,
    BdRDlPseudo = 37,
    BdRDlRandom = 38,
    BdRe = 39,
    BdReDl = 40,
    BdRTl = 41,
    BdRTlPseudo = 42,
    BdRTlRandom = 43,
    BdReTl = 44,
    BdRQl = 45,
    BdRQlPseudo = 46,
    BdRQlRandom = 47,
    BdReQl = 48,
    HdDvdRom = 64,
    HdDvdR = 65,
    HdDvdRam = 66,
};

/// Where a medium takes new data.
enum class Access : std::uint8_t {
    Pressed,     // nowhere
    Sequential,  // at the next writable address of an open track
    Overwrite,   // at any block, once it is formatted
    Rigid,       // at whole ECC blocks of the formatted area, and at its end
};

/// Write types of mode page 05h as bits (1 << type, MMC-6 7.5.4.9). Media that ignore the page have none.
struct WriteTypes {
    static constexpr std::uint8_t kIncremental = 1, kTrackAtOnce = 2, kSessionAtOnce = 4;
};

/// What makes one kind of medium differ from the others.
struct MediumRules {
    Medium medium;
    TextView name;
    std::uint16_t profile;  // MMC-6 table 95
    Access access;
    std::uint32_t blocks;    // of a usual disc, user data only
    std::uint8_t eccBlocks;  // that are written together
    std::uint8_t layers;
    std::uint8_t bookType;                    // of DVD structures (MMC-6 table 404); CDs have none
    std::uint8_t writeTypes;                  // `WriteTypes`
    std::uint8_t blankTypes;                  // of BLANK, as bits (1 << type)
    std::uint8_t closeTypes;                  // of CLOSE TRACK/SESSION, as bits (1 << function)
    std::span<const std::uint8_t> formats;    // of FORMAT UNIT, the preferred one first
    std::span<const std::uint16_t> features;  // current while it is loaded, beside those of every drive
    std::uint32_t firstSessionGap,
        furtherSessionGap;      // blocks between the last one of a session and the next one's first
    std::uint16_t eraseCycles;  // that a new medium has
    std::uint16_t singleSpeed;  // 1000 bytes a second
    std::uint8_t maximumSpeed;  // times `singleSpeed`

    bool isCd() const { return medium <= Medium::CdRw; }
    bool isPlus() const { return bookType >= 9; }
    bool isBd() const { return medium >= Medium::BdRom && medium <= Medium::BdReQl; }
    bool isRandomBdR() const { return profile == 0x0042; }
    /// Takes blocks again that are recorded: sequential BD-R that was formatted for it.
    bool hasPseudoOverwrite() const;
    bool isErasable() const { return eraseCycles > 0; }
    bool takes(std::uint8_t types, std::uint8_t type) const { return type < 8 && (types >> type & 1) != 0; }
};

/// All media that a simulated drive knows.
std::span<const MediumRules> MediaRules();

/// Nothing for a number that is no medium of ours.
const MediumRules* FindRules(Medium medium);

/// The medium with that display name, without regard to case; "DVD-RW" alone is the sequential one.
const MediumRules* FindRules(TextView name);

}  // namespace tovlark
