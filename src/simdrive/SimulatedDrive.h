#pragma once

#include <optional>
#include <string>

#include "base/Clock.h"
#include "platform/DiscDevice.h"
#include "simdrive/Disc.h"
#include "simdrive/Faults.h"

namespace tovlark {

/// The file that stands for a simulated drive (docs/simulated-drives.md): an INI file with one section, [Drive].
struct DriveDescription {
    std::string model = "SIMULATED DRIVE";  // Model: of 16 characters
    bool isRealTime = false;                // Speed: "real", else "fast"
    Text disc;                              // Disc: a disc file or an image; relative to the description. "": none
    const MediumRules* pressed = nullptr;   // Pressed: the kind of an image's disc. Null: as its size says
    bool isTrayOpen = false;                // Tray: "open"
    /// Seen: the disc and its state when a program last used the drive; another one then is a medium that may have
    /// changed. Nothing: the drive was never used.
    std::optional<Text> seen;
    DriveFaults faults;  // ReadErrors, SlowBlocks, WriteErrors, Busy, TransportError, PowerLoss, Refuse
    /// Underruns: how often the buffer ran empty in the middle of a write since the disc was put in.
    std::uint32_t underruns = 0;
    Text log;  // Log: gets a line for each command, in hexadecimal. "": none
};

/// What kept a drive from being opened: the file, and the system's word or what is wrong with a disc file.
struct DriveFileFault {
    Text path;
    SystemError error;  // `IsLockedElsewhere`: another process uses it
    DiscFault disc = DiscFault::None;
    bool isNoDescription = false;  // the file is there, but describes no drive

    bool failed() const { return error.failed() || disc != DiscFault::None || isNoDescription; }
};

/// The description's facts, whether or not somebody uses the drive. What it does not say keeps its default.
SystemError ReadDriveDescription(const Text& path, DriveDescription& description);
/// Changes or makes a description; busy while the drive is in use. Other entries of the file stay.
SystemError WriteDriveDescription(const Text& path, const DriveDescription& description);

/// The status with which a process ends whose drive loses power.
inline constexpr int kPowerLossStatus = 70;

/// Opens the drive for commands and locks it and its disc until `device.close`. The clock must outlive the device.
DriveFileFault OpenSimulatedDrive(const Text& path, const Clock& clock, DiscDevice& device);

/// Opens a drive of nobody's that holds this disc, to read what is on it; the disc is locked until `device.close`.
DriveFileFault OpenDiscAlone(const Text& path, const Clock& clock, DiscDevice& device);

}  // namespace tovlark
