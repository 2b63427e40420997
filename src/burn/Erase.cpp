#include "burn/Erase.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "base/Sectors.h"
#include "burn/Format.h"
#include "optical/DiscTracks.h"
#include "optical/SendCommand.h"
#include "optical/Speeds.h"

namespace tovlark {
namespace {

constexpr std::uint32_t kQuickSectors = 2048;  // zeros over these take every file system away
// Polls of a second.
constexpr std::uint32_t kMinimalBlankTries = 1200, kWholeBlankTries = 3600, kFormatTries = 600, kCloseTries = 480;
/// Ten hours: a certification writes and reads all of a disc, 128 GB at the double speed at most.
constexpr std::uint32_t kCertifyTries = 36000;
/// Where a message with a number says that the zeros failed.
constexpr std::int32_t kPlaceOfZeros = 1;

enum class Outcome : std::uint8_t { Done, Failed, Cancelled };

/// One erase of one disc.
class Eraser {
public:
    Eraser(Task& task, const EraseRequest& request, MediaType type, std::uint32_t estimateSeconds)
        : task_(task),
          drive_(request.drive),
          method_(request.method),
          type_(type),
          started_(now()),
          estimate_(std::uint64_t{estimateSeconds} * 1000) {}

    /// Done, or what is wrong is reported.
    Outcome run(EraseKind kind);
    std::uint64_t elapsedSeconds() const { return (now() - started_) / 1000; }

private:
    std::uint64_t now() const { return task_.clock.milliseconds(task_.clock.self); }
    bool isFull() const { return method_ == EraseMethod::Full; }
    void showProgress();
    Outcome erase(EraseKind kind);
    Outcome blank();
    Outcome erasePlusRw();
    Outcome eraseRam();
    Outcome eraseBdRe();
    Outcome startBdReFormat(const BdReFormat& found, std::uint8_t& subType);
    Outcome wait(std::uint32_t tries, TextId failure);
    Outcome fail(TextId text);
    bool showsData();
    Outcome wipeIfNeeded(std::uint32_t blocks);
    Outcome writeZeros(std::uint32_t blocks, std::uint32_t blocksAtOnce);
    Outcome writeZeroChunk(std::uint32_t first, std::uint32_t blocks);
    Outcome synchronize();
    Outcome closeSession();
    void stopQuietly();

