#pragma once

#include <cstdint>
#include <span>

#include "base/Msf.h"
#include "optical/Drive.h"
#include "optical/Mmc.h"
#include "optical/ReplyView.h"
#include "optical/Sense.h"

namespace tovlark {

/// What fixed-format sense data say.
constexpr Sense SenseIn(ReplyView data) {
    return {static_cast<std::uint8_t>(data.u8(2) & 0x0F), data.u8(12), data.u8(13)};
}

/// A command as it is sent, down to the last detail.
struct RawCommand {
    std::span<const std::byte> cdb;           // 1 to 16 bytes
    std::byte* buffer = nullptr;              // null exactly when nothing is transferred; used where it lies
    std::uint32_t* transferLength = nullptr;  // bytes to transfer; afterwards those that were
    std::byte* senseBuffer = nullptr;         // null exactly when `senseLength` is 0
    std::uint32_t senseLength = 0;
    bool dataIn = false;
    std::uint32_t timeoutSeconds = 0;
};

/// Sends one command and waits for its end. False when it was not sent, did not get through or was refused: the codes
/// are in the drive's status then. Nothing is printed; with a log, the command and its outcome go there.
[[nodiscard]] bool SendCommand(Drive drive, const RawCommand& command);

/// What a caller wants otherwise than the table of commands has it.
struct CommandOptions {
    std::uint32_t timeoutSeconds = 0;  // 0: the table's
};

/// Sends a command without data.
[[nodiscard]] bool SendPlain(Drive drive, const Cdb& cdb, CommandOptions options = {});
/// Sends a command with outgoing data.
[[nodiscard]] bool SendData(Drive drive, const Cdb& cdb, std::span<const std::byte> data, CommandOptions options = {});
/// Sends a command that fills `buffer`. The view covers what the drive sent; an empty one may be a failure.
[[nodiscard]] bool ReceiveData(Drive drive, const Cdb& cdb, std::span<std::byte> buffer, ReplyView& reply,
                               CommandOptions options = {});

/// How the last command to the drive ended. The error code is masked (`kErrorMask`), 0 after success.
std::uint32_t GetLastDriveError(Drive drive);
Sense GetLastSense(Drive drive);
std::uint8_t GetLastScsiStatus(Drive drive);

/// Who is told several times a second that a drive is still waited for, and may end that.
struct WaitWatcher {
    void* self = nullptr;
    bool (*goesOn)(void* self) = nullptr;
};

/// Asks once a second whether the drive is ready, for at most so many tries: more when it writes slowly. False when
/// they are used up, when there is no medium or a bad one, when the drive does not answer, or when the watcher ends it.
[[nodiscard]] bool WaitUntilReady(Drive drive, std::uint32_t tries, const WaitWatcher& watcher = {});

/// The rule by which a write that failed is sent again. One object for one write.
class WriteRetry {
public:
    /// Called after each failure: waits and tells that the write is to be sent again, or gives up.
    [[nodiscard]] bool waits(Drive drive);

private:
    std::uint32_t transientTries_ = 0;
};

/// Writes whole blocks. A drive that works on is waited for until the watcher, who is told before each further try,
/// ends it; one that fails in passing is asked 300 times.
[[nodiscard]] bool WriteBlocks(Drive drive, Lba first, std::span<const std::byte> data, std::uint32_t blockSize,
                               const WaitWatcher& watcher = {});

/// Sends a control that is no SCSI command; on failure `volumeError` of the drive's record tells why.
[[nodiscard]] bool DeviceControl(Drive drive, VolumeControl control);

/// Whether a volume that is in use is dismounted all the same.
enum class Force : std::uint8_t { No, Yes };
/// Takes the drive for this process alone and dismounts its volumes.
[[nodiscard]] bool LockVolume(Drive drive, Force force);
void UnlockVolume(Drive drive);

}  // namespace tovlark
