#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "simdrive/Medium.h"

namespace tovlark {

struct SimDrive;
struct Refusal;

// How long a drive takes (docs/simulated-drives.md, "Real time"). All times are nanoseconds unless they say otherwise:
// a request of 64 KB at full speed takes a few milliseconds, and what is rounded away would add up.

inline constexpr std::uint64_t kMillisecond = 1'000'000;

enum class Pass : std::uint8_t { Read, Write };

/// Bytes a second that pass at a block when a speed was chosen (1000 bytes a second). Blocks of CDs count 2352 bytes,
/// whatever the host sends of them; all others 2048.
std::uint64_t RateAt(const MediumRules& rules, Pass pass, std::uint32_t speed, std::int64_t block);
/// What blocks that follow one another take.
std::uint64_t PassTime(const MediumRules& rules, Pass pass, std::uint32_t speed, std::int64_t first,
                       std::uint64_t count);
/// What the pick-up takes from one block to another and to find its track there.
std::uint64_t SeekTime(const MediumRules& rules, std::int64_t from, std::int64_t to);

/// What does not depend on how much is written, in milliseconds.
struct DriveTimes {
    std::uint32_t load;          // from the closed tray to a medium that is known
    std::uint32_t spinUp;        // from standstill to the speed of reading or writing
    std::uint32_t calibrate;     // power calibration, of each layer
    std::uint32_t beginTrack;    // the entry for a new track, and the run-in
    std::uint32_t closeTrack;    // the entry for a complete one
    std::uint32_t closeSession;  // entries and checks beside the areas that are written
    std::uint32_t quickErase;    // or quick format
};
DriveTimes TimesOf(const MediumRules& rules);

/// What the drive's mechanics and its buffer are about. Only drives in real time have any.
struct Motion {
    struct Waiting {
        std::uint64_t writtenAt, bytes;
    };
    std::deque<Waiting> buffer;        // what was not yet written when it was last looked at
    std::uint64_t bufferedBytes = 0;   // their sum
    std::uint64_t writtenUntil = 0;    // when all that was given to the drive is, or was, on the disc
    std::optional<std::int64_t> next;  // block with which a write goes on that was not ended
    bool isSpinning = false;
    bool isCalibrated = false;
    bool wantsLeadIn = false;                // the next write begins with it
    bool hasLostStream = false;              // the buffer ran empty where that cannot be mended
    std::int64_t head = 0;                   // where the pick-up is
    std::uint64_t headAt = 0;                // since when
    std::optional<std::int64_t> cachedFrom;  // this block to `head` were read and are kept
};

/// Blocks that the host gave the drive to write.
struct WriteJob {
    std::int64_t first;
    std::uint32_t count;
    std::uint64_t bytes;  // that wait in the buffer
    std::uint32_t passes = 1;
    bool beginsTrack = false;
};

/// Whether the drive can take these bytes for that block now: 02/04/08 when its buffer is full, 03/0C/09 when it ran
/// empty in a track that has to be written without a gap.
Refusal AdmitWrite(SimDrive& drive, std::int64_t block, std::uint64_t bytes);
/// Puts them into the buffer. When it ran empty in the middle of a write, that is counted, and the drive has to begin
/// anew.
void BookWrite(SimDrive& drive, const WriteJob& job);
/// The drive writes on by itself for so long; nothing of the host follows.
void WriteOn(SimDrive& drive, std::uint64_t time);
/// Blocks that the drive makes in the middle of what the host writes.
void WriteMade(SimDrive& drive, std::int64_t first, std::uint32_t count);
/// Bytes that wait in the buffer.
std::uint64_t BufferedBytes(SimDrive& drive);

/// Waits for what reading so many blocks takes, and for what is to be written before.
void TimeRead(SimDrive& drive, std::int64_t block, std::uint64_t count);
/// Takes time, from when the buffer is written: answers `sense` until it is over, or (not `immed`) waits here.
void Occupy(SimDrive& drive, const Refusal& sense, std::uint64_t time, bool immed);
/// Waits for something that leaves the buffer and the pick-up alone.
void Pause(SimDrive& drive, std::uint64_t time);

std::uint64_t WriteTime(const SimDrive& drive, std::int64_t first, std::uint64_t count);
/// Writing every block, and reading them again.
std::uint64_t WholeDiscTime(const SimDrive& drive);
std::uint64_t CertifyTime(const SimDrive& drive);
/// Closing what is open: lead-in (where it is not written yet), lead-out or border.
std::uint64_t CloseTime(const SimDrive& drive, bool isFinal, bool hasLeadIn);

}  // namespace tovlark
