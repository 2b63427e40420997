#include "burn/Verify.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "base/DiscLayout.h"
#include "base/Sectors.h"
#include "burn/BurnBuffer.h"
#include "burn/DamagedFiles.h"
#include "optical/SectorReader.h"
#include "optical/SendCommand.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kChunk = 16;  // sectors that are compared at once
constexpr std::uint32_t kPauseMilliseconds = 1000, kReadyPolls = 120;

/// Has the medium stop and start again, so that what is read comes from it. A drive that keeps turning is read all the
/// same.
bool RestartMedium(Task& task, Drive drive) {
    task.clock.sleep(task.clock.self, kPauseMilliseconds);
    for (const UnitAction action : {UnitAction::Stop, UnitAction::Start})
        static_cast<void>(SendPlain(drive, StartStopUnit(action, Immed::No)));
    return WaitUntilReady(drive, kReadyPolls);
}

SectorForm FormOf(std::uint32_t sectorSize) {
    if (sectorSize == kRawSectorSize) return SectorForm::Raw;
    return sectorSize == kMode2SectorSize ? SectorForm::Mode2 : SectorForm::Blocks;
}

class Verifier {
public:
    Verifier(Task& task, const VerifyRequest& request)
        : task_(task),
          request_(request),
          reader_{.drive = request.drive, .form = FormOf(request.source.sectorSize)},
          scratch_(std::size_t{kChunk} * request.source.sectorSize),
          read_(scratch_.size()) {}

    VerifyOutcome run() {
        const VerifyOutcome outcome = compareAll();
        // Of an image that was made on its way the disc tells which files it has.
        const SectorSource disc{this, request_.source.sectorSize, request_.source.sectorCount, readDisc};
        const SectorSource& named = request_.source.read != nullptr ? request_.source : disc;
        if (!damaged_.empty()) NameDamagedFiles(task_, named, damaged_);
        return outcome;
    }

private:
    enum class ChunkEnd : std::uint8_t { Same, Ignored, Failed };

    VerifyOutcome compareAll() {
        const SectorSource& source = request_.source;
        if (request_.abortQuestion.isAnsweredYes(task_)) return VerifyOutcome::Cancelled;
        const auto buffer = CreateBurnBuffer(task_, source);
        if (buffer == nullptr) return VerifyOutcome::Failed;
        task_.session.beginStep(task_.session.texts()[TextId::VerifyingStep],
                                std::uint64_t{source.sectorCount} * source.sectorSize);
        bool hasErrors = false;
        for (std::uint32_t done = 0; done < source.sectorCount;) {
            if (request_.abortQuestion.isAnsweredYes(task_)) return VerifyOutcome::Cancelled;
            const std::uint32_t count = std::min(kChunk, endOfTrack(done) - done);
            const std::span<const std::byte> expected = buffer->lookAhead(scratch_, count);
            if (expected.empty()) {
                if (!buffer->hasFailed()) continue;  // cancelled, which is asked about above
                tell(TextId::ErrorReadingSource, done, count);
                ReportFault(task_, buffer->fault());
                return VerifyOutcome::Failed;
            }
            const ChunkEnd end = compareChunk(done, count, expected, *buffer);
            if (end == ChunkEnd::Failed) return VerifyOutcome::Failed;
            hasErrors = hasErrors || end == ChunkEnd::Ignored;
            buffer->consume(count);
            done += count;
            task_.session.addProgress(expected.size());
        }
        // Nothing read is nothing verified.
        if (source.sectorCount == 0) return VerifyOutcome::Failed;
        task_.session.finishStep();
        task_.session.printDone();
        return hasErrors ? VerifyOutcome::WithErrors : VerifyOutcome::Passed;
    }

    static bool readDisc(void* self, std::uint32_t first, std::span<std::byte> target, SourceFault&) {
        const auto& verifier = *static_cast<Verifier*>(self);
        for (std::uint32_t count; !target.empty(); first += count) {
            count = std::min<std::uint32_t>(kChunk, static_cast<std::uint32_t>(target.size() / kSectorSize));
            const std::span<std::byte> piece = target.first(std::size_t{count} * kSectorSize);
            if (!ReadSectors(verifier.reader_, verifier.placeOf(first), count, piece)) return false;
            target = target.subspan(piece.size());
        }
        return true;
    }

