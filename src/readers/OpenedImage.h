#pragma once

#include <memory>

#include "app/session/Task.h"
#include "readers/Volume.h"

namespace tovlark {

/// An image file and the richest of its trees that can be read; that of UDF where a file is too large for the others.
struct OpenedImage {
    InputFile file;
    ByteSource source{};
    std::unique_ptr<Volume> volume;

    OpenedImage() = default;
    OpenedImage(const OpenedImage&) = delete;  // the source refers to the file
};

/// False after an error line: the file cannot be opened, or none of its file systems can be read.
bool OpenImage(Task& task, const Text& path, OpenedImage& image);

/// The line that tells a fault.
Text DescribeFault(const Texts& texts, const VolumeFault& fault);

/// What a name of an image looks like on the console: control characters, which could pass for anything there, become
/// "?".
Text ToPrintable(TextView name);

/// "/a/b" of "a//b/": the way in which paths inside an image are shown.
Text NormalInnerPath(TextView path);

}  // namespace tovlark
