#include "app/command/BurnCommand.h"

#include <cmath>

#include "app/session/Settings.h"
#include "base/DiscLayout.h"
#include "base/Sectors.h"
#include "burn/BurnImage.h"
#include "optical/SendCommand.h"
#include "optical/Speeds.h"
#include "simdrive/DriveSource.h"

namespace tovlark {

namespace {

constexpr IntSetting kFinalizeDisc{u"FinalizeDisc", 0, 0, 1}, kSimulateBurn{u"SimulateBurn", 0, 0, 1};

std::uint32_t UnitOf(SpeedMedia media) {
    switch (media) {
        case SpeedMedia::Cd: return kCdSpeed;
        case SpeedMedia::Dvd: return kDvdSpeed;
        case SpeedMedia::Bd: return kBdSpeed;
        case SpeedMedia::NotGiven: break;
    }
    return 0;
}

BurnOptions OptionsOf(const Task& task, const CommandRequest& request) {
    BurnOptions options{.finalises = task.settings.getInt(kFinalizeDisc) != 0,
                        .simulates = task.settings.getInt(kSimulateBurn) != 0,
                        .verifies = request.has(Switch::Verify),
                        .speedUnit = UnitOf(request.speedMedia)};
    const double rate = std::round(request.speedFactor * options.speedUnit);
    if (rate >= 1 && rate < kMaximumSpeed) options.kbPerSecond = static_cast<std::uint32_t>(rate);
    return options;
}

/// The drive, for this process alone; empty after a message.
OpenedDrive TakeDrive(Task& task, char16_t letter) {
    const Texts& texts = task.session.texts();
    DriveFault fault;
    OpenedDrive drive = OpenDrive(MapAllDrives(task), letter, fault);
    if (drive && LockVolume(drive.get(), Force::No)) return drive;
    ReportError(task, texts.format(TextId::BurnOpenFailed, {letter}));
    TellError(task, DescribeFault(texts, letter, drive ? LockFault(drive.get()) : fault));
    return {};
}

}  // namespace

Status BurnImageFile(Task& task, const CommandRequest& request) {
    FileSource files(kSectorSize);
    const std::uint32_t sectorSize = IsRawImage(request.source) ? kRawSectorSize : kSectorSize;
    if (const SystemError error = AddImageFile(files, request.source, sectorSize, kSectorSize); error.failed()) {
        ReportError(task, task.session.texts().format(TextId::CannotOpenImage, {request.source, DescribeError(error)}));
        return Status::Failed;
    }
    const BurnOptions options = OptionsOf(task, request);
    if (options.simulates && options.verifies) {
        ReportError(task, Text(task.session.texts()[TextId::VerifyNotSimulated]));
        return Status::Failed;
    }
    const OpenedDrive drive = TakeDrive(task, *ParseDrive(request.target));
    if (!drive) return Status::Failed;
    const Status status = BurnImage(task, {.drive = drive.get(), .source = files.source(), .options = options});
    UnlockVolume(drive.get());
    if (request.has(Switch::Eject) && status == Status::Ok &&
        !SendPlain(drive.get(), StartStopUnit(UnitAction::Eject, Immed::No)))
        TellError(task, TextId::DriveNotEjected, {drive.get().record->letter, GetLastDriveError(drive.get())});
    return status;
}

}  // namespace tovlark
