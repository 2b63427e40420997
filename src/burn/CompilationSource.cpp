#include "burn/CompilationSource.h"

#include "app/session/Settings.h"
#include "authoring/ChecksumImplant.h"
#include "base/Sectors.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kPrimarySector = kPrimaryOffset / kSectorSize;

/// Hands sectors on to a burn, the primary descriptor with its checksum if there is one.
struct IntakeSink {
    const SectorIntake& intake;
    const std::optional<VolumeDescriptor>& primary;

    static std::uint32_t accept(void* self, std::uint32_t first, std::span<const std::byte> sectors) {
        const SectorIntake& intake = static_cast<IntakeSink*>(self)->intake;
        const std::optional<VolumeDescriptor>& primary = static_cast<IntakeSink*>(self)->primary;
        const auto count = static_cast<std::uint32_t>(sectors.size() / kSectorSize);
        const auto put = [&](std::span<const std::byte> bytes) { return intake.put(intake.self, bytes); };
        if (!primary || kPrimarySector < first || kPrimarySector >= first + count) return put(sectors) ? count : 0;
        const std::size_t before = std::size_t{kPrimarySector - first} * kSectorSize;
        const bool isTaken = put(sectors.first(before)) && put(std::as_bytes(std::span(&*primary, 1))) &&
                             put(sectors.subspan(before + kSectorSize));
        return isTaken ? count : 0;
    }
    static void report(void* self, const Text& words) {
        const SectorIntake& intake = static_cast<IntakeSink*>(self)->intake;
        intake.warn(intake.self, words);
    }
};

}  // namespace

CompilationSource::CompilationSource(Task& task, ImageBuildContext& context)
    : context_(context), image_(task, context), isReady_(prepare(task)) {}

bool CompilationSource::prepare(Task& task) {
    const bool implants = task.settings.getInt(kImplantChecksum) != 0;
    if (context_.error == BuildError::None && (!implants || takeChecksum())) return true;
    ReportBuildError(task, context_);
    return false;
}

bool CompilationSource::takeChecksum() {
    DigestThread thread;
    const auto accept = [](void* self, std::uint32_t, std::span<const std::byte> sectors) {
        static_cast<DigestThread*>(self)->add(sectors);
        return static_cast<std::uint32_t>(sectors.size() / kSectorSize);
    };
    if (image_.writeStep(TextId::UpdatingChecksum, {&thread, accept, nullptr}) != Status::Ok) return false;
    const ImageDigest& digest = thread.finish();
    if (digest.isComplete()) primary_ = digest.implanted();
    return true;
}

SectorSource CompilationSource::source() {
    return {.self = this,
            .sectorSize = kSectorSize,
            .sectorCount = static_cast<std::uint32_t>(image_.sectorCount()),
            .make = make};
}

bool CompilationSource::make(void* self, const SectorIntake& intake, SourceFault& fault) {
    const auto& source = *static_cast<const CompilationSource*>(self);
    IntakeSink sink{intake, source.primary_};
    const WriteEnd end = source.image_.write({&sink, IntakeSink::accept, nullptr, IntakeSink::report});
    if (end.error == BuildError::OutOfMemory) fault.text = TextId::BurnOutOfMemory;
    return end.error == BuildError::None;
}

}  // namespace tovlark
