#pragma once

#include <cstdint>
#include <span>

#include "app/session/Task.h"
#include "base/Msf.h"
#include "optical/Drive.h"
#include "optical/MediaType.h"
#include "optical/Mmc.h"

namespace tovlark {

/// What people are told about a drive. Counts are of blocks of 2048 bytes.
struct DriveEntry {
    char16_t letter = 0;
    Text displayName;
    MediaType mediaType = MediaType::None;
    Text mediaName;
    Text summary;  // "Total 4482MB, Free 4482MB"; empty when the layout of the disc cannot be read
    std::uint32_t totalBlocks = 0, usedBlocks = 0, freeBlocks = 0;
};

enum class SummaryParts : std::uint8_t { MediaOnly, Everything };

/// Fills in what the drive says of the disc in it.
void ReadDiscSummary(const Texts& texts, DriveEntry& entry, Drive drive, SummaryParts parts);

/// What INQUIRY says of a drive (SPC-4 6.4.2), without the blanks around; empty when it does not answer.
struct DriveIdentity {
    Text vendor, product, revision;
};
DriveIdentity ReadDriveIdentity(Drive drive);

/// "(D:) LABEL", or vendor and product in the place of the label.
Text DriveDisplayName(const Texts& texts, Drive drive);

/// The words of one drive after the other in a list: "Disc:" and " [%s %s", ", %s" are put together of them.
Text DescribeDiscs(const Texts& texts, std::span<const DriveEntry> entries);

/// Asks where the drive will write next in a track, which is given by its number or, by `kind`, one of its blocks.
/// Reports and gives false when it does not know, when that is not where it is expected, or when too few blocks are
/// free.
[[nodiscard]] bool CheckNextWritableAddress(Task& task, Drive drive, std::uint32_t track, Lba expectedStart,
                                            std::uint32_t neededBlocks, TrackAddress kind = TrackAddress::Track);

/// The message about too few free blocks.
Text ReportShortage(const Texts& texts, std::uint32_t neededBlocks, std::uint32_t availableBlocks);

}  // namespace tovlark
