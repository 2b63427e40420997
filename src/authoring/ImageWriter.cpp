#include "authoring/ImageWriter.h"

#include <new>

#include "authoring/BootSelection.h"
#include "authoring/ImageLayout.h"
#include "authoring/Naming.h"
#include "base/Sectors.h"

namespace tovlark {

namespace {

constexpr std::string_view kMarker = "TOVLARK  ";

void EmitZeros(const ImageBuild&, const Extent& extent, SectorStream& stream) {
    stream.zeros(std::uint64_t{extent.count} * kSectorSize);
}

void EmitMarker(const ImageBuild&, const Extent&, SectorStream& stream) {
    stream.write(std::as_bytes(std::span(kMarker)));
    stream.padToSector();
}

struct Emitter {
    ExtentKind kind;
    void (*emit)(const ImageBuild& build, const Extent& extent, SectorStream& stream);
};

constexpr Emitter kEmitters[] = {
    {ExtentKind::SystemArea, EmitZeros},
    {ExtentKind::PrimaryDescriptor, EmitPrimaryDescriptor},
    {ExtentKind::JolietDescriptor, EmitJolietDescriptor},
    {ExtentKind::Terminator, EmitTerminator},
    {ExtentKind::Marker, EmitMarker},
    {ExtentKind::PathTableL, EmitPathTableL},
    {ExtentKind::PathTableM, EmitPathTableM},
    {ExtentKind::Directories, EmitDirectories},
    {ExtentKind::Continuation, EmitContinuation},
    {ExtentKind::FileData, EmitFileData},
    {ExtentKind::Gap, EmitZeros},
    {ExtentKind::UdfRecognition, EmitUdfRecognition},
    {ExtentKind::UdfSequence, EmitUdfSequence},
    {ExtentKind::UdfIntegrity, EmitUdfIntegrity},
    {ExtentKind::UdfAnchor, EmitUdfAnchor},
    {ExtentKind::UdfFileSet, EmitUdfFileSet},
    {ExtentKind::UdfDirectories, EmitUdfDirectories},
    {ExtentKind::UdfFileEntries, EmitUdfFileEntries},
    {ExtentKind::BootRecord, EmitBootRecord},
    {ExtentKind::BootCatalog, EmitBootCatalog},
    {ExtentKind::BootImages, EmitBootImages},
};

constexpr bool InOrder() {
    for (std::size_t index = 0; index < std::size(kEmitters); ++index)
        if (kEmitters[index].kind != static_cast<ExtentKind>(index)) return false;
    return std::size(kEmitters) == static_cast<std::size_t>(ExtentKind::Count);
}
static_assert(InOrder());

void LayOut(ImageBuild& build) {
    Task& task = build.task;
    ImageBuildContext& context = build.context;
    SelectBootImage(task, context);
    if (!build.failed() && !context.isoEnabled && !context.udfEnabled) context.error = BuildError::NoFileSystem;
    if (build.failed()) return;
    if (!context.isoEnabled) context.jolietEnabled = false;  // part of it
    build.label = VolumeFieldText(context, VolumeField::Volume, task.clock);
    ResolveNames(task, context);
    if (context.isoEnabled) build.iso = OrderTree(context, TreeKind::Iso);
    if (context.jolietEnabled) build.joliet = OrderTree(context, TreeKind::Joliet);
    if (context.udfEnabled) build.udf = OrderTree(context, TreeKind::Udf);
    if (build.failed()) return;
    const IdenticalFiles identical = FindIdenticalFiles(task, context);
    if (task.flags.cancel && !build.failed()) context.error = BuildError::Cancelled;
    if (!build.failed()) PlaceImage(build, identical);
}

/// A sink that is looked over: progress is counted, what became of a file is said on a line of its own, and once the
/// task is cancelled nothing more is taken.
struct WatchedSink {
    Task& task;
    const SectorSink& sink;
    bool isCancelled = false;

