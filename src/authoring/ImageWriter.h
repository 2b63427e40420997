#pragma once

#include <cstdint>
#include <memory>

#include "app/session/Task.h"
#include "authoring/Compilation.h"
#include "authoring/SectorSink.h"
#include "base/Status.h"

namespace tovlark {

struct ImageBuild;

/// How writing an image ended.
struct WriteEnd {
    BuildError error = BuildError::None;
    std::int32_t place = 0;  // the structure that was written last
};

/// A compilation in which every structure and file has its place. It can be written as often as need be; the
/// structures are the same each time. A source that vanishes or changes its size meanwhile is padded or cut to the
/// length laid out.
class LaidOutImage {
public:
    /// Lays the compilation out (names, identical files, extents), with progress. Failure is in `context.error`, to be
    /// reported through `ReportBuildError`; the image is of no use then.
    LaidOutImage(Task& task, ImageBuildContext& context);
    ~LaidOutImage();
    LaidOutImage(const LaidOutImage&) = delete;

    std::uint64_t sectorCount() const;
    /// Writes all sectors, without a word but what the sink is told. Several threads may do so at once.
    WriteEnd write(const SectorSink& sink) const;
    /// The same as a step with progress that can be cancelled; changed sources are reported and set the error flag.
    /// Failure is in `context.error`.
    Status writeStep(TextId step, const SectorSink& sink);

private:
    Task& task_;
    ImageBuildContext& context_;
    std::unique_ptr<ImageBuild> build_;
};

/// Lays the compilation out and writes it to the sink, with progress. The image is kept when a source has changed.
Status WriteImage(Task& task, ImageBuildContext& context, const SectorSink& sink);

/// What to do about a file that has the output's name already.
enum class ExistingOutput : std::uint8_t { Ask, Replace };

/// Writes the compilation as an image file: beside its final name, renamed when whole. The images that it takes data
/// from are closed then: one of them may be the file that is replaced.
Status CreateImageFile(Task& task, ImageBuildContext& context, const Text& path,
                       ExistingOutput existing = ExistingOutput::Ask);

/// Prints and logs what `context.error` says: what failed, on what, and the system's own reason.
void ReportBuildError(Task& task, const ImageBuildContext& context);

}  // namespace tovlark
