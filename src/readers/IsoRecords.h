#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "base/IsoBytes.h"
#include "base/Text.h"
#include "readers/CachedSource.h"

namespace tovlark {

/// Reads the directory records of a stretch of the source one after another (ECMA-119 6.8.1). What it hands out holds
/// until the next record.
class RecordReader {
public:
    RecordReader(CachedSource& cache, std::uint64_t offset, std::uint64_t sizeBytes)
        : cache_(cache), position_(offset), end_(offset + sizeBytes) {}

    /// Moves to the next record; false at the end and at what cannot be read (`isBroken`).
    bool next();
    /// Not all of the stretch was read: a wrong length, the end of the source, or `error`.
    bool isBroken() const { return isBroken_; }
    /// The stretch leads out of the source.
    bool isBeyondSource() const { return isBeyondSource_; }
    SystemError error() const { return error_; }

    const DirectoryRecordHead& head() const { return head_; }
    /// Where the record stands in the source.
    std::uint64_t offset() const { return recordOffset_; }
    std::span<const std::byte> name() const { return name_; }
    /// What follows the name and its padding.
    std::span<const std::byte> systemUse() const { return systemUse_; }
    /// The record of the folder itself, or of its parent.
    bool isSelf() const { return name_.size() == 1 && name_[0] == std::byte{0}; }
    bool isParent() const { return name_.size() == 1 && name_[0] == std::byte{1}; }

private:
    bool loadSector();
    bool broken();

    CachedSource& cache_;
    std::uint64_t position_, end_;
    std::uint64_t loadedOffset_ = 0, loadedEnd_ = 0;  // of what `sector_` holds
    std::uint64_t recordOffset_ = 0;
    std::uint32_t emptySectors_ = 0;
    bool isBroken_ = false, isBeyondSource_ = false;
    SystemError error_;
    DirectoryRecordHead head_;
    std::span<const std::byte> name_, systemUse_;
    std::array<std::byte, kSectorSize> sector_;
};

/// Big-endian UCS-2 or UTF-16; a byte too many at the end is left out.
Text FromUcs2(std::span<const std::byte> bytes);

}  // namespace tovlark
