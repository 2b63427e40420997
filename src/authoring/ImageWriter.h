#pragma once

#include "app/session/Task.h"
#include "authoring/Compilation.h"
#include "authoring/SectorSink.h"
#include "base/Status.h"

namespace tovlark {

/// Lays the compilation out (names, identical files, extents) and writes it to the sink, with progress.
/// Failure is in `context.error`, reported by the caller through `ReportBuildError`.
/// A source that vanishes or changes its size while it is written is padded or cut to the length laid out, reported,
/// and sets the error flag; the image is kept.
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
