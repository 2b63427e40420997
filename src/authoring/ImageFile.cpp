#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include "app/session/Settings.h"
#include "authoring/Adding.h"
#include "authoring/ChecksumImplant.h"
#include "authoring/ImageWriter.h"
#include "base/Sectors.h"
#include "platform/Files.h"

namespace tovlark {

namespace {

/// A sector sink over a file that comes into being whole or not at all.
struct ImageFile {
    NewFile file;
    SystemError error;                     // of the write that failed
    std::unique_ptr<DigestThread> digest;  // null when no checksum is implanted
};

std::uint32_t AcceptSectors(void* self, std::uint32_t, std::span<const std::byte> sectors) {
    auto& image = *static_cast<ImageFile*>(self);
    if (image.digest != nullptr) image.digest->add(sectors);
    image.error = image.file.write(sectors);
    return image.error.failed() ? 0 : static_cast<std::uint32_t>(sectors.size() / kSectorSize);
}

std::uint64_t AcceptFile(void* self, std::uint32_t, const FileRange& range, bool& failed) {
    static constexpr std::byte kZeros[kSectorSize] = {};
    auto& image = *static_cast<ImageFile*>(self);
    std::uint64_t copied = 0;
    const SystemError copyError = image.file.append(range.file, range.offset, range.sizeBytes, copied);
    if (copyError.failed()) {
        // Whose fault it was, only the source can tell.
        std::byte probe[1];
        std::size_t readCount = 0;
        if (!range.file.readAt(range.offset + copied, probe, readCount).failed()) image.error = copyError;
    }
    const std::uint64_t rest = copied % kSectorSize;
    if (rest != 0 && !image.error.failed()) image.error = image.file.write(std::span(kZeros).subspan(rest));
    failed = image.error.failed();
    return copied;
}

void ReportFile(Task& task, TextId id, std::initializer_list<FormatArgument> arguments) {
    ReportError(task, task.session.texts().format(id, arguments));
}

void ReportNotCreated(Task& task, const Text& path, SystemError error) {
    ReportFile(task, TextId::CannotCreateOutput, {path, DescribeError(error)});
    ExplainMissingFolder(task, path, error);
}

/// True when the file is an edited image of which something could not be taken over: it would be gone for good.
bool LosesData(const ImageBuildContext& context, const FileInfo& output) {
    return std::ranges::any_of(context.sourceImages, [&](const SourceImage& image) {
        return image.isIncomplete && image.identity == output.identity;
    });
}

/// An image cannot hold the file that it replaces. Only files of exactly its size can be that file.
void LeaveOut(Task& task, ImageBuildContext& context, const FileInfo& output) {
    std::vector<CompilationNode*> found;
    std::vector<const CompilationNode*> waiting{context.root};
    while (!waiting.empty()) {
        const CompilationNode& folder = *waiting.back();
        waiting.pop_back();
        for (CompilationNode* child : folder.folder->children) {
            FileInfo info;
            if (child->isFolder())
                waiting.push_back(child);
            else if (child->sizeBytes == output.sizeBytes && child->sourceFolder != nullptr &&
                     !GetTargetInfo(SourcePath(*child), info).failed() && info.identity == output.identity)
                found.push_back(child);
        }
    }
    for (CompilationNode* node : found) {
        TellNote(task, TextId::OutputLeftOut, {PathInImage(*node)});
        DeleteNode(context, *node);
    }
}

/// Puts the checksum of what was written into it. False when that failed, for the reason in the image's error.
bool Implant(Task& task, const Text& path, ImageFile& image) {
    ConsoleSession& session = task.session;
    const ImageDigest& digest = image.digest->finish();
    if (!digest.isComplete()) {
        task.log.append(session.texts().format(TextId::ImplantNoPrimary, {path}));
        return true;
    }
    session.beginStep(session.texts()[TextId::UpdatingChecksum]);
    const VolumeDescriptor descriptor = digest.implanted();
    image.error = image.file.rewrite(kPrimaryOffset, std::as_bytes(std::span(&descriptor, 1)));
    if (image.error.failed()) {
        session.print(u"\r\n");
        return false;
    }
    session.finishStep();
    session.printDone();
    return true;
}

/// Writes the image under its temporary name; failure is in the context.
Status Fill(Task& task, ImageBuildContext& context, const Text& path, ImageFile& image) {
    try {
        const bool implants = task.settings.getInt(kImplantChecksum) != 0;
        if (implants) image.digest = std::make_unique<DigestThread>();
        // What is to be hashed has to come by.
        const SectorSink sink{&image, AcceptSectors, implants ? nullptr : AcceptFile};
        if (WriteImage(task, context, sink) != Status::Ok) return Status::Failed;
        if (implants && !Implant(task, path, image)) context.error = BuildError::WriteFailed;
    } catch (const std::bad_alloc&) {
        context.error = BuildError::OutOfMemory;
    }
    return context.error == BuildError::None ? Status::Ok : Status::Failed;
}

}  // namespace

Status CreateImageFile(Task& task, ImageBuildContext& context, const Text& path, ExistingOutput existing) {
    if (const auto reason = existing == ExistingOutput::Ask ? WhatKeepsFile(task, path) : std::nullopt) {
        if (!task.flags.cancel) ReportFile(task, *reason, {path});
        return Status::Failed;
    }
    FileInfo replaced;
    if (!GetTargetInfo(path, replaced).failed()) {
        if (LosesData(context, replaced)) {
            ReportFile(task, TextId::EditDamaged, {path});
            return Status::Failed;
        }
        LeaveOut(task, context, replaced);
    }
    ImageFile image;
    if (const SystemError error = image.file.create(path); error.failed()) {
        ReportNotCreated(task, path, error);
        return Status::Failed;
    }
    if (Fill(task, context, path, image) != Status::Ok) {
        if (context.error == BuildError::WriteFailed) {
            context.errorSubject = path;
            context.systemError = image.error;
        }
        ReportBuildError(task, context);
        return Status::Failed;
    }
    context.sourceImages.clear();
    if (const SystemError error = image.file.commit(); error.failed()) {
        ReportNotCreated(task, path, error);
        return Status::Failed;
    }
    return Status::Ok;
}

}  // namespace tovlark
