#pragma once

#include "app/session/Texts.h"
#include "optical/DriveMap.h"
#include "simdrive/SimulatedDrive.h"

namespace tovlark {

/// What stands in front of a simulated drive's description in the settings: `F=sim:/path/to/description`.
inline constexpr TextView kSimulatedPrefix = u"sim:";

/// Simulated drives as a kind of device: for `DriveMap::sources`. A description's relative path counts from the folder
/// that the program was started in.
DeviceSource SimulatedDrives();

/// The drives of a task, simulated ones included.
DriveMap MapAllDrives(Task& task);

/// Why a disc file cannot be used, in words.
Text DescribeFault(const Texts& texts, const DriveFileFault& fault);

}  // namespace tovlark