    Task& task_;
    const Drive drive_;
    const EraseMethod method_;
    const MediaType type_;
    const std::uint64_t started_, estimate_;  // milliseconds
    std::vector<std::byte> zeros_;
};

/// Elapsed time against the estimate; the end is shown when it has come.
void Eraser::showProgress() {
    task_.session.setProgress(std::min(now() - started_, estimate_ - estimate_ / 100), estimate_);
}

Outcome Eraser::fail(TextId text) {
    const std::uint32_t code = GetLastDriveError(drive_);
    const Sense sense = GetLastSense(drive_);
    task_.session.print(u"\r\n");
    ReportError(task_, Text(task_.session.texts()[text]));
    if (code != 0) TellError(task_, TextId::DriveAnswered, {sense.key, sense.code, sense.qualifier, code});
    return Outcome::Failed;
}

/// Waits for what the drive does on its own. It cannot be stopped: who cancels is told so.
Outcome Eraser::wait(std::uint32_t tries, TextId failure) {
    const WaitWatcher watcher{this, [](void* self) {
                                  Eraser& eraser = *static_cast<Eraser*>(self);
                                  eraser.showProgress();
                                  return !eraser.task_.flags.cancel;
                              }};
    if (WaitUntilReady(drive_, tries, watcher)) return Outcome::Done;
    if (!task_.flags.cancel) return fail(failure);
    task_.session.print(u"\r\n");
    TellError(task_, TextId::EraseGoesOn);
    return Outcome::Cancelled;
}

Outcome Eraser::blank() {
    constexpr std::uint8_t kWholeDisc = 0, kMinimal = 1;
    constexpr std::uint16_t kIncremental = 0x0021;
    if (!SendPlain(drive_, Blank(isFull() ? kWholeDisc : kMinimal, 0, Immed::Yes))) return fail(TextId::ErrorErasing);
    const Outcome outcome = wait(isFull() ? kWholeBlankTries : kMinimalBlankTries, TextId::ErrorErasing);
    if (outcome != Outcome::Done) return outcome;
    const auto disc = QueryDisc(drive_);
    if (!disc || disc->status != DiscStatus::Blank) return fail(TextId::BlankCheckFailed);
    if (!isFull() && type_ != MediaType::CdRw && !IsFeatureCurrent(drive_, kIncremental))
        task_.log.append(Text(task_.session.texts()[TextId::OnlyDiscAtOnce]));
    return Outcome::Done;
}

/// Writes again as the drive asks for it, until the task is cancelled.
Outcome Eraser::writeZeroChunk(std::uint32_t first, std::uint32_t blocks) {
    const Cdb write = Write10(Lba{static_cast<std::int32_t>(first)}, static_cast<std::uint16_t>(blocks));
    WriteRetry retry;
    while (!SendData(drive_, write, std::span(zeros_).first(std::size_t{blocks} * kSectorSize))) {
        showProgress();
        if (task_.flags.cancel) return Outcome::Cancelled;
        if (!retry.waits(drive_)) return Outcome::Failed;
    }
    return Outcome::Done;
}

Outcome Eraser::writeZeros(std::uint32_t blocks, std::uint32_t blocksAtOnce) {
    zeros_.assign(std::size_t{blocksAtOnce} * kSectorSize, std::byte{0});
    for (std::uint32_t first = 0; first < blocks;) {
        const std::uint32_t count = std::min(blocksAtOnce, blocks - first);
        const Outcome outcome = task_.flags.cancel ? Outcome::Cancelled : writeZeroChunk(first, count);
        if (outcome != Outcome::Done) {
            const Texts& texts = task_.session.texts();
            const std::uint32_t code = GetLastDriveError(drive_);
            stopQuietly();
            task_.session.print(u"\r\n");
            if (outcome == Outcome::Cancelled)
                TellError(task_, TextId::EraseStopped, {first, blocks});
            else
                ReportError(task_, texts.format(TextId::DriveErrorDash,
                                                {texts[TextId::ErrorWritingDisc], kPlaceOfZeros, code}));
            return outcome;
        }
        first += count;
        showProgress();
    }
    return Outcome::Done;
}

/// After a failure or a cancel among the zeros: a background format is stopped, so that the disc can be taken out.
void Eraser::stopQuietly() {
    static_cast<void>(SendPlain(drive_, SynchronizeCache(Immed::Yes)) && WaitUntilReady(drive_, kCloseTries));
    if (type_ != MediaType::DvdPlusRw) return;
    constexpr std::uint8_t kStopFormat = 2;
    static_cast<void>(SendPlain(drive_, CloseTrackSession(kStopFormat, 0, Immed::Yes)) &&
                      WaitUntilReady(drive_, kCloseTries));
}

Outcome Eraser::synchronize() {
    if (!SendPlain(drive_, SynchronizeCache(Immed::Yes))) return fail(TextId::SynchronizingFailed);
    return wait(kCloseTries, TextId::SynchronizingFailed);
}

Outcome Eraser::closeSession() {
    constexpr std::uint8_t kSession = 2;
    if (!SendPlain(drive_, CloseTrackSession(kSession, 0, Immed::Yes))) return fail(TextId::ErrorClosingTrack);
    return wait(kCloseTries, TextId::ErrorClosingTrack);
}

Outcome Eraser::erasePlusRw() {
    constexpr std::uint32_t kEccBlocks = 16;
    const auto offer = FindFormat(drive_, FormatType::kPlusRw);
    if (!offer) return fail(TextId::ErrorReadingCapacity);
    // The parameter's lowest bit would go on with a format that was stopped.
    if (!StartFormat(drive_, {.format = {offer->type, offer->blocks, 0}})) return fail(TextId::ErrorFormatting);
    Outcome outcome = wait(kFormatTries, TextId::ErrorFormatting);
    if (outcome == Outcome::Done)
        outcome = writeZeros(isFull() ? offer->blocks : std::min(offer->blocks, kQuickSectors), kEccBlocks);
    if (outcome == Outcome::Done) outcome = synchronize();
    return outcome == Outcome::Done ? closeSession() : outcome;
}

/// A format that tests nothing may leave on the disc what was written there. True when some of that comes first.
bool Eraser::showsData() {
    constexpr std::uint16_t kBlocks = 32;  // boot sectors and volume descriptors
    std::array<std::byte, std::size_t{kBlocks} * kSectorSize> buffer;
    ReplyView reply;
    return ReceiveData(drive_, Read10(Lba{0}, kBlocks), buffer, reply) &&
           std::ranges::any_of(reply.bytes(), [](std::byte byte) { return byte != std::byte{0}; });
}

Outcome Eraser::wipeIfNeeded(std::uint32_t blocks) {
    if (!showsData()) return Outcome::Done;
    const Outcome outcome = writeZeros(std::min(blocks, kQuickSectors), IsBd(type_) ? 32 : 16);
    return outcome == Outcome::Done ? synchronize() : outcome;
}

/// Quick: the blocks are not tested (DCRT) and the list of known defects stays, which takes seconds. Full: each block
/// is tested, that is written and read (MMC-6 6.5.2.5, 6.5.3.2; full format, type 00h).
Outcome Eraser::eraseRam() {
    const auto offer = FindFormat(drive_, FormatType::kFull);
    if (!offer) return fail(TextId::ErrorReadingCapacity);
    if (!StartFormat(drive_, {.format = *offer, .certify = isFull() ? Certify::Yes : Certify::No}))
        return fail(TextId::ErrorFormatting);
    const Outcome outcome = wait(isFull() ? kCertifyTries : kFormatTries, TextId::ErrorFormatting);
    return outcome == Outcome::Done ? wipeIfNeeded(offer->blocks) : outcome;
}

/// Sub-types of 30h and 31h (MMC-6 6.5.4.2.15): "no certification" formats a new disc too, "quick reformat" is what
/// some drives have in its place, "full certification" tests the whole disc, where the drive says that it can.
Outcome Eraser::startBdReFormat(const BdReFormat& found, std::uint8_t& subType) {
    constexpr Sense kInvalidField{5, 0x24, 0x00}, kInvalidParameter{5, 0x26, 0x00};
    std::vector<std::uint8_t> subTypes{BdReSubType::kNoCertification, BdReSubType::kQuickReformat};
    if (isFull() && found.canCertify) subTypes.insert(subTypes.begin(), BdReSubType::kFullCertification);
    for (const std::uint8_t candidate : subTypes) {
        subType = candidate;
        if (StartFormat(drive_, {.format = found.format, .subType = candidate})) return Outcome::Done;
        const Sense sense = GetLastSense(drive_);
        if (sense != kInvalidField && sense != kInvalidParameter) break;
    }
    return fail(TextId::ErrorFormatting);
}

Outcome Eraser::eraseBdRe() {
    constexpr std::uint32_t kClusterBlocks = 32;
    const auto found = FindBdReFormat(drive_);
    if (!found) return fail(TextId::ErrorReadingCapacity);
    std::uint8_t subType = 0;
    Outcome outcome = startBdReFormat(*found, subType);
    const bool isCertified = subType == BdReSubType::kFullCertification;
    if (outcome == Outcome::Done) outcome = wait(isCertified ? kCertifyTries : kFormatTries, TextId::ErrorFormatting);
    if (outcome != Outcome::Done) return outcome;
    // What no certification writes over is written over here.
    if (!isFull() || isCertified) return wipeIfNeeded(found->format.blocks);
    const auto blocks = ReadDiscBlocks(drive_);
    if (!blocks) return fail(TextId::ErrorReadingCapacity);
    outcome = writeZeros(*blocks, kClusterBlocks);
    return outcome == Outcome::Done ? synchronize() : outcome;
}

Outcome Eraser::erase(EraseKind kind) {
    switch (kind) {
        case EraseKind::CdRw:
        case EraseKind::DvdMinusRw: return blank();
        case EraseKind::DvdPlusRw: return erasePlusRw();
        case EraseKind::DvdRam: return eraseRam();
        case EraseKind::BdRe: break;
    }
    return eraseBdRe();
}

Outcome Eraser::run(EraseKind kind) {
    ConsoleSession& session = task_.session;
    session.beginStep(session.texts()[isFull() ? TextId::FullErase : TextId::QuickErase], estimate_,
                      ProgressUnit::Milliseconds);
    const Outcome outcome = erase(kind);
    if (outcome != Outcome::Done) return outcome;
    session.finishStep();
    session.print(u"\r\n");
    return outcome;
}

/// The reason why no such disc can be erased, reported.
Status Refuse(Task& task, MediaType type) {
    const Texts& texts = task.session.texts();
    Text reason = texts.format(TextId::CannotBeErased, {MediaTypeName(texts, type)});
    if (type == MediaType::None) reason = texts[TextId::NoDiscInDrive];
    if (type == MediaType::Unknown) reason = texts[TextId::UnknownDiscInDrive];
    ReportError(task, reason);
    return Status::Failed;
}

}  // namespace

bool WaitForDisc(Task& task, Drive drive) {
    constexpr std::uint32_t kTries = 30;
    const WaitWatcher watcher{&task, [](void* self) { return !static_cast<Task*>(self)->flags.cancel; }};
    if (WaitUntilReady(drive, kTries, watcher) || task.flags.cancel || !IsOneOf(GetLastSense(drive), kStillWorking))
        return true;
    ReportError(task, Text(task.session.texts()[TextId::DriveStaysBusy]));
    return false;
}

bool AskToErase(Task& task, const DriveEntry& entry, EraseMethod method) {
    constexpr std::size_t kYes = 0, kNo = 1;
    ConsoleSession& session = task.session;
    const Texts& texts = session.texts();
    const Text medium = texts.format(TextId::MediaAndSummary, {entry.mediaName, entry.summary});
    const TextView name = texts[method == EraseMethod::Full ? TextId::FullErase : TextId::QuickErase];
    session.printLine(FormatText(u"%s %s", {texts[TextId::MediaDetected], medium}));
    session.printLine(FormatText(u"%s %s", {texts[TextId::ErasingMethod], name}));
    session.printLine(TextId::AllDataErased);
    const Text question = FormatText(u"%s %s", {texts[TextId::EraseItNow], texts[TextId::YesOrNo]});
    if (session.promptListed(question, kNo) == kYes) return true;
    TellNote(task, TextId::BurnCanceled);
    return false;
}

Status EraseDisc(Task& task, const EraseRequest& request) {
    const Drive drive = request.drive;
    const MediaType type = DetectMediaType(drive);
    TellNote(task, TextId::ErasingMedia);
    // A drive that keeps its own speed erases all the same.
    static_cast<void>(SetDriveSpeed(drive, type, kMaximumSpeed, kMaximumSpeed));
    const auto kind = EraseKindOf(type);
    if (!kind) return Refuse(task, type);
    if (task.flags.cancel) return Status::Failed;
    Eraser eraser(task, request, type, EraseTimes::load(task.settings).estimate(*kind, request.method));
    const Outcome outcome = eraser.run(*kind);
    if (outcome == Outcome::Cancelled) TellError(task, TextId::BurnCanceled);
    if (outcome != Outcome::Done) return Status::Failed;
    EraseTimes times = EraseTimes::load(task.settings);  // drives beside this one may have learned meanwhile
    times.store(*kind, request.method, eraser.elapsedSeconds());
    if (!times.save(task.settings)) {
        const auto fault = task.settings.fault();
        const Texts& texts = task.session.texts();
        task.log.append(texts.format(TextId::EraseTimeNotKept, {fault ? ReasonOf(texts, *fault) : Text()}));
    }
    TellNote(task, TextId::ErasedSuccessfully);
    return Status::Ok;
}

}  // namespace tovlark
