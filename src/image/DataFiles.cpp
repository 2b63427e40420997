#include "image/DataFiles.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

#include "base/Stored.h"
#include "platform/Files.h"
#include "platform/Paths.h"

namespace tovlark {

namespace {

using ChunkName = std::array<char, 4>;

/// RIFF counts little-endian, IFF big-endian; else they are built alike: a name, the size of what follows, padded to
/// even.
template <typename Integer>
struct ChunkHead {
    ChunkName name;
    Integer sizeBytes;
};

struct Container {
    std::string_view form, kind, samples;
    std::uint64_t samplesOffset;  // from the start of the chunk's content
};

constexpr Container kWave{"RIFF", "WAVE", "data", 0};
constexpr Container kAiff{"FORM", "AIFF", "SSND", 8};
constexpr std::uint64_t kMostChunks = 1000;

bool Is(const ChunkName& name, std::string_view expected) { return std::ranges::equal(name, expected); }

template <typename Value>
bool ReadValue(const InputFile& file, std::uint64_t offset, Value& value) {
    std::size_t readCount = 0;
    return !file.readAt(offset, std::as_writable_bytes(std::span(&value, 1)), readCount).failed() &&
           readCount == sizeof value;
}

/// Sets where the samples lie; false when the file is no such container. A size that runs past the end of the file is
/// cut: programs that stream leave it at zero or all ones.
template <typename Integer>
bool FindSamples(const InputFile& input, std::uint64_t fileBytes, const Container& container, DataFile& file) {
    ChunkHead<Integer> head;
    ChunkName kind;
    if (!ReadValue(input, 0, head) || !Is(head.name, container.form) || !ReadValue(input, sizeof head, kind) ||
        !Is(kind, container.kind))
        return false;
    std::uint64_t offset = sizeof head + sizeof kind;
    for (std::uint64_t count = 0; count < kMostChunks && ReadValue(input, offset, head); ++count) {
        offset += sizeof head;
        if (Is(head.name, container.samples)) {
            file.dataOffset = std::min(offset + container.samplesOffset, fileBytes);
            const std::uint64_t rest = fileBytes - file.dataOffset;
            const std::uint64_t said =
                head.sizeBytes < container.samplesOffset ? 0 : head.sizeBytes - container.samplesOffset;
            file.dataBytes = said == 0 ? rest : std::min(said, rest);
            return true;
        }
        offset += std::uint64_t{head.sizeBytes} + head.sizeBytes % 2;
    }
    return false;
}

}  // namespace

Text LocatePath(const Text& folder, const Text& name) {
    FileInfo info;
    const bool isFull = IsAbsolutePath(name);
    if (isFull && !GetTargetInfo(name, info).failed()) return name;
    const bool hasDrive = name.size() > 1 && name[1] == u':';
    Text local = isFull || hasDrive ? name.substr(name.find_last_of(u"\\/:") + 1) : name;
    std::ranges::replace(local, u'\\', kPathSeparator);
    return JoinPath(folder, local);
}

void MeasureDataFile(DataFile& file) {
    InputFile input;
    FileInfo info;
    if (input.open(file.path).failed() || input.examine(info).failed() || info.kind != FileKind::Regular) return;
    if (file.kind == DataFileKind::Binary || file.kind == DataFileKind::BigEndian) {
        file.dataBytes = info.sizeBytes;
    } else if (FindSamples<Little32>(input, info.sizeBytes, kWave, file)) {
        file.kind = DataFileKind::Wave;
    } else if (FindSamples<Big32>(input, info.sizeBytes, kAiff, file)) {
        file.kind = DataFileKind::Aiff;
    } else {
        file.kind = DataFileKind::Compressed;
    }
}

}  // namespace tovlark
