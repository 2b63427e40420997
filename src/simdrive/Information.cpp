// What the drive tells of the disc that is in it.
#include <algorithm>

#include "base/Msf.h"
#include "simdrive/BluRay.h"
#include "simdrive/Drive.h"

namespace tovlark {

namespace {

constexpr Msf kAtipLeadIn{97, 58, 70};  // start of the first lead-in: the code of no maker
constexpr std::uint32_t kUnformatted = 1, kFormatted = 2, kUnknown = 3;  // descriptor types of READ FORMAT CAPACITIES

std::uint8_t LastSessionOf(const DiscState& state) {
    const std::uint8_t last = state.tracks.empty() ? 1 : state.tracks.back().session;
    return std::max(last, state.closedSessions);
}

/// The first and last track of a session; both null when there is none.
std::pair<const DiscTrack*, const DiscTrack*> TracksOf(const DiscState& state, std::uint8_t session) {
    std::pair<const DiscTrack*, const DiscTrack*> found{nullptr, nullptr};
    for (const DiscTrack& track : state.tracks) {
        if (track.session != session) continue;
        if (found.first == nullptr) found.first = &track;
        found.second = &track;
    }
    return found;
}

void PutAddress(Reply& reply, std::int32_t block, bool isMsf) {
    const Msf time = ToMsf(Lba{block});
    if (isMsf)
        reply.put(1, 0).put(1, time.minute).put(1, time.second).put(1, time.frame);
    else
        reply.put(4, static_cast<std::uint32_t>(block));
}

std::int32_t EndOf(const DiscTrack& track) { return track.first + static_cast<std::int32_t>(track.size); }

void PutTocEntry(Reply& reply, const DiscTrack& track, std::uint8_t number, std::int32_t block, bool isMsf) {
    reply.put(1, 0).put(1, 0x10 | track.control).put(1, number).put(1, 0);
    PutAddress(reply, block, isMsf);
}

constexpr std::uint8_t kLeadOut = 0xAA;

Refusal PutTracks(const DiscState& state, std::uint8_t from, bool isMsf, Reply& reply) {
    const auto last = std::ranges::find_if(state.tracks.rbegin(), state.tracks.rend(), [&](const DiscTrack& track) {
        return track.session <= state.closedSessions;
    });
    if (last == state.tracks.rend() || (from > last->number && from != kLeadOut)) return kInvalidField;
    reply.put(1, state.tracks.front().number).put(1, last->number);
    for (const DiscTrack& track : state.tracks)
        if (track.number >= from && track.number <= last->number)
            PutTocEntry(reply, track, track.number, track.first, isMsf);
    PutTocEntry(reply, *last, kLeadOut, EndOf(*last), isMsf);
    return {};
}

Refusal PutLastSession(const DiscState& state, bool isMsf, Reply& reply) {
    const DiscTrack* first = TracksOf(state, state.closedSessions).first;
    if (first == nullptr) return kInvalidField;
    reply.put(1, 1).put(1, state.closedSessions);
    PutTocEntry(reply, *first, first->number, first->first, isMsf);
    return {};
}

/// One entry of the Q channel of a lead-in: what it points at, and up to two times.
void PutQ(Reply& reply, std::uint8_t session, std::uint8_t adrControl, std::uint8_t point, Msf running, Msf pointed) {
    reply.put(1, session).put(1, adrControl).put(1, 0).put(1, point);
    reply.put(1, running.minute).put(1, running.second).put(1, running.frame).put(1, 0);
    reply.put(1, pointed.minute).put(1, pointed.second).put(1, pointed.frame);
}

Refusal PutFullToc(const DiscState& state, std::uint8_t from, Reply& reply) {
    if (!state.rules->isCd() || state.closedSessions == 0 || from > state.closedSessions) return kInvalidField;
    reply.put(1, 1).put(1, state.closedSessions);
    for (std::uint8_t session = std::max<std::uint8_t>(from, 1); session <= state.closedSessions; ++session) {
        const auto [first, last] = TracksOf(state, session);
        if (first == nullptr) continue;
        const std::uint8_t format = first->mode == 2 ? 0x20 : 0;
        const auto adrControl = [](const DiscTrack& track) { return static_cast<std::uint8_t>(0x10 | track.control); };
        PutQ(reply, session, adrControl(*first), 0xA0, {}, {first->number, format, 0});
        PutQ(reply, session, adrControl(*last), 0xA1, {}, {last->number, 0, 0});
        PutQ(reply, session, adrControl(*last), 0xA2, {}, ToMsf(Lba{EndOf(*last)}));
        for (const DiscTrack& track : state.tracks)
            if (track.session == session)
                PutQ(reply, session, adrControl(track), track.number, {}, ToMsf(Lba{track.first}));
        if (session == 1 && state.rules->access != Access::Pressed) PutQ(reply, session, 0x54, 0xC0, {}, kAtipLeadIn);
        const bool isLast = session == LastSessionOf(state);
        if (isLast && state.isFinal) continue;
        // Where the next session may begin, and the outermost lead-out there can be (ADR 5).
        const std::uint32_t gap = (session == 1 ? 11400 : 6900) - kPregapFrames;
        PutQ(reply, session, 0x54, 0xB0, ToMsf(Lba{EndOf(*last) + static_cast<std::int32_t>(gap)}),
             ToMsf(Lba{static_cast<std::int32_t>(state.blocks)}));
    }
    return {};
}

/// The memory area of a CD-R: its complete tracks, and the reserved ones.
Refusal PutPma(const DiscState& state, Reply& reply) {
    if (!state.rules->isCd() || state.rules->access == Access::Pressed) return kInvalidField;
    reply.put(2, 0);
    for (const DiscTrack& track : state.tracks)
        if (track.state == TrackState::Complete || track.isReserved)
            PutQ(reply, 0, static_cast<std::uint8_t>(0x10 | track.control), track.number, ToMsf(Lba{EndOf(track)}),
                 ToMsf(Lba{track.first}));
    return {};
}

Refusal PutAtip(const DiscState& state, Reply& reply) {
    if (!state.rules->isCd() || state.rules->access == Access::Pressed) return kInvalidField;
    const auto put = [&](Msf time) { reply.put(1, time.minute).put(1, time.second).put(1, time.frame).put(1, 0); };
    reply.put(2, 0).put(1, 0xC0).put(1, 0).put(1, state.rules->isErasable() ? 0xC0 : 0x80).put(1, 0);
    put(kAtipLeadIn);
    put(ToMsf(Lba{static_cast<std::int32_t>(state.blocks)}));
    return reply.put(12, 0), Refusal{};
}

/// Disc status and last session's state of READ DISC INFORMATION (MMC-6 6.22.3.1).
std::pair<std::uint8_t, std::uint8_t> StatusOf(const DiscState& state) {
    constexpr std::uint8_t kEmpty = 0, kIncomplete = 1, kComplete = 2, kOther = 3, kSessionComplete = 3;
    if (state.rules->medium == Medium::DvdRam || state.rules->medium == Medium::HdDvdRam)
        return {kOther, kSessionComplete};
    // A BD-R with spare areas has been written to: there is a session, if an empty one.
    const bool isFormattedBdR = state.rules->isBd() && state.formattedBlocks > 0;
    if (state.isBlank() && !isFormattedBdR) return {kEmpty, kEmpty};
    if (state.rules->access == Access::Overwrite || state.isFinal) return {kComplete, kSessionComplete};
    if (state.rules->access == Access::Rigid)
        return state.closedSessions > 0 ? std::pair{kComplete, kSessionComplete} : std::pair{kIncomplete, kIncomplete};
    const auto [first, last] = TracksOf(state, LastSessionOf(state));
    const bool isEmpty = first == last && first != nullptr && first->state == TrackState::Blank && !first->isReserved;
    return {kIncomplete, isEmpty ? kEmpty : kIncomplete};
}

const DiscTrack* AddressedTrack(const DiscState& state, std::uint8_t kind, std::uint32_t address) {
    if (kind == 0) {
        return state.trackOf(static_cast<std::int32_t>(address));
    }
    if (kind == 2) return address <= 0xFF ? TracksOf(state, static_cast<std::uint8_t>(address)).first : nullptr;
    if (address == 0xFF && !state.tracks.empty() && state.tracks.back().state != TrackState::Complete)
        return &state.tracks.back();
    return address >= 1 && address <= state.tracks.size() ? &state.tracks[address - 1] : nullptr;
}

Refusal PutPhysicalFormat(const DiscState& state, Reply& reply) {
    constexpr std::uint32_t kFirst = 0x030000, kFirstOfRam = 0x031000;
    const MediumRules& rules = *state.rules;
    const std::uint32_t first = rules.medium == Medium::DvdRam ? kFirstOfRam : kFirst;
    const std::uint32_t perLayer = (state.blocks + rules.layers - 1) / rules.layers;
    const std::uint32_t layerType = rules.access == Access::Pressed ? 1 : rules.isErasable() ? 4 : 2;
    const std::uint32_t partVersion = rules.isPlus() ? 1 : 5;
    reply.put(1, rules.bookType << 4 | partVersion).put(1, 0x0F);
    // Two layers in opposite directions, whose addresses mirror each other.
    reply.put(1, static_cast<std::uint32_t>(rules.layers - 1) << 5 | (rules.layers > 1 ? 0x10u : 0u) | layerType)
        .put(1, 0);
    const std::uint32_t lastOfFirstLayer = first + perLayer - 1;
    reply.put(4, first).put(4, rules.layers > 1 ? 0xFFFFFF - first : first + state.blocks - 1);
    reply.put(4, rules.layers > 1 ? lastOfFirstLayer : 0);
    reply.bytes.resize(2052);
    return {};
}

/// Where the first layer of a blank DVD+R DL ends can be said once; both are as long then.
bool CanMoveLayerBoundary(const DiscState& state) { return state.isBlank() && state.blocks == state.rules->blocks; }

Refusal MoveLayerBoundary(SimDrive& drive, Request& request) {
    constexpr std::uint32_t kListBytes = 12;
    DiscState& state = drive.state();
    if (request.data.size() < request.be(8, 2)) return kDataPhase;
    if (request.be(8, 2) != kListBytes) return kListTooShort;
    request.transferred = kListBytes;
    if (!CanMoveLayerBoundary(state)) return kSequence;
    const std::uint32_t layer = request.dataBe(8, 4);
    if (layer == 0 || layer % state.rules->eccBlocks != 0 || layer > state.blocks / 2) return kInvalidParameter;
    state.blocks = 2 * layer;
    state.tracks = {{.size = state.blocks}};
    return Keep(drive);
}

}  // namespace

std::int32_t LeadInStart(const DiscState& state) {
    constexpr std::int32_t kLaterLeadIn = 4500;
    const DiscTrack* first = TracksOf(state, LastSessionOf(state)).first;
    if (state.closedSessions == 0 || first == nullptr) return static_cast<std::int32_t>(ToLba(kAtipLeadIn));
    return first->first - static_cast<std::int32_t>(first->pregap) - kLaterLeadIn;
}

Refusal ReadFormatCapacities(SimDrive& drive, Request& request) {
    const DiscState& state = drive.state();
    const MediumRules& rules = drive.rules();
    if (rules.isBd()) return BdFormatCapacities(drive, request);
    const bool isIntermediate = rules.access == Access::Rigid && state.closedSessions == 0;
    const bool isFormatted =
        rules.formats.empty() || rules.access == Access::Sequential ? !state.isBlank() : state.formattedBlocks > 0;
    const std::uint32_t now = isFormatted && state.formattedBlocks > 0 ? state.formattedBlocks : state.blocks;
    Reply reply;
    // Of a border that is not complete nobody knows yet how long it gets (MMC-5 6.24.3.2.1).
    reply.put(4, 0).put(4, isIntermediate ? state.blocks : now);
    reply.put(1, isIntermediate ? kUnknown : isFormatted ? kFormatted : kUnformatted).put(3, 2048);
    for (const std::uint8_t type : rules.formats) {
        // Grows a border that is complete.
        if (type == 0x13 && (rules.access != Access::Rigid || isIntermediate)) continue;
        const std::uint32_t blocks = type == 0x13 ? state.blocks - state.formattedBlocks : state.blocks;
        reply.put(4, blocks).put(1, type << 2).put(3, type == 0x00 ? 2048u : type == 0x26 ? 0u : rules.eccBlocks);
    }
    reply.set(3, 1, reply.size() - 4);
    return Answer(request, reply, request.be(7, 2));
}

Refusal ReadCapacity(SimDrive& drive, Request& request) {
    const DiscState& state = drive.state();
    std::int64_t blocks = state.rules->access == Access::Sequential ? 0 : state.formattedBlocks;
    for (const DiscTrack& track : state.tracks)
        if (track.session <= state.closedSessions) blocks = std::max<std::int64_t>(blocks, EndOf(track));
    Reply reply;
    reply.put(4, blocks > 0 ? static_cast<std::uint32_t>(blocks - 1) : 0).put(4, 2048);
    return Answer(request, reply, 8);
}

Refusal ReadToc(SimDrive& drive, Request& request) {
    const DiscState& state = drive.state();
    std::uint8_t format = request.cdb[2] & 15;
    if (format == 0) format = request.cdb[9] >> 6;
    const bool isMsf = (request.cdb[1] & 2) != 0;
    const std::uint8_t from = request.cdb[6];
    Reply reply;
    reply.put(2, 0);
    Refusal refusal = kInvalidField;
    if (format == 0) refusal = PutTracks(state, from, isMsf, reply);
    if (format == 1) refusal = PutLastSession(state, isMsf, reply);
    if (format == 2) refusal = PutFullToc(state, from, reply);
    if (format == 3) refusal = PutPma(state, reply);
    if (format == 4) refusal = PutAtip(state, reply);
    if (format == 5 && state.rules->isCd()) {
        refusal = {};
        reply.put(2, 0);
        for (const std::uint8_t byte : state.cdText) reply.put(1, byte);
    }
    if (refusal) return refusal;
    reply.set(0, 2, reply.size() - 2);
    return Answer(request, reply, request.be(7, 2));
}

Refusal ReadDiscInformation(SimDrive& drive, Request& request) {
    if ((request.cdb[1] & 7) != 0) return kInvalidField;
    AdvanceBackground(drive);
    const DiscState& state = drive.state();
    const auto [discStatus, sessionStatus] = StatusOf(state);
    const std::uint8_t last = LastSessionOf(state);
    const auto [firstTrack, lastTrack] = TracksOf(state, last);
    Reply reply;
    reply.put(2, 32).put(1, (state.rules->isErasable() ? 0x10 : 0) | sessionStatus << 2 | discStatus);
    reply.put(1, 1).put(1, last).put(1, firstTrack == nullptr ? 1 : firstTrack->number);
    reply.put(1, lastTrack == nullptr ? 1 : lastTrack->number);
    reply.put(1, 0x20u | static_cast<unsigned>(state.background));
    // The first session tells what kind of disc it is.
    const bool hasType = state.rules->isCd() && !state.isBlank() && !state.tracks.empty();
    reply.put(1, !hasType ? 0xFF : state.tracks[0].mode == 2 ? 0x20 : 0);
    reply.put(3, 0).put(4, 0);
    const bool hasTimes = state.rules->isCd() && !state.isFinal;
    if (hasTimes && firstTrack != nullptr) {
        PutAddress(reply, LeadInStart(state), true);
        PutAddress(reply, static_cast<std::int32_t>(state.blocks), true);
    } else {
        reply.put(4, 0xFFFFFFFF).put(4, 0xFFFFFFFF);
    }
    reply.put(8, 0).put(2, 0);
    return Answer(request, reply, request.be(7, 2));
}

Refusal ReadTrackInformation(SimDrive& drive, Request& request) {
    const DiscState& state = drive.state();
    const std::uint8_t kind = request.cdb[1] & 3;
    if ((request.cdb[1] & 4) != 0 || kind == 3) return kInvalidField;
    const std::uint32_t address = request.be(2, 4);
    const DiscTrack* track = AddressedTrack(state, kind, address);
    // A disc that is to be formatted first is one blank track.
    const DiscTrack unformatted{.size = state.blocks};
    if (state.tracks.empty() && (kind == 0 ? address < state.blocks : address == 1)) track = &unformatted;
    // A session that a cue sheet announced is one incomplete track until it is written.
    DiscTrack announced;
    if (kind == 1 && address == 0xFF && !drive.cues.empty()) {
        announced = *TracksOf(state, LastSessionOf(state)).first;
        announced.size = static_cast<std::uint32_t>(drive.cues.back().end - announced.first);
        announced.next = drive.cueNext;
        track = &announced;
    }
    if (track == nullptr) return kind == 0 ? kBlockOutOfRange : kInvalidField;
    const bool isBlank = track->state == TrackState::Blank;
    const bool isWritable =
        track->state != TrackState::Complete && state.rules->access != Access::Overwrite && !state.isFinal;
    const bool hasData = track->next > track->first;
    // A blank track of a DVD is to be written as the write parameters say.
    const bool isIncremental = isBlank && state.rules->writeTypes != 0 && !state.rules->isCd()
                                   ? CurrentWriteParameters(drive).type == 0
                                   : track->isIncremental;
    // Packet, and FP where it is overwritten in whole ECC blocks (MMC-6 6.27).
    const bool isOverwritten = state.rules->access == Access::Overwrite || state.rules->access == Access::Rigid;
    Reply reply;
    reply.put(2, 46).put(1, track->number).put(1, track->session).put(1, 0).put(1, track->control);
    reply.put(1, (track->isReserved ? 0x80 : 0) | (isBlank ? 0x40 : 0) |
                     (isOverwritten   ? 0x30
                      : isIncremental ? 0x20
                                      : 0) |
                     (track->isAudio() || isBlank ? 15 : track->mode));
    reply.put(1, (hasData ? 2 : 0) | (isWritable ? 1 : 0)).put(4, static_cast<std::uint32_t>(track->first));
    reply.put(4, isWritable ? static_cast<std::uint32_t>(track->next) : 0);
    const std::int64_t end = state.rules->access == Access::Rigid ? state.blocks : EndOf(*track);
    reply.put(4, isWritable ? static_cast<std::uint32_t>(end - track->next) : 0);
    reply.put(4, state.rules->isCd() ? 0 : state.rules->eccBlocks).put(4, track->size);
    reply.put(4, hasData ? static_cast<std::uint32_t>(track->next - 1) : 0).put(4, 0).put(12, 0);
    return Answer(request, reply, request.be(7, 2));
}

Refusal ReadDiscStructure(SimDrive& drive, Request& request) {
    const MediumRules& rules = drive.rules();
    const std::uint8_t format = request.cdb[7];
    if (rules.isBd()) return BdDiscStructure(drive, request);
    if ((request.cdb[1] & 15) != 0) return kInvalidField;
    if (rules.isCd()) return kUnsuitableMedium;
    if (request.cdb[6] >= rules.layers) return kInvalidField;
    Reply reply;
    reply.put(4, 0);
    const bool isDash = rules.writeTypes != 0;
    if (format == 0x00 || (format == 0x10 && isDash) || (format == 0x11 && rules.isPlus())) {
        if (const Refusal refusal = PutPhysicalFormat(drive.state(), reply)) return refusal;
        // The lead-in names the book once it is written, with the first border.
        if (format == 0x10 && drive.state().closedSessions == 0) reply.set(4, 1, 0);
    } else if (format == 0x01) {
        reply.put(4, 0);  // no copy protection
    } else if (format == 0x20 && rules.medium == Medium::DvdPlusRDl) {
        reply.put(1, CanMoveLayerBoundary(drive.state()) ? 0 : 0x80).put(3, 0).put(4, drive.state().blocks / 2);
    } else if (format == 0xFF) {
        for (const std::uint32_t known : {0x00, 0x01, 0x0F, 0x10, 0x11}) {
            const bool isSent = known == 0x0F;
            const bool isThere = isSent || known == 0x10 ? isDash : known != 0x11 || rules.isPlus();
            if (isThere)
                reply.put(1, known).put(1, isSent ? 0x80 : 0x40).put(2, known == 0x01 ? 8 : isSent ? 22 : 2052);
        }
        if (rules.medium == Medium::DvdPlusRDl) reply.put(1, 0x20).put(1, 0xC0).put(2, 12);
    } else {
        return kInvalidField;
    }
    reply.set(0, 2, reply.size() - 2);
    return Answer(request, reply, request.be(8, 2));
}

Refusal SendDiscStructure(SimDrive& drive, Request& request) {
    constexpr std::uint32_t kTimestampBytes = 22;
    const std::uint32_t listBytes = request.be(8, 2);
    if (request.cdb[7] == 0x20 && drive.rules().medium == Medium::DvdPlusRDl) return MoveLayerBoundary(drive, request);
    if (request.cdb[7] != 0x0F || drive.rules().writeTypes == 0 || drive.rules().isCd()) return kInvalidField;
    if (request.data.size() < listBytes) return kDataPhase;
    if (listBytes != kTimestampBytes) return kListTooShort;
    request.transferred = listBytes;
    std::array<char, 14> text{};
    for (std::size_t index = 0; index < text.size(); ++index)
        text[index] = static_cast<char>(request.dataAt(8 + index));
    if (!std::ranges::all_of(text, [](char digit) { return digit >= '0' && digit <= '9'; })) return kInvalidParameter;
    drive.state().timestamp = text;
    return {};
}

}  // namespace tovlark
