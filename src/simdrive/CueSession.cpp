// Sessions that a cue sheet announces (MMC-6 6.34), and the writing of them.
#include <algorithm>

#include "simdrive/Drive.h"
#include "simdrive/Faults.h"

namespace tovlark {

namespace {

constexpr std::int32_t kPregap = static_cast<std::int32_t>(kPregapFrames);
constexpr std::uint8_t kLeadOut = 0xAA;

struct DataForm {
    std::uint8_t code, mode;
    std::uint16_t blockBytes;  // that the host sends; 0: made by the drive
};

// MMC-6 table 601: the main channel.
constexpr DataForm kDataForms[] = {{0x00, 0, 2352}, {0x01, 0, 0},    {0x10, 1, 2048}, {0x11, 1, 2352},
                                   {0x14, 1, 0},    {0x20, 2, 2336}, {0x21, 2, 2352}, {0x24, 2, 0},
                                   {0x30, 2, 2336}, {0x31, 2, 2352}, {0x34, 2, 0}};

// And the sub-channels, in the two bits above.
constexpr std::uint8_t kNoSubchannel = 0, kRawSubchannel = 1, kPackedSubchannel = 3;

struct CueSheet {
    std::vector<CueRegion> regions;
    std::array<char, 13> catalog{};
    std::array<std::array<char, 12>, 100> isrcs{};
    bool hasText = false;  // the host writes the lead-in's sub-channels
};

/// Catalogue numbers and ISRCs come in two entries each, one behind the other.
template <std::size_t Size>
bool TakeCode(std::span<const std::uint8_t> first, std::span<const std::uint8_t> second, std::array<char, Size>& code) {
    const auto isSign = [](char sign) { return (sign >= '0' && sign <= '9') || (sign >= 'A' && sign <= 'Z'); };
    if (code[0] != 0) return false;
    for (std::size_t at = 0; at < Size; ++at)
        code[at] = static_cast<char>(at < first.size() ? first[at] : second[at - first.size()]);
    return std::ranges::all_of(code, isSign);
}

/// One entry that begins a part of a track; false when it does not follow the one before it.
bool TakeRegion(std::span<const std::uint8_t> entry, CueSheet& sheet) {
    std::vector<CueRegion>& cues = sheet.regions;
    const std::uint8_t track = entry[1], index = entry[2], subchannel = entry[3] >> 6;
    const Msf time{entry[5], entry[6], entry[7]};
    const std::int32_t block = static_cast<std::int32_t>(ToLba(time));
    if (time.second > 59 || time.frame > 74 || (!cues.empty() && block <= cues.back().first)) return false;
    if (!cues.empty()) cues.back().end = block;
    if (track == kLeadOut) return !cues.empty() && cues.back().index > 0;
    const auto form = std::ranges::find(kDataForms, entry[3] & 0x3F, &DataForm::code);
    if (form == std::end(kDataForms) || subchannel > kRawSubchannel || track > 99 || index > 99) return false;
    const bool isNewTrack = cues.empty() || track != cues.back().track;
    if (isNewTrack && !cues.empty() && (track != cues.back().track + 1 || cues.back().index == 0)) return false;
    if (isNewTrack ? index > 1 : index != cues.back().index + 1) return false;
    cues.push_back({.track = track,
                    .index = index,
                    .control = static_cast<std::uint8_t>(entry[0] >> 4),
                    .mode = form->mode,
                    .blockBytes = form->blockBytes,
                    .hasSubchannel = subchannel == kRawSubchannel && form->blockBytes != 0,
                    .first = block,
                    .end = block});
    return true;
}

bool TakeLeadIn(std::span<const std::uint8_t> entry, CueSheet& sheet) {
    const auto form = std::ranges::find(kDataForms, entry[3] & 0x3F, &DataForm::code);
    const std::uint8_t subchannel = entry[3] >> 6;
    if (!sheet.regions.empty() || form == std::end(kDataForms) || form->blockBytes != 0) return false;
    sheet.hasText = subchannel == kRawSubchannel || subchannel == kPackedSubchannel;
    return sheet.hasText || subchannel == kNoSubchannel;
}

/// False when the sheet's entries do not follow one another as they must.
bool ParseCues(std::span<const std::uint8_t> bytes, CueSheet& sheet) {
    constexpr std::size_t kEntryBytes = 8;
    bool isEnded = false;
    for (; !bytes.empty(); bytes = bytes.subspan(kEntryBytes)) {
        const auto entry = bytes.first(kEntryBytes);
        const std::uint8_t kind = entry[0] & 15;
        if (isEnded) return false;
        if (kind == 2 || kind == 3) {
            if (bytes.size() < 2 * kEntryBytes) return false;
            const auto second = bytes.subspan(kEntryBytes, kEntryBytes);
            if ((second[0] & 15) != kind || (kind == 3 && (second[1] != entry[1] || entry[1] == 0 || entry[1] > 99)))
                return false;
            if (kind == 2 ? !TakeCode(entry.subspan(1), second.subspan(1), sheet.catalog)
                          : !TakeCode(entry.subspan(2), second.subspan(2), sheet.isrcs[entry[1]]))
                return false;
            bytes = bytes.subspan(kEntryBytes);
        } else if (kind != 1) {
            return false;
        } else if (entry[1] == 0) {
            if (!TakeLeadIn(entry, sheet)) return false;
        } else {
            if (!TakeRegion(entry, sheet)) return false;
            isEnded = entry[1] == kLeadOut;
        }
    }
    return isEnded;
}

/// The tracks that the sheet makes, none of them written yet; nothing when they do not fit the disc.
std::optional<std::vector<DiscTrack>> PlanTracks(const DiscState& state, const CueSheet& sheet) {
    const std::vector<CueRegion>& cues = sheet.regions;
    std::vector<DiscTrack> tracks;
    const DiscTrack& free = state.tracks.back();
    if (cues.front().track != free.number || cues.front().first != free.first - kPregap) return std::nullopt;
    if (cues.back().end > static_cast<std::int64_t>(state.blocks)) return std::nullopt;
    for (const CueRegion& cue : cues) {
        if (tracks.empty() || tracks.back().number != cue.track) {
            tracks.push_back({.number = cue.track, .session = free.session, .first = cue.first});
            tracks.back().isrc = sheet.isrcs[cue.track];
        }
        DiscTrack& track = tracks.back();
        if (cue.index == 1) {
            if (cue.blockBytes == 0 && cue.mode != 0) return std::nullopt;
            track.pregap = static_cast<std::uint32_t>(cue.first - track.first);
            track.first = track.next = cue.first;
            track.control = cue.control;
            track.mode = cue.mode;
            track.blockBytes = cue.blockBytes == 0 ? 2352 : cue.blockBytes;
            track.hasSubchannel = cue.hasSubchannel;
        }
        // A track's blocks are all of one kind.
        if (cue.index > 1 &&
            (cue.mode != track.mode || (cue.blockBytes != 0 && cue.hostBytes() != track.storedBytes())))
            return std::nullopt;
        if (cue.index > 1) track.indexes.push_back(static_cast<std::uint32_t>(cue.first - track.first));
        if (cue.index >= 1) track.size = static_cast<std::uint32_t>(cue.end - track.first);
        track.state = TrackState::Open;
    }
    if (tracks.front().pregap < kPregapFrames) return std::nullopt;
    return tracks;
}

/// Parts that the drive makes, and what ends the session.
Refusal AdvanceCue(SimDrive& drive) {
    for (const CueRegion& cue : drive.cues)
        if (cue.blockBytes == 0 && cue.track != 0 && cue.first == drive.cueNext) {
            WriteMade(drive, cue.first, static_cast<std::uint32_t>(cue.end - cue.first));
            drive.cueNext = cue.end;
        }
    if (drive.cueNext != drive.cues.back().end) return {};
    drive.cues.clear();
    WriteOn(drive, CloseTime(drive, true, /*hasLeadIn*/ true));
    DiscState& state = drive.state();
    if (drive.isTestWrite) return Flush(drive);
    for (DiscTrack& track : state.tracks) {
        track.next = track.first + static_cast<std::int32_t>(track.size);
        track.state = TrackState::Complete;
    }
    if (!drive.cueText.packs.empty()) state.cdText = drive.cueText.packs;
    CloseSession(state, !CurrentWriteParameters(drive).leavesOpen);
    return Keep(drive);
}

/// The part that has this block.
const CueRegion* RegionOf(const SimDrive& drive, std::int64_t block) {
    const auto region =
        std::ranges::find_if(drive.cues, [&](const CueRegion& cue) { return block >= cue.first && block < cue.end; });
    return region == drive.cues.end() ? nullptr : &*region;
}

Refusal StoreCueBlocks(SimDrive& drive, const CueRegion& region, std::int64_t block, std::span<const std::byte> bytes) {
    if (region.track == 0) {
        for (; !bytes.empty(); bytes = bytes.subspan(kSubchannelBytes))
            drive.cueText.add(bytes.first(kSubchannelBytes));
        return {};
    }
    const DiscTrack& track = drive.state().tracks[region.track - 1u];
    // A pre-gap of another kind than its track reads as zeros.
    if (drive.isTestWrite || region.hostBytes() != track.storedBytes()) return {};
    return drive.disc->write(track, static_cast<std::int32_t>(block), bytes).failed() ? kFileFailed : Refusal{};
}

}  // namespace

bool IsCueUnwritten(const SimDrive& drive) { return !drive.cues.empty() && drive.cueNext == drive.cues.front().first; }

Refusal SpoilDisc(SimDrive& drive) {
    drive.state().isFinal = true;
    return Keep(drive);
}

Refusal SendCueSheet(SimDrive& drive, Request& request) {
    if (IsCueUnwritten(drive)) DropWrite(drive);  // another sheet takes its place
    DiscState& state = drive.state();
    const std::uint32_t sheetBytes = request.be(6, 3);
    if (!state.rules->isCd() || state.rules->access == Access::Pressed || state.isFinal) return kUnsuitableFormat;
    const WriteParameters wanted = CurrentWriteParameters(drive);
    if (wanted.type != 2) return kSequence;
    if (!drive.cues.empty() || state.tracks.empty() || !IsInvisible(state.tracks.back())) return kSequence;
    if (state.tracks.size() > 1 && state.tracks[state.tracks.size() - 2].session > state.closedSessions)
        return kSequence;
    if (request.data.size() < sheetBytes) return kDataPhase;
    if (sheetBytes % 8 != 0 || sheetBytes == 0) return kInvalidField;
    std::vector<std::uint8_t> bytes(sheetBytes);
    for (std::size_t at = 0; at < bytes.size(); ++at) bytes[at] = request.dataAt(at);
    CueSheet sheet;
    if (!ParseCues(bytes, sheet)) return kInvalidParameter;
    const auto tracks = PlanTracks(state, sheet);
    if (!tracks) return kInvalidParameter;
    request.transferred = sheetBytes;
    const std::int32_t leadIn = LeadInStart(state), begin = sheet.regions.front().first;
    drive.beforeWrite = state;
    drive.isTestWrite = wanted.isTest;
    state.tracks.pop_back();
    state.tracks.insert(state.tracks.end(), tracks->begin(), tracks->end());
    if (sheet.catalog[0] != 0) state.catalog = sheet.catalog;
    drive.cues = std::move(sheet.regions);
    drive.cueText = {};
    drive.cueNext = begin;
    drive.motion.wantsLeadIn = !sheet.hasText;
    if (sheet.hasText) {
        drive.cues.insert(drive.cues.begin(), {.hasSubchannel = true, .first = leadIn, .end = begin});
        drive.cueNext = leadIn;
    }
    return AdvanceCue(drive);
}

Refusal WriteCueRegion(SimDrive& drive, Request& request, std::int32_t block, std::uint32_t count) {
    const CueRegion* region = RegionOf(drive, block);
    // The lead-in may be begun further in than it can: its end is what counts.
    const bool beginsLeadIn = region != nullptr && region->track == 0 && drive.cueNext == region->first;
    if (region == nullptr || region->hostBytes() == 0 || (block != drive.cueNext && !beginsLeadIn))
        return kWrongWriteAddress;
    const std::uint32_t blockBytes = region->hostBytes();
    if (count > request.data.size() / blockBytes) return kDataPhase;
    const std::int64_t end = std::int64_t{block} + count;
    // One command stays within one kind of blocks.
    for (std::int64_t at = block; at < end;) {
        const CueRegion* next = RegionOf(drive, at);
        if (next == nullptr || next->hostBytes() != blockBytes) return kEndOfTrack;
        at = next->end;
    }
    if (const Refusal refusal = AdmitWrite(drive, block, std::uint64_t{count} * blockBytes)) return refusal;
    if (const Refusal fault = WriteFault(drive, request, block, count)) return fault;
    if (IsCueUnwritten(drive) && !drive.isTestWrite) {
        const Refusal refusal = SpoilDisc(drive);
        drive.state().isFinal = false;  // while all goes well
        if (refusal) return refusal;
    }
    const bool losesPower = LosesPower(drive);
    const std::int64_t storedEnd = losesPower ? block + count / 2 : end;
    for (std::int64_t at = block; at < storedEnd;) {
        const CueRegion* part = RegionOf(drive, at);
        const std::int64_t partEnd = std::min<std::int64_t>(part->end, storedEnd);
        const auto bytes = request.data.subspan(static_cast<std::size_t>(at - block) * blockBytes,
                                                static_cast<std::size_t>(partEnd - at) * blockBytes);
        if (const Refusal refusal = StoreCueBlocks(drive, *part, at, bytes)) return refusal;
        at = partEnd;
    }
    if (losesPower) drive.losePower(drive.power);
    request.transferred = count * blockBytes;
    BookWrite(drive, {.first = block, .count = count, .bytes = request.transferred});
    drive.cueNext = static_cast<std::int32_t>(end);
    return AdvanceCue(drive);
}

}  // namespace tovlark
