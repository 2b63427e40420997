#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "burn/CdCueSheet.h"
#include "burn/DiscBurn.h"
#include "image/CdText.h"

namespace tovlark {

/// What goes onto a CD. The source of the burn begins with block 0, behind the first 150 sectors of the first track's
/// pre-gap; those are made here.
struct CdContent {
    CdSession session;
    CdTexts texts;  // without tracks: no CD-Text
};

/// One track of data sectors.
CdContent OneDataTrack(std::uint32_t sectors);

/// Fills the last track up to the blocks that are written in whole chunks, and to the shortest track that there is.
void PadLastTrack(DiscBurn& burn, CdSession& session);

/// Sectors of the source that tracks begin with, the pre-gaps of all but the first included.
std::vector<std::uint32_t> TrackStarts(const CdSession& session);

/// What is pressed into the groove of a CD-R or CD-RW (MMC-6 6.25.3.6).
struct Atip {
    Lba leadIn{0};   // begins here
    Lba leadOut{0};  // begins here at the latest
};
/// Nothing when the drive does not tell.
std::optional<Atip> ReadAtip(Drive drive);

/// Makes a blank CD ready for block 0: the cue sheet is sent, CD-Text and the first pre-gap are written. False after a
/// message.
[[nodiscard]] bool PrepareCd(DiscBurn& burn, CdContent& content);

}  // namespace tovlark