    SectorSink asSink() { return {this, accept, sink.acceptFile != nullptr ? acceptFile : nullptr, report}; }

private:
    bool stops() { return isCancelled = isCancelled || task.flags.cancel; }
    static std::uint32_t accept(void* self, std::uint32_t first, std::span<const std::byte> sectors) {
        auto& watched = *static_cast<WatchedSink*>(self);
        if (watched.stops()) return 0;
        const std::uint32_t accepted = watched.sink.accept(watched.sink.self, first, sectors);
        watched.task.session.addProgress(std::uint64_t{accepted} * kSectorSize);
        return accepted;
    }
    static std::uint64_t acceptFile(void* self, std::uint32_t first, const FileRange& range, bool& failed) {
        auto& watched = *static_cast<WatchedSink*>(self);
        failed = watched.stops();
        if (failed) return 0;
        const std::uint64_t taken = watched.sink.acceptFile(watched.sink.self, first, range, failed);
        watched.task.session.addProgress(SectorsFor(taken) * kSectorSize);
        return taken;
    }
    static void report(void* self, const Text& words) {
        auto& watched = *static_cast<WatchedSink*>(self);
        watched.task.session.print(u"\r\n");  // progress stands on the line
        ReportError(watched.task, words);
    }
};

TextId WordsOf(const ImageBuildContext& context) {
    switch (context.error) {
        case BuildError::None:
        case BuildError::Cancelled: return TextId::BuildCancelled;
        case BuildError::OpenFailed: return TextId::OpenFileFailed;
        case BuildError::WriteFailed: return TextId::ErrorWritingData;
        case BuildError::NoUniqueName: return TextId::BuildNoUniqueName;
        case BuildError::TooManyFolders: return TextId::BuildTooManyFolders;
        case BuildError::TooLarge:
            if (context.errorSubject.empty()) return TextId::BuildImageTooLarge;
            return context.udfEnabled ? TextId::BuildFileTooLargeForUdf : TextId::LargeFileReason;
        case BuildError::NamesRefused: return TextId::BuildNamesRefused;
        case BuildError::InvalidBootFile: return TextId::InvalidBootImageFile;
        case BuildError::SecondBootFile: return TextId::SecondBootFile;
        case BuildError::NoFileSystem: return TextId::BuildNoFileSystem;
        case BuildError::OutOfMemory: break;
    }
    return TextId::BuildOutOfMemory;
}

}  // namespace

LaidOutImage::LaidOutImage(Task& task, ImageBuildContext& context) : task_(task), context_(context) {
    try {
        build_ = std::make_unique<ImageBuild>(task, context);
        LayOut(*build_);
    } catch (const std::bad_alloc&) {
        context.error = BuildError::OutOfMemory;
    }
}

LaidOutImage::~LaidOutImage() = default;

std::uint64_t LaidOutImage::sectorCount() const { return build_->sectorCount; }

/// Every extent begins where the one before it ended.
WriteEnd LaidOutImage::write(const SectorSink& sink) const {
    WriteEnd end;
    try {
        SectorStream stream(sink);
        for (const Extent& extent : build_->extents) {
            end.place = static_cast<std::int32_t>(extent.kind);
            kEmitters[static_cast<std::size_t>(extent.kind)].emit(*build_, extent, stream);
            const bool isWhole = stream.position() == (std::uint64_t{extent.first} + extent.count) * kSectorSize;
            if (stream.failed() || !isWhole) break;
        }
        stream.flush();
        const bool isWritten = !stream.failed() && stream.position() == build_->sectorCount * kSectorSize;
        end.error = isWritten ? BuildError::None : BuildError::WriteFailed;
    } catch (const std::bad_alloc&) {
        end.error = BuildError::OutOfMemory;
    }
    return end;
}

Status LaidOutImage::writeStep(TextId step, const SectorSink& sink) {
    ConsoleSession& session = task_.session;
    session.beginStep(session.texts()[step], build_->sectorCount * kSectorSize);
    WatchedSink watched{task_, sink};
    const WriteEnd end = write(watched.asSink());
    context_.error = watched.isCancelled ? BuildError::Cancelled : end.error;
    context_.errorPlace = end.place;
    if (context_.error != BuildError::None) {
        session.print(u"\r\n");
        return Status::Failed;
    }
    session.finishStep();
    session.printDone();
    return Status::Ok;
}

Status WriteImage(Task& task, ImageBuildContext& context, const SectorSink& sink) {
    LaidOutImage image(task, context);
    return context.error == BuildError::None ? image.writeStep(TextId::WritingImage, sink) : Status::Failed;
}

void ReportBuildError(Task& task, const ImageBuildContext& context) {
    const Texts& texts = task.session.texts();
    Text line(texts[WordsOf(context)]);
    if (context.error == BuildError::WriteFailed)
        line = FormatText(u"%s (%d-%08x)", {line, context.errorPlace, context.systemError.code});
    Text details = context.errorSubject;
    if (context.systemError.failed()) {
        if (!details.empty()) details += u": ";
        details += DescribeError(context.systemError);
    }
    for (const Text& text : {line, details})
        if (!text.empty()) TellError(task, text);
    if (context.error == BuildError::Cancelled)
        task.flags.cancel = true;
    else
        task.flags.error = true;
}

}  // namespace tovlark
