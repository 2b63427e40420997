// What shapes a disc: tracks, sessions, cue sheets, blanking and formatting.
#include <algorithm>

#include "simdrive/BluRay.h"
#include "simdrive/Drive.h"

namespace tovlark {

namespace {

constexpr std::int32_t kCdPregap = 150, kRunOut = 2;
constexpr std::uint32_t kLeastCdTrack = 300;  // 4 s; the drive fills up what is shorter

std::uint32_t RoundUp(std::uint32_t blocks, std::uint32_t multiple) {
    return (blocks + multiple - 1) / multiple * multiple;
}

std::uint64_t QuickTime(const SimDrive& drive) { return TimesOf(drive.rules()).quickErase * kMillisecond; }
std::uint64_t CloseTrackTime(const SimDrive& drive) { return TimesOf(drive.rules()).closeTrack * kMillisecond; }

bool IsTest(const SimDrive& drive) { return drive.rules().writeTypes != 0 && CurrentWriteParameters(drive).isTest; }

std::int64_t EndOf(const DiscTrack& track) { return std::int64_t{track.first} + track.size; }

/// The kinds of blanking that take only the last part of a disc (MMC-6 6.2.2.5).
Refusal EraseLast(DiscState& state, std::uint8_t type, std::uint32_t number) {
    constexpr std::uint8_t kUnreserve = 3, kUnclose = 5;
    std::vector<DiscTrack>& tracks = state.tracks;
    const std::uint32_t pregap = state.rules->isCd() ? kCdPregap : 0;
    if (!tracks.empty() && IsInvisible(tracks.back())) tracks.pop_back();
    if (tracks.empty()) return kSequence;
    const DiscTrack last = tracks.back();
    if (type == kUnreserve) {
        if (number != last.number) return kInvalidField;
        if (!last.isReserved || last.state != TrackState::Blank) return kSequence;
        tracks.pop_back();
        AppendInvisible(state, last.session, last.first, last.pregap);
        return {};
    }
    if (type == kUnclose) {
        // Disc-at-once has no border that could be opened.
        if (last.session > state.closedSessions || (!state.rules->isCd() && !last.isIncremental)) return kSequence;
        state.closedSessions = static_cast<std::uint8_t>(last.session - 1);
        state.isFinal = false;
        AppendInvisible(state, last.session, EndOf(last) + pregap, pregap);
        return {};
    }
    const auto first = std::ranges::find(tracks, last.session, &DiscTrack::session);
    const DiscTrack begin = *first;
    tracks.erase(first, tracks.end());
    state.closedSessions = static_cast<std::uint8_t>(last.session - 1);
    state.isFinal = false;
    if (last.session == 1) {
        const std::uint16_t cycles = state.eraseCycles;
        state = BlankDisc(*state.rules, state.blocks);
        state.eraseCycles = cycles;
    } else {
        AppendInvisible(state, last.session, begin.first, pregap);
    }
    return {};
}

void FormatFully(DiscState& state) {
    state.formattedBlocks = state.blocks;
    state.closedSessions = 1;
    state.tracks = {
        {.state = TrackState::Complete, .size = state.blocks, .next = static_cast<std::int32_t>(state.blocks)}};
}

/// FORMAT UNIT of DVD+RW: the disc can be written soon, the rest is done beside it.
Refusal FormatPlus(SimDrive& drive, bool isRestart, bool immed) {
    DiscState& state = drive.state();
    if (isRestart) {
        if (state.background != BackgroundFormat::Stopped) return kInvalidParameter;
    } else {
        if (const Refusal refusal = Wear(drive)) return refusal;
        DiscState fresh = BlankDisc(*state.rules, state.blocks);
        fresh.eraseCycles = state.eraseCycles;
        FormatFully(fresh);
        if (const Refusal refusal = StartOver(drive, std::move(fresh))) return refusal;
    }
    drive.state().background = BackgroundFormat::Running;
    Occupy(drive, kFormatRunning, isRestart ? CloseTrackTime(drive) : QuickTime(drive), immed);
    drive.backgroundSince = drive.nanoseconds();
    AdvanceBackground(drive);
    return Keep(drive);
}

/// FORMAT UNIT of DVD-RAM and its like: their size is none of the host's choice.
Refusal FormatRam(SimDrive& drive, const Request& request, bool immed) {
    DiscState& state = drive.state();
    const bool hasWholeList = (request.cdb[1] & 8) != 0, isUncertified = (request.dataAt(1) & 0x20) != 0;
    // Without certification and with the defects that are known, the fields do not matter.
    const bool keepsSize = !hasWholeList && isUncertified;
    if (!keepsSize && (request.dataBe(4, 4) != state.blocks || request.dataBe(9, 3) != 2048)) return kInvalidParameter;
    if (const Refusal refusal = Wear(drive)) return refusal;
    DiscState fresh = BlankDisc(*state.rules, state.blocks);
    fresh.eraseCycles = state.eraseCycles;
    FormatFully(fresh);
    if (const Refusal refusal = StartOver(drive, std::move(fresh))) return refusal;
    Occupy(drive, kFormatRunning, isUncertified ? QuickTime(drive) : CertifyTime(drive), immed);
    return {};
}

/// FORMAT UNIT of DVD-RW: from either recording mode to restricted overwrite.
Refusal FormatRigid(SimDrive& drive, std::uint8_t type, std::uint32_t blocks, bool immed) {
    DiscState& state = drive.state();
    if (type == 0x13) {
        if (state.rules->access != Access::Rigid || state.tracks.empty()) return kInvalidParameter;
        DiscTrack& track = state.tracks[0];
        if (track.state != TrackState::Complete) return kSequence;  // an intermediate border is closed first
        if (track.size == state.blocks || blocks > state.blocks - track.size) return kInvalidParameter;
        track.size += blocks;
        track.state = TrackState::Open;
        state.closedSessions = 0;
        Occupy(drive, kFormatRunning, QuickTime(drive), immed);
        return Keep(drive);
    }
    if (const Refusal refusal = Wear(drive)) return refusal;
    DiscState fresh = BlankDisc(*FindRules(Medium::DvdRwOverwrite), state.blocks);
    fresh.eraseCycles = state.eraseCycles;
    FormatFully(fresh);
    if (type == 0x15) {
        fresh.formattedBlocks = blocks;
        fresh.closedSessions = 0;
        fresh.tracks = {{.size = blocks}};
    }
    if (const Refusal refusal = StartOver(drive, std::move(fresh))) return refusal;
    Occupy(drive, kFormatRunning, type == 0x15 ? QuickTime(drive) : WholeDiscTime(drive), immed);
    return {};
}

}  // namespace

Refusal Wear(SimDrive& drive) {
    constexpr Refusal kEraseFailure{3, 0x51, 0x00};
    if (drive.state().eraseCycles == 0) return kEraseFailure;
    --drive.state().eraseCycles;
    return {};
}

Refusal StartOver(SimDrive& drive, DiscState state) {
    if (state.rules != &drive.rules()) drive.hasFeatureEvent = true;
    drive.disc->state = std::move(state);
    drive.cues.clear();
    drive.isTestWrite = false;
    drive.begunCluster.reset();
    drive.motion.hasLostStream = false;
    if (const Refusal refusal = Keep(drive)) return refusal;
    ChooseWriteType(drive);
    return drive.disc->clear().failed() ? kFileFailed : Refusal{};
}

void AppendInvisible(DiscState& state, std::uint8_t session, std::int64_t first, std::uint32_t pregap) {
    constexpr std::size_t kMostCdTracks = 99, kMostTracks = 153;
    if (first >= state.capacity() || state.tracks.size() >= (state.rules->isCd() ? kMostCdTracks : kMostTracks)) return;
    state.tracks.push_back({.number = static_cast<std::uint8_t>(state.tracks.size() + 1),
                            .session = session,
                            .pregap = pregap,
                            .first = static_cast<std::int32_t>(first),
                            .size = state.capacity() - static_cast<std::uint32_t>(first),
                            .next = static_cast<std::int32_t>(first)});
}

bool IsInvisible(const DiscTrack& track) { return track.state == TrackState::Blank && !track.isReserved; }

void CloseTrack(DiscState& state, DiscTrack& track) {
    if (track.state == TrackState::Complete || IsInvisible(track)) return;
    const MediumRules& rules = *state.rules;
    const bool isLast = &track == &state.tracks.back();
    if (!track.isReserved) {
        std::uint32_t size = RoundUp(static_cast<std::uint32_t>(track.next - track.first), rules.eccBlocks);
        if (rules.isCd()) size = std::max(size, kLeastCdTrack);
        if (rules.isCd() && !track.isAudio()) {
            size += kRunOut;
            track.hasRunOut = true;
        }
        track.size = std::min(size, state.capacity() - static_cast<std::uint32_t>(track.first));
    }
    track.next = static_cast<std::int32_t>(EndOf(track));
    track.state = TrackState::Complete;
    track.isReserved = false;
    const std::uint32_t pregap = rules.isCd() ? kCdPregap : 0;
    const std::uint8_t session = track.session;
    const std::int64_t end = EndOf(track);
    if (isLast) AppendInvisible(state, session, end + pregap, pregap);  // moves the tracks
}

void CloseSession(DiscState& state, bool isFinal) {
    for (std::size_t index = state.tracks.size(); index-- > 0;) CloseTrack(state, state.tracks[index]);
    if (!state.tracks.empty() && IsInvisible(state.tracks.back())) state.tracks.pop_back();
    if (state.tracks.empty()) return;
    const DiscTrack last = state.tracks.back();
    const std::uint32_t gap = last.session == 1 ? state.rules->firstSessionGap : state.rules->furtherSessionGap;
    state.closedSessions = last.session;
    state.isFinal = isFinal;
    if (!isFinal)
        AppendInvisible(state, static_cast<std::uint8_t>(last.session + 1), EndOf(last) + gap,
                        state.rules->isCd() ? kCdPregap : 0);
    if (state.tracks.back().session == last.session) state.isFinal = true;
}

void BeginTest(SimDrive& drive) {
    if (drive.isTestWrite) return;
    drive.beforeWrite = drive.state();
    drive.isTestWrite = true;
}

void DropWrite(SimDrive& drive) {
    drive.state() = drive.beforeWrite;
    drive.cues.clear();
    drive.isTestWrite = false;
    drive.motion.wantsLeadIn = false;
}

namespace {

/// Whether a DVD's track that is open was begun as disc-at-once, whatever the write parameters say since.
bool IsAtOnce(const DiscState& state, const DiscTrack& track) {
    return state.rules->writeTypes != 0 && !state.rules->isCd() && !track.isIncremental;
}

/// What the drive adds of its own when the host has nothing more to write.
std::uint64_t FlushTime(const SimDrive& drive) {
    const DiscState& state = drive.disc->state;
    const auto open = std::ranges::find(state.tracks, TrackState::Open, &DiscTrack::state);
    if (open == state.tracks.end() || !drive.cues.empty() || state.rules->access != Access::Sequential) return 0;
    if (IsAtOnce(state, *open)) return CloseTime(drive, !CurrentWriteParameters(drive).leavesOpen, /*hasLeadIn*/ true);
    return state.rules->isCd() ? CloseTrackTime(drive) : 0;
}

}  // namespace

Refusal Flush(SimDrive& drive) {
    DiscState& state = drive.state();
    WriteOn(drive, FlushTime(drive));
    drive.begunCluster.reset();
    drive.motion.hasLostStream = false;
    if (!drive.cues.empty() && !drive.isTestWrite && !IsCueUnwritten(drive)) {
        drive.cues.clear();
        return SpoilDisc(drive);
    }
    if (!drive.cues.empty() || drive.isTestWrite) {
        DropWrite(drive);
        return {};
    }
    if (state.rules->access == Access::Sequential) {
        bool isAtOnce = false;
        for (std::size_t index = state.tracks.size(); index-- > 0;) {
            DiscTrack& track = state.tracks[index];
            if (track.state != TrackState::Open) continue;
            isAtOnce = IsAtOnce(state, track);
            const auto full = RoundUp(static_cast<std::uint32_t>(track.next - track.first), state.rules->eccBlocks);
            track.next = track.first + static_cast<std::int32_t>(std::min(full, track.size));
            if (state.rules->isCd()) CloseTrack(state, track);
        }
        if (isAtOnce) {
            state.tracks.resize(1);
            CloseSession(state, !CurrentWriteParameters(drive).leavesOpen);
        }
    }
    return Keep(drive);
}

void AdvanceBackground(SimDrive& drive) {
    DiscState& state = drive.state();
    constexpr std::uint32_t kPiece = 4096;
    if (state.background != BackgroundFormat::Running) return;
    // Formatting stands back behind what the host writes.
    const std::uint64_t now = drive.nanoseconds(),
                        since = std::min(now, std::max(drive.backgroundSince, drive.motion.writtenUntil));
    std::uint64_t left = now - since;
    const std::uint32_t before = state.backgroundBlocks;
    if (!drive.isRealTime) state.backgroundBlocks = state.blocks;
    while (left > 0 && state.backgroundBlocks < state.blocks) {
        const std::uint32_t piece = std::min(kPiece, state.blocks - state.backgroundBlocks);
        const std::uint64_t takes = WriteTime(drive, state.backgroundBlocks, piece), spent = std::min(left, takes);
        state.backgroundBlocks += static_cast<std::uint32_t>(piece * spent / takes);
        left -= spent;
        if (spent < takes) break;
    }
    if (before != state.backgroundBlocks) drive.backgroundSince = now;
    if (state.backgroundBlocks < state.blocks) return;
    state.background = BackgroundFormat::Complete;
    constexpr std::uint8_t kFormatCompleted = 5;
    if (drive.mediaEvent == 0) drive.mediaEvent = kFormatCompleted;
}

Refusal ReserveTrack(SimDrive& drive, Request& request) {
    DiscState& state = drive.state();
    if (state.rules->access != Access::Sequential) return kUnsuitableFormat;
    if (state.isFinal || state.tracks.empty() || !IsInvisible(state.tracks.back())) return kSequence;
    if ((request.cdb[1] & 3) != 0 || !drive.cues.empty()) return kInvalidField;  // by address, or until it is full
    const std::uint32_t wanted = request.be(5, 4);
    DiscTrack& track = state.tracks.back();
    if (wanted == 0 || wanted > track.size) return kInvalidField;
    if (IsTest(drive)) BeginTest(drive);
    track.size = std::min(RoundUp(wanted, state.rules->eccBlocks), track.size);
    track.isReserved = true;
    const std::uint32_t pregap = state.rules->isCd() ? kCdPregap : 0;
    const std::uint8_t session = track.session;
    AppendInvisible(state, session, EndOf(track) + pregap, pregap);
    return Keep(drive);
}

Refusal SendOpc(SimDrive& drive, Request& request) {
    if (drive.rules().access == Access::Pressed) return kUnsuitableFormat;
    if ((request.cdb[1] & 1) == 0) return kInvalidField;  // values of the host
    Occupy(drive, kOperationRunning, TimesOf(drive.rules()).calibrate * kMillisecond, false);
    drive.motion.isSpinning = drive.motion.isCalibrated = true;
    return {};
}

namespace {

/// Why a session cannot be closed yet: CDs and the DVDs that know the write parameters want every track closed before;
/// a reserved one that was not written at all keeps open those of the others too.
Refusal FindIncomplete(const DiscState& state, std::uint8_t session) {
    constexpr Refusal kReservedIncomplete{5, 0x72, 0x04};
    const bool wantsAll = state.rules->writeTypes != 0 && state.rules->access == Access::Sequential;
    for (const DiscTrack& track : state.tracks) {
        if (track.session != session || track.state == TrackState::Complete || IsInvisible(track)) continue;
        if (track.isReserved && wantsAll && !state.rules->isCd()) return kReservedIncomplete;
        if (wantsAll || track.state == TrackState::Blank) return kSessionIncomplete;
    }
    return {};
}

}  // namespace

Refusal CloseTrackSession(SimDrive& drive, Request& request) {
    DiscState& state = drive.state();
    const std::uint8_t function = request.cdb[2] & 7;
    const std::uint32_t number = request.be(4, 2);
    const bool immed = (request.cdb[1] & 1) != 0;
    if (state.rules->access == Access::Pressed) return kUnsuitableFormat;
    if (!state.rules->takes(state.rules->closeTypes, function)) return kInvalidField;
    if (!drive.cues.empty()) return kSequence;
    if (state.rules->isRandomBdR()) {
        state.isFinal = true;
        Occupy(drive, kOperationRunning, CloseTime(drive, true, true), immed);
        return Keep(drive);
    }
    if (state.rules->access == Access::Overwrite) {
        AdvanceBackground(drive);
        if (state.background == BackgroundFormat::Running) {
            state.background = BackgroundFormat::Stopped;
            Occupy(drive, kOperationRunning, CloseTime(drive, false, true), immed);
        }
        return Keep(drive);
    }
    if (drive.isTestWrite || IsTest(drive)) {
        const Refusal refusal = Flush(drive);
        Occupy(drive, kOperationRunning, 0, immed);
        return refusal;
    }
    if (function == 1) {
        if (number == 0 || number > state.tracks.size()) return kInvalidField;
        if (state.isFinal) return kUnsuitableFormat;
        CloseTrack(state, state.tracks[number - 1]);
        Occupy(drive, kOperationRunning, CloseTrackTime(drive), immed);
        return Keep(drive);
    }
    const std::uint8_t session = state.tracks.empty() ? 0 : state.tracks.back().session;
    if (const Refusal refusal = FindIncomplete(state, session)) return refusal;
    const bool isFinal = state.rules->writeTypes != 0 ? !CurrentWriteParameters(drive).leavesOpen : function != 2;
    std::uint64_t time = CloseTime(drive, isFinal, false);
    if (state.rules->access == Access::Rigid) {
        if (state.tracks.empty() || state.tracks[0].size == 0) return kNotFormatted;
        state.tracks[0].state = TrackState::Complete;
        state.tracks[0].next = static_cast<std::int32_t>(EndOf(state.tracks[0]));
        state.formattedBlocks = state.tracks[0].size;
        state.closedSessions = 1;
    } else if (std::ranges::any_of(state.tracks, [&](const DiscTrack& track) {
                   return track.session > state.closedSessions && !IsInvisible(track);
               })) {
        CloseSession(state, isFinal);
    } else if (function != 2 && state.closedSessions > 0) {
        CloseSession(state, true);
    } else {
        time = 0;  // there is nothing to close
    }
    Occupy(drive, kOperationRunning, time, immed);
    return Keep(drive);
}

Refusal Blank(SimDrive& drive, Request& request) {
    const DiscState& state = drive.state();
    const std::uint8_t type = request.cdb[1] & 7;
    const bool immed = (request.cdb[1] & 0x10) != 0;
    if (state.rules->blankTypes == 0) return kUnsuitableFormat;
    if (!state.rules->takes(state.rules->blankTypes, type)) return kInvalidField;
    if (type > 1) {
        if (!drive.cues.empty() || drive.isTestWrite) return kSequence;
        DiscState rest = state;
        if (const Refusal refusal = EraseLast(rest, type, request.be(2, 4))) return refusal;
        if (const Refusal refusal = Wear(drive)) return refusal;
        rest.eraseCycles = state.eraseCycles;
        drive.state() = std::move(rest);
        Occupy(drive, kOperationRunning, QuickTime(drive), immed);
        return Keep(drive);
    }
    if (const Refusal refusal = Wear(drive)) return refusal;
    const MediumRules& rules = state.rules->isCd() ? *state.rules : *FindRules(Medium::DvdRwSequential);
    DiscState blank = BlankDisc(rules, state.blocks);
    blank.eraseCycles = state.eraseCycles;
    blank.isQuickBlanked = !rules.isCd() && type == 1;
    if (const Refusal refusal = StartOver(drive, std::move(blank))) return refusal;
    Occupy(drive, kOperationRunning, type == 1 ? QuickTime(drive) : WholeDiscTime(drive), immed);
    return {};
}

Refusal FormatUnit(SimDrive& drive, Request& request) {
    constexpr std::uint32_t kListBytes = 12;
    constexpr Refusal kCannotFormat{5, 0x30, 0x06};
    const DiscState& state = drive.state();
    if (state.rules->formats.empty()) return kCannotFormat;
    // DVD-RAM knows CmpLst: the list's defects are all there are (MMC-6 6.5).
    const std::uint8_t ignored = state.rules->medium == Medium::DvdRam ? 0x08 : 0;
    if ((request.cdb[1] & 0x1F & ~ignored) != 0x11) return kInvalidField;
    if (request.data.size() < kListBytes || request.dataBe(2, 2) != 8) return kInvalidParameter;
    request.transferred = kListBytes;
    const std::uint8_t flags = request.dataAt(1);
    const bool immed = (flags & 2) != 0;
    // Of the options only DCRT is known, and only when they are valid (MMC-6 6.5.3.2).
    if ((flags & 0x5D) != 0 || (flags & 0xA0) == 0x20) return kInvalidParameter;
    const std::uint8_t type = request.dataAt(8) >> 2;
    const std::uint32_t asked = request.dataBe(4, 4);
    if (std::ranges::find(state.rules->formats, type) == state.rules->formats.end()) return kInvalidParameter;
    const bool isBd = state.rules->isBd();
    if (state.rules->access == Access::Overwrite && type == 0x00 && !isBd) return FormatRam(drive, request, immed);
    const bool isMost = asked == 0xFFFFFFFF || (type == 0x26 && asked == 0);
    const bool leavesSizeOpen = asked == 0 && (type == 0x13 || type == 0x15);  // to what is written then
    if (!isMost && !leavesSizeOpen && (asked == 0 || asked > state.blocks)) return kInvalidParameter;
    if (isBd) return FormatBd(drive, {type, request.dataAt(8) & 3u, asked, immed});
    if (type == 0x26) {
        constexpr std::uint32_t kRestart = 1;  // the drive has no quick start
        const std::uint32_t parameter = request.dataBe(9, 3);
        return parameter > kRestart ? kInvalidParameter : FormatPlus(drive, parameter == kRestart, immed);
    }
    // What 13h names are the blocks to be added.
    const std::uint32_t most = type == 0x13 ? state.blocks - state.formattedBlocks : state.blocks;
    const std::uint32_t blocks = isMost ? most : RoundUp(asked, state.rules->eccBlocks);
    if (blocks > std::uint64_t{RoundUp(most, state.rules->eccBlocks)}) return kInvalidParameter;
    return FormatRigid(drive, type, std::min(blocks, most), immed);
}

}  // namespace tovlark
