#include "readers/ByteSource.h"

namespace tovlark {

namespace {

SystemError ReadFileAt(void* self, std::uint64_t offset, std::span<std::byte> buffer, std::size_t& readCount) {
    return static_cast<const InputFile*>(self)->readAt(offset, buffer, readCount);
}

}  // namespace

ByteSource SourceOf(const InputFile& file, std::uint64_t sizeBytes) {
    return {const_cast<InputFile*>(&file), sizeBytes, ReadFileAt, &file};
}

}  // namespace tovlark
