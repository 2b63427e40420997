#pragma once

#include "simdrive/Drive.h"

namespace tovlark {

/// Blocks that a BD of so many sets apart as spare when nothing else is asked for, at least and at most: the shares of
/// a disc of 25 GB (12288, 4096 and 200704 of 381856 clusters).
std::uint32_t DefaultSpare(std::uint32_t blocks);
std::uint32_t LeastSpare(std::uint32_t blocks);
std::uint32_t MostSpare(std::uint32_t blocks);

/// Makes the state that of a disc without data, formatted to so many blocks.
void ApplyBdFormat(DiscState& state, std::uint32_t userBlocks);

/// FORMAT UNIT of a BD (MMC-6 6.5, types 00h, 30h to 32h): BD-RE with or without spare areas, BD-R once and while it
/// is blank, which makes it one of the three recording modes.
struct BdFormat {
    std::uint8_t type;
    unsigned subtype;
    std::uint32_t blocks;  // 0xFFFFFFFF: as many as there can be
    bool immed;
};
Refusal FormatBd(SimDrive& drive, const BdFormat& format);
Refusal BdFormatCapacities(SimDrive& drive, Request& request);

/// READ DISC STRUCTURE of a BD: disc information, cartridge status, spare areas, the list of formats.
Refusal BdDiscStructure(SimDrive& drive, Request& request);

/// True when each cluster is read again after it was written: spare areas are there and the host does not stream.
bool VerifiesWrites(const SimDrive& drive, const Request& request);

/// The part of a BD that was set apart as spare, and what of it is left when every cluster with a planted write error
/// below `end` was replaced; less than none when they do not do. In clusters.
std::int64_t SpareClusters(const DiscState& state);
std::int64_t FreeSpares(const SimDrive& drive, std::int64_t end);

/// Writes blocks of a BD-R in random recording mode, where each cluster takes data once: the rest of one that was begun
/// only right behind them, and not any more once the cache was emptied (MMC-5 5.3.15).
Refusal WriteOnce(SimDrive& drive, Request& request, std::int32_t block, std::uint32_t count);

/// Writes blocks that are recorded on a disc with pseudo-overwrite. The new ones take the place of the next ones of
/// the last open track, whose next writable address moves on by whole clusters.
Refusal WritePseudo(SimDrive& drive, Request& request, std::int32_t block, std::uint32_t count);

}  // namespace tovlark
