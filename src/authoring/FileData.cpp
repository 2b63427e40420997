#include "authoring/ImageLayout.h"
#include "base/Sectors.h"
#include "platform/Files.h"

namespace tovlark {

namespace {

/// Says once what became of a source, on a line of its own below the progress, and in the log.
void ReportSource(const ImageBuild& build, TextId id, std::initializer_list<FormatArgument> arguments) {
    build.task.session.print(u"\r\n");
    ReportError(build.task, build.task.session.texts().format(id, arguments));
}

void EmitSource(const ImageBuild& build, const CompilationNode& node, SectorStream& stream) {
    const Text path = SourcePath(node);
    InputFile file;
    SystemError error = file.open(path);
    std::uint64_t copied = 0;
    if (error.failed())
        stream.zeros(node.sizeBytes);
    else
        copied = stream.writeFile(file, node.sizeBytes, error);
    if (stream.failed()) return;

    // Afterwards, so that what grew while it was read is noticed too.
    FileInfo info;
    if (!error.failed()) error = file.examine(info);
    if (error.failed()) {
        ReportSource(build, TextId::SourceUnreadable, {path, copied, node.sizeBytes, DescribeError(error)});
    } else if (copied < node.sizeBytes) {
        ReportSource(build, TextId::SourceShorter, {path, copied, node.sizeBytes});
    } else if (info.sizeBytes > node.sizeBytes) {
        ReportSource(build, TextId::SourceLonger, {path, node.sizeBytes, info.sizeBytes});
    }
}

void EmitFile(const ImageBuild& build, const CompilationNode& node, SectorStream& stream) {
    if (node.kind != NodeKind::File || node.sizeBytes == 0 || stream.failed()) return;
    // An extent that was written already belongs to an identical file.
    const std::uint64_t begin = std::uint64_t{node.extent} * kSectorSize;
    if (begin != stream.position()) return;
    if (node.memory != nullptr)
        stream.write(node.memory->data);
    else
        EmitSource(build, node, stream);
    if (!stream.failed()) stream.zeros(begin + SectorsFor(node.sizeBytes) * kSectorSize - stream.position());
}

}  // namespace

void EmitFileData(const ImageBuild& build, const Extent&, SectorStream& stream) {
    for (const CompilationNode* file : build.context.priority) EmitFile(build, *file, stream);
    const DirectoryTree& tree = build.mainTree();
    for (const std::uint32_t index : tree.preOrder)
        for (const CompilationNode* child : tree.childrenOf(index)) EmitFile(build, *child, stream);
}

}  // namespace tovlark
