#pragma once

#include <optional>
#include <vector>

#include "app/session/SettingsStore.h"
#include "app/session/TextId.h"
#include "app/session/Texts.h"
#include "base/Clock.h"
#include "base/Text.h"
#include "optical/Drive.h"
#include "platform/DiscDevice.h"

namespace tovlark {

struct Task;

/// Section of the settings that gives letters to devices: `F=/dev/sr0`, `G=sim:/path/x`.
inline constexpr TextView kDrivesKey = u"Drives";

/// The letter of "F:" or "F:\\", from D to Z and in upper case; nothing for any other word.
std::optional<char16_t> ParseDrive(TextView word);

/// Why a drive cannot be used. The text takes the letter as %c first, then the details.
struct DriveFault {
    TextId text = TextId::DriveNotThere;
    Text first, second;
};

/// A kind of device that is none of the system's: how its drives are opened. `target` is what stands behind the prefix
/// in the settings; false leaves the reason in `fault`. The clock outlives the device.
struct DeviceSource {
    TextView prefix;  // "sim:"
    bool (*open)(const Text& target, const Clock& clock, DiscDevice& device, DriveFault& fault);
};

/// A letter and the device behind it.
struct DriveLetter {
    char16_t letter = 0;
    Text target;            // a device of the system, or what the settings say
    bool isMapped = false;  // by the settings
};

/// Which letter is which drive. Everything is looked up anew each time, so that drives may come and go.
struct DriveMap {
    const SettingsStore& settings;
    const Clock& clock;
    MessageLog* commandLog = nullptr;        // where commands are logged; null: nowhere
    std::vector<DeviceSource> sources = {};  // beneath `SendCommand`, beside the system's devices
    std::vector<SystemDrive> (*systemDrives)() = &ListSystemDrives;
};

/// The map of a task. Commands are logged when the user keeps the message log in a file.
DriveMap MapDrives(Task& task);

/// All letters in order: those of the settings first come to their devices, and the other optical drives of the system
/// take the free letters from D up (on Windows each keeps the system's letter).
std::vector<DriveLetter> ListDrives(const DriveMap& map);

/// Opens a drive by its letter (either case) for commands, shared with other programs. Empty with a reason in `fault`
/// when there is none, it cannot be opened, or what the letter stands for is no optical drive.
OpenedDrive OpenDrive(const DriveMap& map, char16_t letter, DriveFault& fault);

Text DescribeFault(const Texts& texts, char16_t letter, const DriveFault& fault);

/// Why `LockVolume` failed.
DriveFault LockFault(Drive drive);

}  // namespace tovlark
