#include "readers/OpenedImage.h"

#include <algorithm>

#include "base/IsoBytes.h"
#include "readers/TreeWalk.h"

namespace tovlark {

namespace {

bool HasFileBeyondIso(Volume& volume) {
    bool isFound = false;
    TreeVisitor visitor;
    visitor.item = [&](const WalkedFolder&, const VolumeEntry& entry, std::uint64_t&, bool&) {
        isFound = entry.kind == EntryKind::File && entry.sizeBytes > kLargestIsoFile;
        return !isFound;
    };
    WalkTree(volume, {u"/", volume.root(), 0}, visitor);
    return isFound;
}

/// A file of more than 4 GB stands in the UDF tree alone, where the image has one: then that is the richest.
void PreferTreeOfLargeFiles(OpenedImage& image, const std::vector<VolumeKind>& kinds) {
    const bool hasUdf = std::ranges::find(kinds, VolumeKind::Udf) != kinds.end();
    if (image.volume->kind() == VolumeKind::Udf || !hasUdf || image.source.sizeBytes <= kLargestIsoFile) return;
    std::optional<VolumeFault> fault;
    std::unique_ptr<Volume> udf = OpenVolume(image.source, VolumeKind::Udf, fault);
    if (udf && HasFileBeyondIso(*udf)) image.volume = std::move(udf);
}

}  // namespace

bool OpenImage(Task& task, const Text& path, OpenedImage& image) {
    const Texts& texts = task.session.texts();
    FileInfo info;
    SystemError error = image.file.open(path);
    if (!error.failed()) error = image.file.examine(info);
    if (error.failed()) {
        // A pipe or a terminal opens well, but has no offsets to read at: the system's word for that helps nobody.
        const bool isSpecial = !GetTargetInfo(path, info).failed() && info.kind == FileKind::Other;
        const Text reason = isSpecial ? Text(texts[TextId::NeitherFileNorFolder]) : DescribeError(error);
        ReportError(task, texts.format(TextId::CannotOpenImage, {path, reason}));
        return false;
    }
    image.source = SourceOf(image.file, info.sizeBytes);
    std::optional<VolumeFault> fault;
    const std::vector<VolumeKind> kinds = FindVolumes(image.source, fault);
    for (const VolumeKind kind : kinds) {
        std::optional<VolumeFault> kindFault;
        image.volume = OpenVolume(image.source, kind, kindFault);
        if (image.volume) {
            PreferTreeOfLargeFiles(image, kinds);
            return true;
        }
        if (!fault) fault = std::move(kindFault);
    }
    if (fault) ReportError(task, DescribeFault(texts, *fault));
    ReportError(task, texts.format(TextId::NoFileSystem, {path}));
    return false;
}

Text DescribeFault(const Texts& texts, const VolumeFault& fault) {
    Text line = texts.format(fault.text, {ToPrintable(fault.subject)});
    if (fault.systemError.failed()) line += FormatText(u" (%s)", {DescribeError(fault.systemError)});
    return line;
}

Text ToPrintable(TextView name) {
    Text printable(name);
    std::ranges::replace_if(
        printable, [](char16_t unit) { return unit < 0x20 || (unit >= 0x7F && unit < 0xA0); }, u'?');
    return printable;
}

Text NormalInnerPath(TextView path) {
    Text normal;
    for (std::size_t begin = 0; begin < path.size();) {
        const std::size_t end = std::min(path.find(u'/', begin), path.size());
        if (end > begin) normal.append(u"/").append(path.substr(begin, end - begin));
        begin = end + 1;
    }
    return normal.empty() ? Text(u"/") : normal;
}

}  // namespace tovlark
