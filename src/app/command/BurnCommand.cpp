#include "app/command/BurnCommand.h"

#include <cmath>
#include <memory>
#include <optional>

#include "app/command/SourceImage.h"
#include "app/session/Settings.h"
#include "authoring/Adding.h"
#include "base/DiscLayout.h"
#include "base/Sectors.h"
#include "burn/BurnImage.h"
#include "burn/CompilationSource.h"
#include "burn/CueSource.h"
#include "image/CueSheet.h"
#include "optical/SendCommand.h"
#include "optical/Speeds.h"
#include "platform/Paths.h"
#include "simdrive/DriveSource.h"

namespace tovlark {

namespace {

constexpr IntSetting kFinalizeDisc{u"FinalizeDisc", 0, 0, 1}, kSimulateBurn{u"SimulateBurn", 0, 0, 1},
    kWriteCdText{u"WriteCDText", 1, 0, 1}, kBurnCopies{u"BurnCopies", 1, 1, 999};

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

/// What is burned: an image or a folder; neither after a message.
struct OpenedSource {
    std::unique_ptr<FileSource> files;
    std::optional<CdContent> cd = {};
    std::unique_ptr<CompilationSource> compilation = {};

    bool isOpen() const { return files != nullptr || (compilation != nullptr && compilation->isReady()); }
    SectorSource sectors() const { return files != nullptr ? files->source() : compilation->source(); }
};

/// The files of the folder, with what switches have put into the compilation.
OpenedSource CompileFolder(Task& task, ImageBuildContext& compilation, const Text& path) {
    task.session.printAndMark(task.session.texts().format(TextId::Adding, {path}));
    if (AddFromDisk(task, compilation, path + u"/.", *compilation.root) == AddResult::NotFound) {
        TellError(task, TextId::CannotFindLocal, {path});
        return {};
    }
    if (task.flags.cancel) return {};
    task.session.printDone();
    return {.files = nullptr, .compilation = std::make_unique<CompilationSource>(task, compilation)};
}

OpenedSource OpenSheet(Task& task, const Text& path) {
    const Texts& texts = task.session.texts();
    const CodePage codePage(NarrowCodePageNumber(task.settings.getInt(kLanguage)));
    DiscLayout layout;
    if (const auto fault = ReadCueSheet(path, codePage, ShortPregaps::Keep, layout)) {
        ReportError(task, DescribeFault(texts, path, *fault));
        return {};
    }
    OpenedSource opened{std::make_unique<FileSource>(BurnSectorSize(layout)), CdContent{}};
    if (const auto problem = AddCueTracks(texts, path, layout, *opened.files, *opened.cd)) {
        ReportError(task, *problem);
        return {};
    }
    if (task.settings.getInt(kWriteCdText) == 0) opened.cd->texts = {};
    return opened;
}

OpenedSource OpenSource(Task& task, ImageBuildContext& compilation, const Text& path) {
    if (IsFolder(path)) return CompileFolder(task, compilation, path);
    if (EqualsIgnoringCase(ExtensionOf(path), u"cue")) return OpenSheet(task, path);
    OpenedSource opened{std::make_unique<FileSource>(kSectorSize), std::nullopt};
    const std::uint32_t sectorSize = IsRawImage(path) ? kRawSectorSize : kSectorSize;
    const SystemError error = AddImageFile(*opened.files, path, sectorSize, kSectorSize);
    if (!error.failed()) return opened;
    ReportError(task, task.session.texts().format(TextId::CannotOpenImage, {path, DescribeError(error)}));
    return {};
}

bool MoveTray(Task& task, Drive drive, UnitAction action) {
    if (SendPlain(drive, StartStopUnit(action, Immed::No))) return true;
    TellError(task, TextId::DriveNotEjected, {drive.record->letter, GetLastDriveError(drive)});
    return false;
}

/// The next copy takes another disc. False when the user has none.
bool AskForNextDisc(Task& task, Drive drive) {
    constexpr PromptRow kInsert{TextId::InsertBlankDisc, Answer::Ok | Answer::Cancel, Answer::Cancel};
    constexpr std::uint32_t kReadyPolls = 60;
    static_cast<void>(MoveTray(task, drive, UnitAction::Eject));
    if (task.session.prompt(kInsert) != Answer::Ok) return false;
    // A tray that is closed by hand, or no tray, is no failure; what is wrong with the disc the burn tells.
    static_cast<void>(SendPlain(drive, StartStopUnit(UnitAction::Load, Immed::No)));
    static_cast<void>(WaitUntilReady(drive, kReadyPolls));
    return true;
}

Status BurnCopies(Task& task, const BurnRequest& request) {
    const std::uint32_t copies = task.settings.getInt(kBurnCopies);
    for (std::uint32_t copy = 1; copy <= copies; ++copy) {
        if (copy > 1 && !AskForNextDisc(task, request.drive)) return Status::Failed;
        if (copies > 1) TellNote(task, TextId::CopyOf, {copy, copies});
        if (const Status status = BurnImage(task, request); status != Status::Ok) return status;
    }
    return Status::Ok;
}

}  // namespace

Status BurnSource(Task& task, ImageBuildContext& compilation, const CommandRequest& request) {
    const BurnOptions options = OptionsOf(task, request);
    if (options.simulates && options.verifies) {
        ReportError(task, Text(task.session.texts()[TextId::VerifyNotSimulated]));
        return Status::Failed;
    }
    const OpenedSource source = OpenSource(task, compilation, request.source);
    if (!source.isOpen()) return Status::Failed;
    const OpenedDrive drive = TakeDrive(task, *ParseDrive(request.target));
    if (!drive) return Status::Failed;
    const Status status =
        BurnCopies(task, {.drive = drive.get(), .source = source.sectors(), .options = options, .cd = source.cd});
    UnlockVolume(drive.get());
    if (request.has(Switch::Eject) && status == Status::Ok)
        static_cast<void>(MoveTray(task, drive.get(), UnitAction::Eject));
    return status;
}

}  // namespace tovlark