    Lba placeOf(std::uint32_t sector) const {
        return Lba{static_cast<std::int32_t>(request_.start) + static_cast<std::int32_t>(sector)};
    }

    std::uint32_t endOfTrack(std::uint32_t sector) const {
        const auto next = std::ranges::upper_bound(request_.trackStarts, sector);
        return next == request_.trackStarts.end() ? request_.source.sectorCount : *next;
    }

    ChunkEnd compareChunk(std::uint32_t first, std::uint32_t count, std::span<const std::byte> expected,
                          BurnBuffer& buffer) {
        const std::span<std::byte> target = std::span(read_).first(expected.size());
        while (true) {
            if (!ReadSectors(reader_, placeOf(first), count, target)) {
                tell(TextId::ErrorReadingDiscData, first, count);
                TellError(task_, TextId::PlaceAndCode,
                          {task_.session.texts()[TextId::ErrorReadingDiscData], GetLastDriveError(request_.drive)});
                damaged_.push_back({first, count});
                return ChunkEnd::Failed;
            }
            if (std::ranges::equal(target, expected)) return ChunkEnd::Same;
            tell(TextId::ErrorVerifyingData, first, count);
            for (const Text& words : buffer.takeWarnings()) TellError(task_, words);  // may be the reason
            constexpr std::size_t kAbort = 0, kRetry = 1;
            const std::size_t answer =
                task_.session.promptListed(task_.session.texts()[TextId::AbortRetryIgnore], kAbort);
            if (answer == kRetry) continue;
            damaged_.push_back({first, count});
            return answer == kAbort ? ChunkEnd::Failed : ChunkEnd::Ignored;
        }
    }

    void tell(TextId what, std::uint32_t first, std::uint32_t count) {
        const Texts& texts = task_.session.texts();
        task_.session.print(u"\r\n");  // progress stands on the line
        TellError(task_, texts.format(TextId::VerifyRange,
                                      {texts[what], texts[TextId::SectorOffset], first, first + count - 1}));
    }

    Task& task_;
    const VerifyRequest& request_;
    const SectorReader reader_;
    std::vector<std::byte> scratch_, read_;
    std::vector<SectorRange> damaged_;
};

void TellOutcome(Task& task, VerifyOutcome outcome) {
    switch (outcome) {
        case VerifyOutcome::Passed: TellNote(task, TextId::VerifyDone); break;
        case VerifyOutcome::WithErrors: ReportError(task, Text(task.session.texts()[TextId::VerifyDoneErrors])); break;
        case VerifyOutcome::Failed: ReportError(task, Text(task.session.texts()[TextId::VerifyFailed])); break;
        case VerifyOutcome::Cancelled: TellNote(task, TextId::VerifyCanceled); break;
    }
}

}  // namespace

bool AbortQuestion::isAnsweredYes(Task& task) {
    const std::lock_guard guard(lock_);
    if (aborts_) return true;
    if (!task.flags.cancel) return false;
    // While the flag is up nothing can be asked; the answer "Cancel" raises it, but means that nothing is broken off.
    constexpr PromptRow kAbort{TextId::AbortVerification, Answer::Ok | Answer::Cancel, Answer::Ok};
    task.flags.cancel = false;
    task.session.print(u"\r\n");
    aborts_ = task.session.prompt(kAbort) == Answer::Ok;
    task.flags.cancel = aborts_;
    return aborts_;
}

VerifyOutcome VerifyDisc(Task& task, const VerifyRequest& request) {
    TellNote(task, TextId::VerifyingMedia);
    VerifyOutcome outcome = VerifyOutcome::Failed;
    if (RestartMedium(task, request.drive))
        outcome = Verifier(task, request).run();
    else
        TellError(task, TextId::PlaceAndCode,
                  {task.session.texts()[TextId::ErrorReadingDiscData], GetLastDriveError(request.drive)});
    TellOutcome(task, outcome);
    return outcome;
}

}  // namespace tovlark
