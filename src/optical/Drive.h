#pragma once

#include <cstdint>
#include <memory>

#include "app/session/MessageLog.h"
#include "base/Clock.h"
#include "base/Text.h"
#include "platform/DiscDevice.h"

namespace tovlark {

/// An open drive, and what those above tell those below about it.
struct DriveRecord {
    DiscDevice device;
    const Clock* clock = nullptr;
    MessageLog* log = nullptr;  // null: commands are not logged
    char16_t letter = 0;
    Text path = {};  // of the device
    /// Reads that failed one after the other while an image is made of a disc: each halves the time-out of commands.
    std::uint32_t readErrorStreak = 0;
    /// Times the single speed that was last set for writing; below 2.5 the drive is waited for longer.
    double writeSpeedFactor = 256;
    SystemError volumeError = {};  // what locking or dismounting last failed with
};

/// An open drive as commands take it. Copies name the same drive; none of them closes it.
struct Drive {
    DriveRecord* record = nullptr;

    explicit operator bool() const { return record != nullptr; }
    bool operator==(const Drive&) const = default;
};

/// Owns an open drive: while it lives, the drive has its place in the `DriveStatusTable`.
class OpenedDrive {
public:
    OpenedDrive() = default;
    /// Takes over a device; `record.device.close` is called in the end, if there is one.
    explicit OpenedDrive(DriveRecord record);
    OpenedDrive(OpenedDrive&& other) noexcept = default;
    OpenedDrive& operator=(OpenedDrive&& other) noexcept;
    ~OpenedDrive();

    explicit operator bool() const { return record_ != nullptr; }
    Drive get() const { return {record_.get()}; }

private:
    void close();

    std::unique_ptr<DriveRecord> record_;
};

}  // namespace tovlark
