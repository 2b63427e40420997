#include "readers/CachedSource.h"

#include <algorithm>

namespace tovlark {

SystemError CachedSource::readAt(std::uint64_t offset, std::span<std::byte> buffer, std::size_t& readCount) {
    readCount = 0;
    while (readCount < buffer.size() && offset < source_.sizeBytes) {
        const std::uint64_t index = offset / kLineBytes;
        Line& line = lines_[index % kLineCount];
        if (line.index != index) {
            std::size_t filledCount = 0;
            line.index = std::numeric_limits<std::uint64_t>::max();
            line.bytes.resize(kLineBytes);
            if (source_.readAt(source_.self, index * kLineBytes, line.bytes, filledCount).failed()) {
                // The line has a place that cannot be read: perhaps not the one that is wanted.
                std::size_t restCount = 0;
                const SystemError error = source_.readAt(source_.self, offset, buffer.subspan(readCount), restCount);
                readCount += restCount;
                return error;
            }
            line.bytes.resize(filledCount);
            line.index = index;
        }
        const std::size_t start = offset % kLineBytes;
        if (start >= line.bytes.size()) break;
        const std::size_t count = std::min(buffer.size() - readCount, line.bytes.size() - start);
        std::copy_n(line.bytes.begin() + static_cast<std::ptrdiff_t>(start), count,
                    buffer.begin() + static_cast<std::ptrdiff_t>(readCount));
        readCount += count;
        offset += count;
    }
    return {};
}

}  // namespace tovlark
