#include "platform/Files.h"

#include <algorithm>
#include <vector>

#include "base/Format.h"
#include "platform/FileParts.h"
#include "platform/Paths.h"

namespace tovlark {

SystemError FollowLinks(Text& path) {
    constexpr int kMostLinks = 40;
    Text target;
    for (int count = 0;; ++count) {
        FileInfo info;
        const SystemError error = GetFileInfo(path, info);
        if (IsNotFound(error)) return {};
        if (error.failed() || info.kind != FileKind::SymbolicLink) return error;
        if (count == kMostLinks) return kTooManyLinks;
        if (const SystemError unreadable = ReadSymbolicLink(path, target); unreadable.failed()) return unreadable;
        path = IsAbsolutePath(target) ? target : JoinPath(FolderOf(path), target);
    }
}

Text TemporaryName(TextView finalName, std::uint32_t processId, std::uint32_t number) {
    constexpr std::size_t kLongestName = 255;  // bytes, as even a Windows share may count
    const Text end = FormatText(u".%u-%u.part", {processId, number});
    return Text(u".").append(CutName(finalName, kLongestName - 1 - end.size())).append(end);
}

SystemError CopyThroughMemory(const InputFile& source, std::uint64_t offset, std::uint64_t sizeBytes, NewFile& file,
                              std::uint64_t& copiedCount) {
    constexpr std::uint64_t kChunk = 1 << 20;
    std::vector<std::byte> buffer(static_cast<std::size_t>(std::min(sizeBytes, kChunk)));
    while (copiedCount < sizeBytes) {
        const std::size_t wanted = static_cast<std::size_t>(std::min(sizeBytes - copiedCount, kChunk));
        std::size_t count = 0;
        const std::span<std::byte> chunk = std::span(buffer).first(wanted);
        if (const SystemError error = source.readAt(offset + copiedCount, chunk, count); error.failed()) return error;
        if (const SystemError error = file.write(chunk.first(count)); error.failed()) return error;
        copiedCount += count;
        if (count < wanted) break;
    }
    return {};
}

SystemError ReadWholeFile(const Text& path, std::uint64_t limitBytes, std::string& bytes) {
    constexpr std::size_t kChunk = 1 << 16;
    InputFile file;
    if (const SystemError error = file.open(path); error.failed()) return error;
    bytes.clear();
    for (std::size_t count = kChunk; count == kChunk;) {
        const std::size_t start = bytes.size();
        bytes.resize(start + kChunk);
        const SystemError error = file.readAt(start, std::as_writable_bytes(std::span(bytes).subspan(start)), count);
        if (error.failed()) return error;
        bytes.resize(start + count);
        if (bytes.size() > limitBytes) return kFileTooLarge;
    }
    return {};
}

SystemError CreateFolders(const Text& path) {
    const SystemError error = CreateFolder(path);
    if (!error.failed() || !IsNotFound(error)) return error;
    const TextView above = FolderOf(path);
    if (above.empty() || above.size() >= path.size()) return error;
    if (const SystemError failed = CreateFolders(Text(above)); failed.failed()) return failed;
    return CreateFolder(path);
}

}  // namespace tovlark
