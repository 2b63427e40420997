#include "app/command/SourceImage.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/Files.h"

namespace tovlark {

namespace {

using namespace std::string_view_literals;

// ZIP APPNOTE 4.3.7 and 4.3.16 (an archive without files), 7-Zip format description, RAR technical note.
constexpr std::string_view kArchiveMarks[] = {"PK\3\4"sv, "PK\5\6"sv, "7z\xBC\xAF\x27\x1C"sv, "Rar!\x1A\x07"sv};
constexpr std::size_t kLongestMark = 8;

}  // namespace

bool CanOpenImage(Task& task, const Text& path, TextId cannotOpen) {
    InputFile file;
    const SystemError error = file.open(path);
    if (error.failed()) TellError(task, cannotOpen, {path, DescribeError(error)});
    // This one does not say why.
    if (error.failed() && cannotOpen == TextId::CannotOpenFile)
        TellError(task, TextId::CannotRead, {path, DescribeError(error)});
    return !error.failed();
}

bool IsPackedArchive(const Text& path) {
    InputFile file;
    std::array<std::byte, kLongestMark> head{};
    std::size_t readCount = 0;
    if (file.open(path).failed() || file.readAt(0, head, readCount).failed()) return false;
    return std::ranges::any_of(kArchiveMarks, [&](std::string_view mark) {
        return readCount >= mark.size() &&
               std::ranges::equal(std::as_bytes(std::span(mark)), std::span(head).first(mark.size()));
    });
}

bool IsFolder(const Text& path) {
    FileInfo info;
    return !GetTargetInfo(path, info).failed() && info.kind == FileKind::Folder;
}

}  // namespace tovlark
