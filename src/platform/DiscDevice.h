#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "base/Text.h"
#include "platform/SystemError.h"

namespace tovlark {

/// Which way the data of a command go; the numbers are those of the Windows pass-through interface.
enum class DataDirection : std::uint8_t { Out = 0, In = 1, None = 2 };

/// One command for a device, and what came of it.
struct PassThrough {
    std::span<const std::byte> cdb;  // 1 to 16 bytes
    DataDirection direction = DataDirection::None;
    std::byte* data = nullptr;    // used where it lies, never copied
    std::uint32_t dataBytes = 0;  // to be transferred; afterwards those that were
    std::span<std::byte> sense;   // fixed-format sense data, 255 bytes at most; may be empty
    std::uint32_t timeoutSeconds = 0;
    std::uint8_t scsiStatus = 0;  // SAM-4 5.3.1; set by the device
    bool unsent = false;          // set by the device when memory was short and nothing was sent
};

/// Controls of a volume, with the numbers of Windows' file-system controls.
enum class VolumeControl : std::uint32_t { Lock = 0x00090018, Unlock = 0x0009001C, Dismount = 0x00090020 };

/// An open device that takes SCSI commands: a drive of the system or one that is simulated.
struct DiscDevice {
    void* self = nullptr;
    /// Sends the command and waits for its end. An error means that it did not get through; a command that the device
    /// refused is no error, its status and sense data tell.
    SystemError (*send)(void* self, PassThrough& command) = nullptr;
    /// Lock takes the device for this process alone; what else holds it makes that fail. Dismount takes the device's
    /// file systems off, and Lock along where that failed before. Unlock never fails.
    SystemError (*control)(void* self, VolumeControl control) = nullptr;
    void (*close)(void* self) = nullptr;
};

/// Opens a device for commands, shared with others: for reading and writing, else for reading only.
SystemError OpenDiscDevice(const Text& path, DiscDevice& device);

/// True for an error that says that the user may not open the device, or that someone else has it.
bool IsDenied(SystemError error);
bool IsBusy(SystemError error);

/// The group whose members may use the device; empty where that is not how it goes.
Text GroupOf(const Text& path);

/// Folders where file systems of the device are mounted; none on systems that have no such thing.
std::vector<Text> MountsOf(const Text& path);

/// An optical drive that the system knows. Systems without drive letters give 0.
struct SystemDrive {
    char16_t letter = 0;
    Text path;
};

/// In the system's order.
std::vector<SystemDrive> ListSystemDrives();

/// The label that the system has for the volume in one of its drives; empty when it has none or no such thing.
Text SystemVolumeLabel(char16_t letter);

}  // namespace tovlark
