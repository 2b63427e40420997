#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "optical/Drive.h"

namespace tovlark {

/// How a CD, DVD-R or DVD-RW is to be written.
struct WriteMode {
    bool atOnce = false;         // disc-at-once, of a CD session-at-once; else incremental
    bool leavesOpen = false;     // another session may follow
    bool simulates = false;      // the laser stays off
    bool bufferProtects = true;  // a buffer that runs empty is survived (BUFE)
    bool hasRawBlocks = false;   // the blocks are no data of mode 1
};

/// Sets the write parameters page (MMC-6 7.5.4) in the answer to MODE SENSE(10) that has it, header and all, and makes
/// it what MODE SELECT(10) takes. False when the page is not there.
[[nodiscard]] bool SetWriteParameters(std::span<std::byte> list, const WriteMode& mode);

/// Has the drive write so, without buffer protection if it takes no other way.
[[nodiscard]] bool SelectWriteParameters(Drive drive, const WriteMode& mode);

/// Gives a DVD-R or DVD-RW its timestamp, one and the same for all discs.
[[nodiscard]] bool SendTimestamp(Drive drive);

}  // namespace tovlark
