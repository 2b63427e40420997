#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "optical/Drive.h"

namespace tovlark {

/// How the last command to a drive ended.
struct DriveStatus {
    std::uint32_t errorCode = 0;    // masked; 0 after success
    std::uint32_t senseTriple = 0;  // 0 after success
    std::uint8_t scsiStatus = 0;
};

/// Every error code is kept and shown XORed with this.
constexpr std::uint32_t kErrorMask = 0x3C5A3C5A;

/// Code of a command that the drive refused: operation code, sense byte 2, ASC, ASCQ from the lowest byte up.
constexpr std::uint32_t SenseErrorCode(std::uint8_t opcode, std::uint8_t senseByte2, std::uint8_t code,
                                       std::uint8_t qualifier) {
    return (opcode | senseByte2 << 8 | code << 16 | std::uint32_t{qualifier} << 24) ^ kErrorMask;
}

/// Code of a command that did not get through: the system's error below, 0xFF00 plus the operation code above.
constexpr std::uint32_t TransportErrorCode(std::uint8_t opcode, std::uint32_t systemError) {
    return ((systemError & 0xFFFF) | (0xFF00u | opcode) << 16) ^ kErrorMask;
}

/// The last failure of each open drive, for whoever reports it. Each slot is touched by its drive's thread only.
/// Drives that find no free slot share the extra one.
class DriveStatusTable {
public:
    static constexpr std::size_t kSlots = 32;

    void enter(Drive drive);
    void leave(Drive drive);
    DriveStatus& of(Drive drive);

private:
    struct Slot {
        std::atomic<const DriveRecord*> drive = nullptr;  // null: free
        DriveStatus status;
    };

    std::array<Slot, kSlots> slots_;
    DriveStatus extra_;
};

/// The one table of the process.
DriveStatusTable& DriveStatuses();

}  // namespace tovlark
