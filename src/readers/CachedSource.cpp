#include "readers/CachedSource.h"

#include <algorithm>

namespace tovlark {

CachedSource::CachedSource(const ByteSource& source) : source_(source), bytes_(kLineBytes * kLineCount) {}

SystemError CachedSource::readAt(std::uint64_t offset, std::span<std::byte> buffer, std::size_t& readCount) {
    readCount = 0;
    while (readCount < buffer.size() && offset < source_.sizeBytes) {
        const std::uint64_t index = offset / kLineBytes;
        Line& line = lines_[index % kLineCount];
        const std::span<std::byte> bytes = std::span(bytes_).subspan(index % kLineCount * kLineBytes, kLineBytes);
        if (line.index != index) {
            line.index = std::numeric_limits<std::uint64_t>::max();
            if (source_.readAt(source_.self, index * kLineBytes, bytes, line.filledBytes).failed()) {
                // The line has a place that cannot be read: perhaps not the one that is wanted.
                std::size_t restCount = 0;
                const SystemError error = source_.readAt(source_.self, offset, buffer.subspan(readCount), restCount);
                readCount += restCount;
                return error;
            }
            line.index = index;
        }
        const std::size_t start = offset % kLineBytes;
        if (start >= line.filledBytes) break;
        const std::size_t count = std::min(buffer.size() - readCount, line.filledBytes - start);
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(start), count,
                    buffer.begin() + static_cast<std::ptrdiff_t>(readCount));
        readCount += count;
        offset += count;
    }
    return {};
}

}  // namespace tovlark
