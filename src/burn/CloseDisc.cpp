#include <algorithm>
#include <iterator>

#include "burn/DiscBurn.h"
#include "burn/WriteParameters.h"
#include "optical/DiscSummary.h"
#include "optical/DiscTracks.h"
#include "optical/SendCommand.h"

namespace tovlark {

namespace {

// Functions of CLOSE TRACK/SESSION (MMC-6 6.3.2.3); 0 in the table below: nothing is sent.
constexpr std::uint8_t kTrack = 1, kSession = 2, kFinalPlusR = 5, kFinal = 6;

/// What is sent to close a disc: a function for the track, then one for the session.
struct CloseRow {
    BurnKind kind;
    std::uint8_t track, session, finalSession;
    bool toleratesFailure = false;
    bool waitsOnce = false;  // even if nothing was sent for the session
};

constexpr CloseRow kCloses[] = {
    {BurnKind::DvdR, kTrack, kSession, kSession},
    {BurnKind::DvdRw, 0, kSession, kSession, /*toleratesFailure*/ true},
    {BurnKind::DvdRam, 0, 0, 0},
    {BurnKind::DvdPlusR, kTrack, kSession, kFinalPlusR},
    {BurnKind::DvdPlusRw, 0, kSession, kSession},
    {BurnKind::BdSequential, kTrack, kSession, kFinal},
    {BurnKind::BdPseudo, kTrack, 0, kFinal, false, /*waitsOnce*/ true},
    {BurnKind::BdRe, 0, 0, 0},
};

constexpr std::uint32_t kSynchronizePolls = 1800, kStopFormatPolls = 480;

bool SendClose(DiscBurn& burn, std::uint8_t function, std::uint32_t polls) {
    return SendPlain(burn.drive, CloseTrackSession(function, burn.track, Immed::Yes)) &&
           WaitUntilReady(burn.drive, polls);
}

/// A DVD+RW formats itself on in the background until it is told to stop.
void StopBackgroundFormat(DiscBurn& burn) {
    const auto disc = QueryDisc(burn.drive);
    if (!disc || !disc->isFormatting) return;
    TellNote(burn.task, TextId::StoppingFormatting);
    if (SendClose(burn, kSession, kStopFormatPolls)) TellNote(burn.task, TextId::FormattingStopped);
}

/// Whether the medium may have changed. A first write that failed leaves a disc blank if no block was taken, and so may
/// a track that is reserved.
bool IsTouched(DiscBurn& burn) {
    if (burn.written > 0 || burn.isAhead) return true;
    if (!burn.hasTried && !burn.hasReserved) return false;
    const auto disc = QueryDisc(burn.drive);
    return !disc || disc->status != DiscStatus::Blank;
}

}  // namespace

bool Fail(DiscBurn& burn, TextId text, std::initializer_list<FormatArgument> arguments) {
    ReportError(burn.task, burn.task.session.texts().format(text, arguments));
    return false;
}

bool FailShort(DiscBurn& burn, std::uint32_t available) {
    ReportError(burn.task, ReportShortage(burn.task.session.texts(), burn.blocks, available));
    return false;
}

bool FailCancelled(DiscBurn& burn) {
    TellNote(burn.task, TextId::BurnCanceled);
    return false;
}

bool FailAtDrive(DiscBurn& burn, BurnPlace place) {
    return Fail(burn, TextId::DriveErrorSentence,
                {burn.task.session.texts()[TextId::BurningFailed], static_cast<std::int32_t>(place),
                 GetLastDriveError(burn.drive)});
}

bool SynchronizeDisc(DiscBurn& burn) {
    TellNote(burn.task, TextId::SynchronizingCache);
    if (SendPlain(burn.drive, SynchronizeCache(Immed::Yes)) && WaitUntilReady(burn.drive, kSynchronizePolls))
        return true;
    return Fail(burn, TextId::SynchronizingFailed);
}

bool CloseDisc(DiscBurn& burn) {
    const bool finalises = burn.options.finalises;
    const std::uint32_t polls = CloseBudget(burn.type, burn.written);
    TellNote(burn.task, finalises ? TextId::FinalizingMedia : TextId::ClosingSession);
    if (!SendPlain(burn.drive, SynchronizeCache(Immed::Yes)) || !WaitUntilReady(burn.drive, polls))
        return FailAtDrive(burn, BurnPlace::Synchronize);
    const auto row = std::ranges::find(kCloses, burn.kind(), &CloseRow::kind);
    if (row == std::end(kCloses) || burn.isAtOnce()) return true;  // a disc at once is closed by the drive
    if (row->track != 0 && !SendClose(burn, row->track, polls)) return FailAtDrive(burn, BurnPlace::CloseTrack);
    const std::uint8_t session = finalises ? row->finalSession : row->session;
    const bool isClosed =
        session != 0 ? SendClose(burn, session, polls) : !row->waitsOnce || WaitUntilReady(burn.drive, polls);
    return isClosed || row->toleratesFailure || FailAtDrive(burn, BurnPlace::CloseSession);
}

void AbandonDisc(DiscBurn& burn) {
    if (burn.kind() == BurnKind::DvdPlusRw) StopBackgroundFormat(burn);
    const bool isTouched = IsTouched(burn);
    const std::uint32_t polls = CloseBudget(burn.type, burn.written);
    const auto row = std::ranges::find(kCloses, burn.kind(), &CloseRow::kind);
    // Even where nothing is on the disc the drive may hold some of it, or a sheet.
    const bool isHeld = isTouched || burn.hasTried || burn.hasSheet;
    const bool isWritten =
        isHeld && SendPlain(burn.drive, SynchronizeCache(Immed::Yes)) && WaitUntilReady(burn.drive, polls);
    if (burn.options.simulates) return;  // the disc is what it was
    const bool isClosed = isTouched && isWritten && row != std::end(kCloses) && row->track != 0 &&
                          SendClose(burn, row->track, polls) && !(burn.isAtOnce() && burn.hasTried);
    TellNote(burn.task, !isTouched ? TextId::BurnLeftUntouched
                        : isClosed ? TextId::BurnLeftOpen
                                   : TextId::BurnLeftUnusable);
}

void RestoreDrive(DiscBurn& burn) {
    if (!burn.setsParameters || !burn.options.simulates) return;
    const WriteMode mode{.atOnce = burn.isAtOnce() || burn.kind() == BurnKind::Cd,
                         .leavesOpen = !burn.options.finalises};
    // Nobody can do more about a drive that does not take it, but the log tells.
    (void)SelectWriteParameters(burn.drive, mode);
}

}  // namespace tovlark
