#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "base/DiscLayout.h"

namespace tovlark {

/// Texts of an Audio CD: of the disc, and of its tracks from the first on.
struct CdTexts {
    DiscText disc;
    Text catalog;  // 13 digits, or what is none and is left out
    std::vector<DiscText> tracks;
    std::vector<Text> isrcs;  // one for each track, or none at all
};

/// The texts and codes of a layout.
CdTexts TextsOf(const DiscLayout& layout);

/// One pack as it stands in the lead-in, its check bytes included (MMC-6 annex on CD-Text).
using CdTextPack = std::array<std::uint8_t, 18>;

/// A text that could not be written as it is; `written` is empty when it is left out.
struct CdTextChange {
    Text original, written;
};

struct CdTextPacks {
    std::vector<CdTextPack> packs;  // empty: there is nothing to write
    std::vector<CdTextChange> changes;
};

/// The packs of one block in ISO 8859-1, language English. Characters that the set lacks are replaced by those that
/// stand for them; a text with others is left out. Codes alone make no pack. Nothing when there are more than 99 tracks
/// or more than 256 packs.
std::optional<CdTextPacks> BuildCdText(const CdTexts& texts);

/// The texts that packs of 18 bytes hold in their first block, in ISO 8859-1 or Shift-JIS, without the codes. Packs of
/// other blocks and texts of tracks beyond the 99th count for nothing; there are as many tracks as have a text.
CdTexts ReadCdText(std::span<const std::uint8_t> packs);

constexpr std::size_t kCdTextSectorBytes = 96;
/// Sub-channels R to W of a sector of the lead-in: four packs in symbols of six bits. The packs, of which there is at
/// least one, go round from sector to sector.
std::array<std::uint8_t, kCdTextSectorBytes> CdTextSector(std::span<const CdTextPack> packs, std::uint32_t sector);

}  // namespace tovlark
