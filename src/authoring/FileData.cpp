#include <algorithm>
#include <cstring>
#include <span>
#include <vector>

#include "authoring/ImageLayout.h"
#include "authoring/NodeData.h"
#include "authoring/ReadAhead.h"
#include "base/Sectors.h"
#include "platform/Files.h"

namespace tovlark {

namespace {

/// Files up to this size are read ahead; longer ones are worth a write of their own.
constexpr std::size_t kBatchSize = 256 * 1024;
static_assert(kBatchSize % kSectorSize == 0);

/// How a source turned out to differ from what the walk saw.
struct SourceFault {
    const CompilationNode* node;
    std::uint64_t copied;
    SystemError error;  // success: the file became shorter or longer
};

/// Files that follow each other in the image, as their sectors.
struct Batch {
    std::vector<std::byte> bytes = std::vector<std::byte>(kBatchSize + 1);  // the one more: does the last file go on?
    std::size_t sizeBytes = 0;
    std::vector<SourceFault> faults;
};

struct BatchRange {
    std::size_t first, end;  // of the files
};

std::uint64_t SpaceOf(const CompilationNode& node) { return SectorsFor(node.sizeBytes) * kSectorSize; }

bool IsReadAhead(const CompilationNode& node) { return HasSource(node) && SpaceOf(node) <= kBatchSize; }

/// The files whose data stand in the image, in that order.
std::vector<const CompilationNode*> FilesInOrder(const ImageBuild& build, const Extent& extent) {
    std::vector<const CompilationNode*> files;
    std::uint64_t sector = extent.first;
    const auto add = [&](const CompilationNode& node) {
        // An extent that is passed already belongs to an identical file.
        if (node.kind != NodeKind::File || node.sizeBytes == 0 || node.extent != sector) return;
        files.push_back(&node);
        sector += SectorsFor(node.sizeBytes);
    };
    for (const CompilationNode* file : build.context.priority) add(*file);
    const DirectoryTree& tree = build.mainTree();
    for (const std::uint32_t index : tree.preOrder)
        for (const CompilationNode* child : tree.childrenOf(index)) add(*child);
    return files;
}

std::vector<BatchRange> BatchesOf(const std::vector<const CompilationNode*>& files) {
    std::vector<BatchRange> batches;
    std::uint64_t sizeBytes = 0;
    for (std::size_t index = 0; index < files.size(); ++index) {
        if (!IsReadAhead(*files[index])) continue;
        const std::uint64_t space = SpaceOf(*files[index]);
        if (batches.empty() || batches.back().end != index || sizeBytes + space > kBatchSize) {
            batches.push_back({index, index});
            sizeBytes = 0;
        }
        batches.back().end = index + 1;
        sizeBytes += space;
    }
    return batches;
}

void FillBatch(std::span<const CompilationNode* const> files, Batch& batch) {
    batch.sizeBytes = 0;
    batch.faults.clear();
    FolderCache folders;
    for (const CompilationNode* node : files) {
        NodeData data;
        const auto size = static_cast<std::size_t>(node->sizeBytes);
        const std::span<std::byte> place = std::span(batch.bytes).subspan(batch.sizeBytes);
        std::size_t copied = 0;
        SystemError error = data.open(*node, folders);
        if (!error.failed()) error = data.readAt(0, place.first(size + 1), size, copied);
        if (error.failed() || copied != size) batch.faults.push_back({node, copied, error});
        copied = std::min(copied, size);
        const auto space = static_cast<std::size_t>(SpaceOf(*node));
        std::memset(place.data() + copied, 0, space - copied);
        batch.sizeBytes += space;
    }
}

/// What became of a source.
Text Describe(const Texts& texts, const SourceFault& fault) {
    const CompilationNode& node = *fault.node;
    const Text path = SourcePath(node);
    if (fault.error.failed())
        return texts.format(TextId::SourceUnreadable, {path, fault.copied, node.sizeBytes, DescribeError(fault.error)});
    if (fault.copied < node.sizeBytes) return texts.format(TextId::SourceShorter, {path, fault.copied, node.sizeBytes});
    FileInfo info;
    const bool isKnown = !GetTargetInfo(path, info).failed();
    return texts.format(TextId::SourceLonger, {path, node.sizeBytes, isKnown ? info.sizeBytes : fault.copied});
}

void EmitSource(const ImageBuild& build, const CompilationNode& node, SectorStream& stream) {
    InputFile file;
    SourceFault fault{&node, 0, file.open(SourcePath(node))};
    if (fault.error.failed())
        stream.zeros(node.sizeBytes);
    else
        fault.copied = stream.writeFile({file, 0, node.sizeBytes}, fault.error);
    if (stream.failed()) return;
    // Afterwards, so that what grew while it was read is noticed too.
    FileInfo info;
    if (!fault.error.failed()) fault.error = file.examine(info);
    if (fault.error.failed() || fault.copied < node.sizeBytes || info.sizeBytes > node.sizeBytes)
        stream.report(Describe(build.task.session.texts(), fault));
}

/// The image is the user's own file, opened before the walk: it neither vanishes nor changes its size under us.
void EmitFromImage(const ImageBuild& build, const CompilationNode& node, SectorStream& stream) {
    SourceFault fault{&node, 0, {}};
    for (const DataExtent& extent : node.inImage->extents) {
        if (extent.offset == DataExtent::kZeros) {
            stream.zeros(extent.sizeBytes);
            fault.copied += extent.sizeBytes;
        } else {
            const FileRange range{node.inImage->image->opened.file, extent.offset, extent.sizeBytes};
            fault.copied += stream.writeFile(range, fault.error);
        }
        if (stream.failed() || fault.error.failed()) break;
    }
    if (!stream.failed() && fault.copied < node.sizeBytes) stream.report(Describe(build.task.session.texts(), fault));
}

void EmitFile(const ImageBuild& build, const CompilationNode& node, SectorStream& stream) {
    const std::uint64_t end = stream.position() + SpaceOf(node);
    if (node.memory != nullptr)
        stream.write(node.memory->data);
    else if (node.inImage != nullptr)
        EmitFromImage(build, node, stream);
    else
        EmitSource(build, node, stream);
    if (!stream.failed()) stream.zeros(end - stream.position());
}

}  // namespace

void EmitFileData(const ImageBuild& build, const Extent& extent, SectorStream& stream) {
    const std::vector<const CompilationNode*> files = FilesInOrder(build, extent);
    const std::vector<BatchRange> batches = BatchesOf(files);
    ReadAhead<Batch> ahead(batches.size(), [&](std::size_t number, Batch& batch) {
        const BatchRange& range = batches[number];
        FillBatch(std::span(files).subspan(range.first, range.end - range.first), batch);
    });
    auto next = batches.begin();
    for (std::size_t index = 0; index < files.size() && !stream.failed();) {
        if (next == batches.end() || next->first != index) {
            EmitFile(build, *files[index++], stream);
            continue;
        }
        const Batch& batch = ahead.take();
        stream.writeSectors(std::span(batch.bytes).first(batch.sizeBytes));
        if (!stream.failed())
            for (const SourceFault& fault : batch.faults) stream.report(Describe(build.task.session.texts(), fault));
        index = next++->end;
    }
}

}  // namespace tovlark
