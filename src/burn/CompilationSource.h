#pragma once

#include <optional>
#include <span>

#include "app/session/Task.h"
#include "authoring/ImageWriter.h"
#include "base/IsoBytes.h"
#include "burn/SectorSource.h"

namespace tovlark {

/// The image of a compilation, made while it is burned: no file is written. Has a fixed place in memory. Several drives
/// may take its sectors at once.
class CompilationSource {
public:
    /// Lays the compilation out, with progress; with the setting `ImplantChecksum` its files are read once for that.
    /// `isReady` is false after a failure, which was reported.
    CompilationSource(Task& task, ImageBuildContext& context);
    CompilationSource(const CompilationSource&) = delete;

    bool isReady() const { return isReady_; }
    SectorSource source();

private:
    bool prepare(Task& task);
    bool takeChecksum();
    static bool make(void* self, const SectorIntake& intake, SourceFault& fault);

    ImageBuildContext& context_;
    LaidOutImage image_;
    std::optional<VolumeDescriptor> primary_;  // with the checksum
    bool isReady_;
};

}  // namespace tovlark
