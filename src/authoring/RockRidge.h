#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "authoring/Compilation.h"
#include "base/Clock.h"

namespace tovlark {

/// The POSIX mode that a node is recorded with, the bits of its kind included; `isRational`: readable by all, written
/// by none.
std::uint32_t PosixModeOf(const CompilationNode& node, bool isRational);

/// Which record of a folder: ".", "..", or a child's.
enum class RecordRole : std::uint8_t { Self, Parent, Child };

/// The system-use entries of one directory record (SUSP 1.10, RRIP 1.10 "RRIP_1991A"), built anew for each record in
/// reused memory. What does not fit into the record goes on in the continuation area: one stream of bytes for the
/// whole image, filled record after record; no continuation crosses a sector.
class SystemUse {
public:
    /// A record needs room for the pointer to the continuation area at least.
    static constexpr std::size_t kLeastSpace = 28;

    SystemUse(const ImageBuildContext& context, const Clock& clock) : context_(context), clock_(clock) {}

    /// Builds the entries of a node's record. `subfolderCount` counts for folders. `space`: bytes that the record has
    /// left, `kLeastSpace` or more. `areaSector`: first sector of the continuation area, 0 while it is not known.
    /// `areaOffset`: bytes of that area that are taken.
    void build(const CompilationNode& node, RecordRole role, std::uint32_t subfolderCount, std::size_t space,
               std::uint32_t areaSector, std::uint64_t areaOffset);

    /// The bytes that stand in the record itself, and those that go to the continuation area.
    std::span<const std::byte> recordBytes() const { return std::span(bytes_).first(recordSize_); }
    std::span<const std::byte> areaBytes() const { return std::span(bytes_).subspan(recordSize_); }

private:
    template <typename Structure>
    void add(const Structure& structure);
    void addBytes(std::string_view bytes);
    void addName(TextView longName);
    void addLink(TextView target);
    void addPosix(const CompilationNode& node, std::uint32_t subfolderCount);
    void distribute(std::size_t space, std::uint32_t areaSector, std::uint64_t areaOffset);

    const ImageBuildContext& context_;
    const Clock& clock_;
    std::vector<std::byte> entries_;  // in order, undivided
    std::vector<std::byte> bytes_;    // the record's part, then the area's
    std::size_t recordSize_ = 0;
};

}  // namespace tovlark
