#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

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
    std::span<std::byte> sense;   // fixed-format sense data; may be empty
    std::uint32_t timeoutSeconds = 0;
    std::uint8_t scsiStatus = 0;  // SAM-4 5.3.1; set by the device
};

/// Controls of a volume, with the numbers of Windows' file-system controls.
enum class VolumeControl : std::uint32_t { Lock = 0x00090018, Unlock = 0x0009001C, Dismount = 0x00090020 };

/// An open device that takes SCSI commands: a drive of the system or one that is simulated.
struct DiscDevice {
    void* self = nullptr;
    /// Sends the command and waits for its end. An error means that it did not get through; a command that the device
    /// refused is no error, its status and sense data tell.
    SystemError (*send)(void* self, PassThrough& command) = nullptr;
    SystemError (*control)(void* self, VolumeControl control) = nullptr;
    void (*close)(void* self) = nullptr;
};

/// Opens a device for commands, shared with others: for reading and writing, else for reading only.
SystemError OpenDiscDevice(const Text& path, DiscDevice& device);

}  // namespace tovlark
