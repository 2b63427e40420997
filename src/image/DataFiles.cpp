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

/// What a chunk that describes samples begins with.
using Description = std::array<std::uint8_t, 16>;

struct Container {
    std::string_view form, kind, description, samples;
    std::uint64_t samplesOffset;                      // from the start of the chunk's content
    bool (*isCdAudio)(const Description& described);  // 44.1 kHz, 16 bits, stereo (IEC 60908), not packed
};

bool IsCdWave(const Description& of) {
    const bool isPcm = (of[0] == 1 && of[1] == 0) || (of[0] == 0xFE && of[1] == 0xFF);  // plain or extensible
    return isPcm && of[2] == 2 && of[3] == 0 && of[4] == 0x44 && of[5] == 0xAC && of[6] == 0 && of[7] == 0 &&
           of[14] == 16 && of[15] == 0;
}

/// The rate is an 80-bit float there.
bool IsCdAiff(const Description& of) {
    return of[0] == 0 && of[1] == 2 && of[6] == 0 && of[7] == 16 && of[8] == 0x40 && of[9] == 0x0E && of[10] == 0xAC &&
           of[11] == 0x44 && of[12] == 0 && of[13] == 0;
}

constexpr Container kWave{"RIFF", "WAVE", "fmt ", "data", 0, IsCdWave};
constexpr Container kAiff{"FORM", "AIFF", "COMM", "SSND", 8, IsCdAiff};
constexpr std::uint64_t kMostChunks = 1000;

bool Is(const ChunkName& name, std::string_view expected) { return std::ranges::equal(name, expected); }

template <typename Value>
bool ReadValue(const InputFile& file, std::uint64_t offset, Value& value) {
    std::size_t readCount = 0;
    return !file.readAt(offset, std::as_writable_bytes(std::span(&value, 1)), readCount).failed() &&
           readCount == sizeof value;
}

/// Sets where the samples lie; false when the file is no such container, or its samples are none of a CD. A size that
/// runs past the end of the file is cut: programs that stream leave it at zero or all ones.
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
        Description description;
        if (Is(head.name, container.description) &&
            !(ReadValue(input, offset, description) && container.isCdAudio(description)))
            return false;
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
