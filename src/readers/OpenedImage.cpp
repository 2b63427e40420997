#include "readers/OpenedImage.h"

#include <algorithm>

namespace tovlark {

bool OpenImage(Task& task, const Text& path, OpenedImage& image) {
    const Texts& texts = task.session.texts();
    FileInfo info;
    SystemError error = image.file.open(path);
    if (!error.failed()) error = image.file.examine(info);
    if (error.failed()) {
        ReportError(task, texts.format(TextId::CannotOpenImage, {path, DescribeError(error)}));
        return false;
    }
    image.source = SourceOf(image.file, info.sizeBytes);
    std::optional<VolumeFault> fault;
    for (const VolumeKind kind : FindVolumes(image.source, fault)) {
        std::optional<VolumeFault> kindFault;
        image.volume = OpenVolume(image.source, kind, kindFault);
        if (image.volume) return true;
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
