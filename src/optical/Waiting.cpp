#include <array>
#include <atomic>

#include "app/session/Texts.h"
#include "optical/Commands.h"
#include "optical/SendCommand.h"
#include "platform/StayAwake.h"

namespace tovlark {
namespace {

constexpr std::uint32_t kSecond = 1000, kShortPause = 100;  // milliseconds
constexpr std::uint32_t kMostTransientTries = 300;
constexpr std::uint8_t kBusy = 8;  // SCSI status BUSY

void Sleep(Drive drive, std::uint32_t milliseconds) {
    const Clock& clock = *drive.record->clock;
    clock.sleep(clock.self, milliseconds);
}

/// Sleeps for a second; false when the watcher does not want to wait on.
bool SleepWatched(Drive drive, const WaitWatcher& watcher) {
    constexpr std::uint32_t kParts = 4;
    if (watcher.goesOn == nullptr) {
        Sleep(drive, kSecond);
        return true;
    }
    for (std::uint32_t part = 0; part < kParts; ++part) {
        if (!watcher.goesOn(watcher.self)) return false;
        Sleep(drive, kSecond / kParts);
    }
    return true;
}

/// A slow writer needs longer.
std::uint32_t RaisedTries(std::uint32_t tries, double factor) {
    if (factor > 0.5 && factor <= 1.5) return tries * 2;
    if (factor > 1.5 && factor < 2.5) return tries + tries / 2;
    return tries;
}

bool MayBecomeReady(Drive drive, std::span<const std::byte> senseBytes) {
    const ReplyView view(senseBytes);
    const Sense sense = SenseIn(view);
    if ((view.u8(0) & 0x70) == 0 && sense.key == 0 && GetLastScsiStatus(drive) != kBusy) return false;
    const bool hasNoMedium = sense.code == 0x3A, isForeign = sense.code == 0x30;
    if (sense.key == kNotReady && (hasNoMedium || isForeign)) return false;
    return sense.key != kMediumError;
}

}  // namespace

bool WaitUntilReady(Drive drive, std::uint32_t tries, const WaitWatcher& watcher) {
    constexpr std::uint32_t kTestSeconds = 100;
    const Cdb test = TestUnitReady();
    for (std::uint32_t left = RaisedTries(tries, drive.record->writeSpeedFactor); left > 0; --left) {
        StayAwake();
        std::array<std::byte, kSenseBytes> sense{};
        std::uint32_t length = 0;
        if (SendCommand(drive, {.cdb = test.view(),
                                .transferLength = &length,
                                .senseBuffer = sense.data(),
                                .senseLength = kSenseBytes,
                                .timeoutSeconds = kTestSeconds}))
            return true;
        if (left == 1 || !MayBecomeReady(drive, sense)) return false;
        if (!SleepWatched(drive, watcher)) return false;
    }
    return false;
}

bool WriteRetry::waits(Drive drive) {
    static std::atomic<bool> isFirstWait = true;  // of the process
    StayAwake();
    const Sense sense = GetLastSense(drive);
    if (!IsOneOf(sense, kStillWorking)) {
        if (!IsOneOf(sense, kTransient) || transientTries_ == kMostTransientTries) return false;
        ++transientTries_;
        Sleep(drive, kSecond);
    }
    Sleep(drive, isFirstWait.exchange(false) ? kSecond : kShortPause);
    return true;
}

bool WriteBlocks(Drive drive, Lba first, std::span<const std::byte> data, std::uint32_t blockSize,
                 const WaitWatcher& watcher) {
    const Cdb write = Write10(first, static_cast<std::uint16_t>(data.size() / blockSize));
    WriteRetry retry;
    while (!SendData(drive, write, data)) {
        if (watcher.goesOn != nullptr && !watcher.goesOn(watcher.self)) return false;
        if (!retry.waits(drive)) return false;
    }
    return true;
}

bool DeviceControl(Drive drive, VolumeControl control) {
    DriveRecord& record = *drive.record;
    record.volumeError = record.device.control(record.device.self, control);
    return !record.volumeError.failed();
}

bool LockVolume(Drive drive, Force force) {
    MessageLog* log = drive.record->log;
    if (log != nullptr) log->append(Text(BuiltInText(TextId::LogLockVolume)));
    if (!DeviceControl(drive, VolumeControl::Lock) && force == Force::No) return false;
    return DeviceControl(drive, VolumeControl::Dismount);
}

void UnlockVolume(Drive drive) {
    MessageLog* log = drive.record->log;
    if (log != nullptr) log->append(Text(BuiltInText(TextId::LogUnlockVolume)));
    (void)DeviceControl(drive, VolumeControl::Unlock);
}

}  // namespace tovlark
