#include "burn/BurnImage.h"

#include <algorithm>
#include <vector>

#include "base/Hex.h"
#include "base/RawSector.h"
#include "base/Sectors.h"
#include "burn/BurnBuffer.h"
#include "burn/Verify.h"
#include "optical/SendCommand.h"
#include "optical/Speeds.h"

namespace tovlark {

namespace {

std::uint32_t SingleSpeedOf(MediaType type) { return IsCd(type) ? kCdSpeed : IsDvd(type) ? kDvdSpeed : kBdSpeed; }

void SetSpeed(DiscBurn& burn) {
    const Texts& texts = burn.task.session.texts();
    const auto [rate, unit] = std::pair(burn.options.kbPerSecond, SingleSpeedOf(burn.type));
    if (rate != kMaximumSpeed) {
        burn.task.session.printLine(DescribeSettingSpeed(texts, rate, unit));
        if (burn.options.speedUnit != 0 && burn.options.speedUnit != unit)
            burn.task.log.append(texts.format(TextId::SpeedOfOtherKind, {rate}));
    }
    if (!SetDriveSpeed(burn.drive, burn.type, kMaximumSpeed, rate))
        burn.task.log.append(texts.format(TextId::PlaceAndCode,
                                          {DescribeSettingSpeed(texts, rate, unit), GetLastDriveError(burn.drive)}));
}

/// Tells how far writing is.
class WriteProgress {
public:
    WriteProgress(DiscBurn& burn, std::uint64_t totalBytes) : task_(burn.task) {
        const Texts& texts = task_.session.texts();
        task_.session.printLine(TextId::StartWriting);
        TextView title = texts[burn.options.simulates ? TextId::SimulatingWriting : TextId::WritingMedia];
        while (title.ends_with(u'.')) title.remove_suffix(1);  // a step has dots of its own
        task_.session.beginStep(title, totalBytes);
    }
    void advance(std::uint64_t bytes) {
        task_.session.addProgress(bytes);
        const Progress& progress = task_.session.progress();
        const std::uint64_t percent = progress.done * 100 / progress.total;
        if (percent == lastPercent_) return;
        lastPercent_ = percent;
        const Texts& texts = task_.session.texts();
        task_.log.append(texts.format(TextId::LogBurnProgress, {static_cast<std::int64_t>(percent)}));
        constexpr std::uint64_t kSpeedStep = 10;  // percent
        const auto remaining = progress.remainingSeconds();
        if (percent % kSpeedStep == 0 && remaining)
            task_.log.append(texts.format(TextId::LogBurnSpeed, {progress.perSecond / 1000, *remaining}));
    }
    void finish() {
        task_.session.finishStep();
        task_.session.printDone();
    }
    void breakOff() { task_.session.print(u"\r\n"); }

private:
    Task& task_;
    std::uint64_t lastPercent_ = 0;
};

/// Why writing ended before the last sector.
enum class WriteEnd : std::uint8_t { Complete, Cancelled, SourceFailed, DriveFailed };

WriteEnd WriteSectors(DiscBurn& burn, const SectorSource& source, BurnBuffer& buffer, WriteProgress& progress) {
    std::vector<std::byte> scratch(std::size_t{burn.chunk()} * source.sectorSize);
    for (std::uint32_t done = 0; burn.written < burn.blocks;) {
        if (burn.isCancelled()) return WriteEnd::Cancelled;
        const std::uint32_t count = std::min(burn.chunk(), source.sectorCount - done);
        std::span<const std::byte> sectors;
        if (count > 0) sectors = buffer.lookAhead(scratch, count);
        if (sectors.empty() && count > 0) return buffer.hasFailed() ? WriteEnd::SourceFailed : WriteEnd::Cancelled;
        const std::size_t bytes = sectors.size();
        const std::int32_t first = static_cast<std::int32_t>(burn.start) + static_cast<std::int32_t>(burn.written);
        if (count < burn.chunk()) {  // every write has a whole chunk
            if (sectors.data() != scratch.data()) std::ranges::copy(sectors, scratch.begin());
            MakeEmptySectors(std::span(scratch).subspan(bytes), first + static_cast<std::int32_t>(count),
                             burn.fillMode);
            sectors = scratch;
        }
        burn.hasTried = true;
        if (!WriteBlocks(burn.drive, Lba{first}, sectors, source.sectorSize, burn.untilCancelled()))
            return burn.isCancelled() ? WriteEnd::Cancelled : WriteEnd::DriveFailed;
        buffer.consume(count);
        done += count;
        burn.written += burn.chunk();
        progress.advance(bytes);
    }
    return WriteEnd::Complete;
}

void ReportWriteEnd(DiscBurn& burn, WriteEnd end, const BurnBuffer& buffer) {
    const Texts& texts = burn.task.session.texts();
    if (end == WriteEnd::SourceFailed) ReportFault(burn.task, buffer.fault());
    if (end == WriteEnd::Cancelled) TellNote(burn.task, TextId::BurnCanceled);
    if (end == WriteEnd::DriveFailed)
        ReportError(
            burn.task,
            texts.format(TextId::DriveErrorSectors,
                         {texts[TextId::ErrorWritingDisc], static_cast<std::int32_t>(BurnPlace::Write),
                          static_cast<std::uint32_t>(burn.start) + burn.written, GetLastDriveError(burn.drive)}));
}

/// Says what the source warned of; the disc is written to its end all the same.
void TellWarnings(DiscBurn& burn, BurnBuffer& buffer) {
    for (const Text& words : buffer.takeWarnings()) {
        ReportError(burn.task, words);
        burn.hasWarnings = true;
    }
}

/// From the first block to the closed disc. False after a message; what was begun is to be abandoned then.
bool WriteDisc(DiscBurn& burn, const SectorSource& source, BurnBuffer& buffer) {
    WriteProgress progress(burn, std::uint64_t{source.sectorCount} * source.sectorSize);
    const WriteEnd end = WriteSectors(burn, source, buffer, progress);
    if (end != WriteEnd::Complete) {
        progress.breakOff();
        TellWarnings(burn, buffer);
        ReportWriteEnd(burn, end, buffer);
        return false;
    }
    progress.finish();
    TellWarnings(burn, buffer);
    const Sha256Digest digest = buffer.digest();
    burn.task.log.append(
        burn.task.session.texts().format(TextId::BurnDigest, {ToHex(std::as_bytes(std::span(digest)))}));
    return SynchronizeDisc(burn) && CloseDisc(burn);
}

void TellOutcome(const DiscBurn& burn, bool isDone) {
    static constexpr TextId kDone[2][2] = {{TextId::BurnDone, TextId::BurnDoneWarnings},
                                           {TextId::SimulationDone, TextId::SimulationDoneWarnings}};
    if (isDone)
        TellNote(burn.task, kDone[burn.options.simulates][burn.hasWarnings]);
    else
        ReportError(burn.task, Text(burn.task.session.texts()[TextId::BurningFailed]));
}

}  // namespace

Status BurnImage(Task& task, const BurnRequest& request) {
    DiscBurn burn{.task = task, .drive = request.drive, .options = request.options};
    if (request.source.sectorCount == 0) {
        ReportFault(task, {});
        return Status::Failed;
    }
    if (!CheckDisc(burn, request)) return Status::Failed;
    CdContent cd;
    if (burn.kind() == BurnKind::Cd) {
        burn.blocks = request.source.sectorCount;
        cd = request.cd ? *request.cd : OneDataTrack(burn.blocks);
        PadLastTrack(burn, cd.session);
        burn.fillMode = cd.session.tracks.back().wholeMode();
    }

    // A source that cannot be read shows itself before the disc is touched.
    auto buffer = CreateBurnBuffer(task, request.source);
    bool isDone = false;
    if (buffer != nullptr && !burn.isCancelled()) {
        TellNote(task, TextId::PreparingMedia);
        SetSpeed(burn);
        isDone = burn.kind() == BurnKind::Cd ? PrepareCd(burn, cd) : PrepareMedia(burn);
        isDone = isDone && WriteDisc(burn, request.source, *buffer);
        if (!isDone) AbandonDisc(burn);
        RestoreDrive(burn);
    } else if (buffer != nullptr) {
        TellNote(task, TextId::BurnCanceled);
    }
    buffer.reset();  // verification reads the source through one of its own
    TellOutcome(burn, isDone);
    if (!isDone) return Status::Failed;
    if (!request.options.verifies) return Status::Ok;
    AbortQuestion ownQuestion;
    const VerifyRequest verification{request.drive, request.source, burn.start,
                                     request.abortQuestion != nullptr ? *request.abortQuestion : ownQuestion,
                                     TrackStarts(cd.session)};
    return VerifyDisc(task, verification) == VerifyOutcome::Passed ? Status::Ok : Status::Failed;
}

}  // namespace tovlark
