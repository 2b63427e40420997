#pragma once

#include <cstdint>
#include <span>

#include "base/Msf.h"
#include "optical/Drive.h"
#include "optical/Mmc.h"

namespace tovlark {

/// What of each sector is read.
enum class SectorForm : std::uint8_t {
    Blocks,      // 2048 bytes by READ(10): any disc
    Raw,         // 2352 bytes of a CD sector of any type
    Audio,       // 2352 bytes, refused when the sector is none of audio
    Mode2,       // 2336 bytes: sub-header, user data and what follows
    Mode1Data,   // 2048 bytes, refused when the sector is not mode 1
    Mode2Form1,  // 2048 bytes, refused when the sector is not that
};

/// What becomes of sectors that could not be read.
enum class AfterReadError : std::uint8_t { Fail, Retry, LeaveZeros };

/// Who decides about sectors that could not be read. Without `decide` they fail.
struct ReadRecovery {
    void* self = nullptr;
    AfterReadError (*decide)(void* self, Lba first, std::uint32_t sectors) = nullptr;
};

/// How sectors of a disc are read.
struct SectorReader {
    Drive drive;
    SectorForm form = SectorForm::Blocks;
    SubChannel subChannel = SubChannel::None;  // CDs: follows the data of each sector
    ReadRecovery recovery = {};
    /// Failed reads count in `readErrorStreak` of the drive, so that a damaged disc fails fast.
    bool shortensTimeouts = false;
};

/// Bytes that each sector takes.
std::uint32_t SectorBytes(const SectorReader& reader);

/// Most sectors that one command asks for: those of 64 KiB.
std::uint32_t SectorsPerCommand(const SectorReader& reader);

/// Reads so many sectors; the buffer has room for them. False when the recovery gave up: the drive's status then tells
/// about the last command. A reply that is shorter than the sectors asked for is an error like any other.
[[nodiscard]] bool ReadSectors(const SectorReader& reader, Lba first, std::uint32_t sectors,
                               std::span<std::byte> buffer);

}  // namespace tovlark
