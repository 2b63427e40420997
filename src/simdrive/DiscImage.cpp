// Images that count as pressed discs.
#include <algorithm>

#include "base/Sectors.h"
#include "image/CdText.h"
#include "image/CueSheet.h"
#include "platform/Paths.h"
#include "simdrive/Disc.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kMostCdBlocks = 449849;  // 99:59:74, less the first two seconds
constexpr std::uint32_t kMostDvdBlocks = 1 << 22, kMostBdBlocks = 1 << 26;
constexpr std::uint32_t kWesternCodePage = 1252;

std::uint8_t ModeOf(TrackType type) {
    if (type == TrackType::Audio) return 0;
    return IsMode2(type) ? 2 : 1;
}

std::uint8_t ControlOf(const TrackLayout& track) {
    return static_cast<std::uint8_t>((track.isAudio() ? 0 : 4) | (track.copyPermitted ? 2 : 0) |
                                     (track.preEmphasis ? 1 : 0) | (track.fourChannels ? 8 : 0));
}

/// Blocks of a track's data from its INDEX 01: to the next track of its file or that file's end.
std::uint64_t LengthOf(const DiscLayout& layout, std::size_t index) {
    const TrackLayout& track = layout.tracks[index];
    if (index + 1 < layout.tracks.size() && layout.tracks[index + 1].file == track.file) {
        const TrackLayout& after = layout.tracks[index + 1];
        const std::uint32_t end = after.pregapStart && !after.pregapInFileBefore ? *after.pregapStart : after.start;
        return end > track.start ? end - track.start : 0;
    }
    const DataFile& file = layout.files[track.file];
    const std::uint64_t end = file.dataOffset + file.dataBytes.value_or(0), begin = DataOffsetOf(layout, index);
    return end > begin ? (end - begin) / track.sectorSize : 0;
}

/// Block of INDEX 01 of a disc's first track.
std::uint32_t FirstBlockOf(const TrackLayout& track) {
    const FirstPregap pregap = FirstPregapOf(track);
    return pregap.silence + pregap.inFile;
}

template <std::size_t Size>
void PutCode(const Text& text, std::array<char, Size>& code) {
    std::ranges::transform(text, code.begin(), [](char16_t sign) { return static_cast<char>(sign); });
}

std::vector<std::uint8_t> CdTextOf(const DiscLayout& layout) {
    std::vector<std::uint8_t> bytes;
    if (const auto made = BuildCdText(TextsOf(layout)))
        for (const CdTextPack& pack : made->packs) bytes.insert(bytes.end(), pack.begin(), pack.end());
    return bytes;
}

}  // namespace

DiscFault Disc::openImage(const Text& path, SystemError& systemError, const MediumRules* pressed) {
    if (path.size() >= 4 && EqualsIgnoringCase(TextView(path).substr(path.size() - 4), u".cue"))
        return pressed == nullptr || pressed->isCd() ? openSheet(path, systemError) : DiscFault::NotPressed;
    Source source{{}, 0, false};
    FileInfo info;
    systemError = source.file.open(path);
    if (!systemError.failed()) systemError = source.file.examine(info);
    if (systemError.failed()) return DiscFault::System;
    const std::uint64_t blocks = info.sizeBytes / kSectorSize;
    if (info.sizeBytes % kSectorSize != 0 || blocks == 0 || blocks > kMostBdBlocks) return DiscFault::NotADisc;
    const Medium fitting = blocks <= kMostCdBlocks    ? Medium::CdRom
                           : blocks <= kMostDvdBlocks ? Medium::DvdRom
                                                      : Medium::BdRom;
    const MediumRules* rules = pressed != nullptr ? pressed : FindRules(fitting);
    const bool isTooLarge = (rules->isCd() && fitting != Medium::CdRom) ||
                            (rules->medium == Medium::DvdRom && fitting == Medium::BdRom) ||
                            (rules->medium == Medium::HdDvdRom && blocks > rules->blocks);
    if (isTooLarge) return DiscFault::NotPressed;
    state = BlankDisc(*rules, static_cast<std::uint32_t>(blocks));
    state.closedSessions = 1;
    state.tracks.push_back(
        {.state = TrackState::Complete, .size = state.blocks, .next = static_cast<std::int32_t>(blocks)});
    sources_.push_back(std::move(source));
    return DiscFault::None;
}

DiscFault Disc::openSheet(const Text& path, SystemError& systemError) {
    DiscLayout layout;
    if (const auto fault = ReadCueSheet(path, CodePage(kWesternCodePage), ShortPregaps::Keep, layout)) {
        systemError = fault->systemError;
        return systemError.failed() ? DiscFault::System : DiscFault::NotADisc;
    }
    state = BlankDisc(*FindRules(Medium::CdRom), 1);
    std::uint64_t position = 0;
    for (std::size_t index = 0; index < layout.tracks.size(); ++index) {
        const TrackLayout& track = layout.tracks[index];
        const DataFile& file = layout.files[track.file];
        if (file.kind == DataFileKind::Compressed) return DiscFault::NotADisc;
        if (track.sectorSize != 2048 && track.sectorSize != 2336 && track.sectorSize != 2352)
            return DiscFault::NotADisc;
        std::uint64_t pregap = index == 0 ? FirstBlockOf(track) : track.silenceBefore;
        if (index > 0 && track.pregapStart && !track.pregapInFileBefore && *track.pregapStart < track.start)
            pregap += track.start - *track.pregapStart;
        if (index > 0 && track.session != layout.tracks[index - 1].session)
            position += track.session == 1 ? 11400 : 6900;
        const std::uint64_t length = LengthOf(layout, index), first = position + pregap;
        if (length == 0 || first + length > kMostCdBlocks) return DiscFault::NotADisc;
        position = first + length;
        state.tracks.push_back({.number = static_cast<std::uint8_t>(index + 1),
                                .session = static_cast<std::uint8_t>(track.session + 1),
                                .state = TrackState::Complete,
                                .control = ControlOf(track),
                                .mode = ModeOf(track.type),
                                .blockBytes = track.sectorSize,
                                .pregap = static_cast<std::uint32_t>(pregap),
                                .first = static_cast<std::int32_t>(first),
                                .size = static_cast<std::uint32_t>(length),
                                .next = static_cast<std::int32_t>(position)});
        if (IsIsrc(track.isrc)) PutCode(track.isrc, state.tracks.back().isrc);
        for (const std::uint32_t start : track.furtherIndexes)
            if (start >= track.start && start - track.start < length)
                state.tracks.back().indexes.push_back(start - track.start);
        Source source{
            {}, DataOffsetOf(layout, index), file.kind == DataFileKind::BigEndian || file.kind == DataFileKind::Aiff};
        systemError = source.file.open(file.path);
        if (systemError.failed()) return DiscFault::System;
        sources_.push_back(std::move(source));
    }
    state.blocks = static_cast<std::uint32_t>(position);
    state.closedSessions = state.tracks.back().session;
    if (IsCatalogNumber(layout.catalog)) PutCode(layout.catalog, state.catalog);
    state.cdText = CdTextOf(layout);
    return DiscFault::None;
}

}  // namespace tovlark
