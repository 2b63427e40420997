#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "authoring/SectorSink.h"
#include "base/Sectors.h"

namespace tovlark {

/// The bytes of an image on their way to a sink: gathers small pieces into large writes. After a failed write every
/// member returns at once.
class SectorStream {
public:
    explicit SectorStream(const SectorSink& sink);

    /// Bytes written so far, those still gathered included.
    std::uint64_t position() const { return (std::uint64_t{nextSector_} * kSectorSize) + used_; }
    bool failed() const { return hasFailed_; }

    void write(std::span<const std::byte> bytes);
    template <typename Structure>
    void writeStructure(const Structure& structure) {
        write(std::as_bytes(std::span(&structure, 1)));
    }
    void zeros(std::uint64_t count);
    /// Writes whole sectors from where they are; the position must be a sector's start.
    void writeSectors(std::span<const std::byte> sectors);
    void padToSector();

    /// Writes a range of a file, zeros from where it cannot be read on. Returns the bytes that came from the file;
    /// `readError` is the system's reason for fewer, success when the file just ended. The sink copies the whole
    /// sectors of a long range that begins at a sector's start, if it can.
    std::uint64_t writeFile(const FileRange& range, SystemError& readError);

    /// Hands on what is gathered; the position must be a sector's start.
    void flush();
    /// Says what became of a file.
    void report(const Text& words) {
        if (sink_.report != nullptr) sink_.report(sink_.self, words);
    }

private:
    /// Free room of the gathering buffer, never empty unless the stream failed.
    std::span<std::byte> room();
    void hand(std::span<const std::byte> sectors);
    std::uint64_t copyBySink(const FileRange& range);

    const SectorSink& sink_;
    std::vector<std::byte> buffer_;
    std::size_t used_ = 0;
    std::uint32_t nextSector_ = 0;  // of the sink
    bool hasFailed_ = false;
};

}  // namespace tovlark
