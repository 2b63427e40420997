#include "app/command/EraseStep.h"

#include "burn/Erase.h"
#include "optical/DriveMap.h"
#include "optical/SendCommand.h"
#include "simdrive/DriveSource.h"

namespace tovlark {

Status EraseDiscIn(Task& task, char16_t letter, EraseMethod method) {
    const Texts& texts = task.session.texts();
    const DriveMap map = MapAllDrives(task);
    DriveFault fault;
    const OpenedDrive opened = OpenDrive(map, letter, fault);
    if (!opened) {
        ReportError(task, texts.format(TextId::BurnOpenFailed, {letter}));
        TellError(task, DescribeFault(texts, letter, fault));
        return Status::Failed;
    }
    const Drive drive = opened.get();
    if (!WaitForDisc(task, drive)) return Status::Failed;
    DriveEntry entry;
    entry.letter = letter;
    ReadDiscSummary(texts, entry, drive, SummaryParts::Everything);
    // What cannot be erased is refused below, without a question.
    if (EraseKindOf(entry.mediaType) && !AskToErase(task, entry, method)) return Status::Failed;
    if (!LockVolume(drive, Force::No)) {
        ReportError(task, DescribeFault(texts, letter, LockFault(drive)));
        return Status::Failed;
    }
    const Status status = EraseDisc(task, {drive, method});
    UnlockVolume(drive);
    return status;
}

}  // namespace tovlark
