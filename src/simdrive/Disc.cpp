#include "simdrive/Disc.h"

#include <algorithm>
#include <cstring>

#include "base/Checksum.h"
#include "base/Stored.h"
#include "simdrive/BluRay.h"

namespace tovlark {

namespace {

// The layout of a disc file: docs/simulated-drives.md.
constexpr std::array<char, 8> kMagic{'T', 'V', 'D', 'I', 'S', 'C', '\r', '\n'};
constexpr std::uint32_t kVersion = 2;
constexpr std::uint64_t kSlotOffset = 0x20000, kSlotBytes = 0x20000, kDataOffset = 0x60000;
constexpr std::size_t kMostTracks = 254, kMostIndexes = 98, kMostCdText = 8 * 256 * std::size_t{18};
constexpr std::uint32_t kMostBlocks = 1 << 26;
constexpr std::int32_t kLowestBlock = -150;  // of a CD's first pre-gap
constexpr std::uint32_t kLargestBlock = 2352 + kSubchannelBytes;
constexpr std::byte kRecorded{1};  // of the map of clusters

struct StoredHead {
    std::array<char, 8> magic = kMagic;
    Little32 version{kVersion};
    std::uint8_t unused[20] = {};
};

struct StoredTrack {
    std::uint8_t number = 0, session = 0, state = 0,
                 flags = 0;  // flags: 1 reserved, 2 run-out blocks, 4 incremental, 8 R to W
    std::uint8_t control = 0, mode = 0;
    Little16 blockBytes;
    Little32 pregap, first, size, next;
    std::array<char, 12> isrc{};
    std::uint8_t indexCount = 0;
    std::uint8_t unused[11] = {};
};
static_assert(sizeof(StoredTrack) == 48);

struct StoredDisc {
    Little32 crc;  // of all that follows
    Little16 trackCount;
    std::uint8_t medium = 0;
    std::uint8_t flags = 0;  // 1 final, 2 quick-blanked
    Little64 sequence;
    Little32 blocks, formattedBlocks, backgroundBlocks;
    Little16 eraseCycles;
    std::uint8_t closedSessions = 0;
    std::uint8_t background = 0;
    std::array<char, 14> timestamp{};
    std::array<char, 13> catalog{};
    std::uint8_t unused[5] = {};
    Little32 bytes;  // of the state: this, the tracks, their indexes, CD-Text
    std::uint8_t unusedToo[12] = {};
};
static_assert(sizeof(StoredDisc) == 80);
static_assert(sizeof(StoredDisc) + kMostTracks * sizeof(StoredTrack) + 99 * kMostIndexes * sizeof(Little32) +
                  kMostCdText <=
              kSlotBytes);

StoredTrack Pack(const DiscTrack& track) {
    StoredTrack stored;
    stored.number = track.number;
    stored.session = track.session;
    stored.state = static_cast<std::uint8_t>(track.state);
    stored.flags = static_cast<std::uint8_t>((track.isReserved ? 1 : 0) | (track.hasRunOut ? 2 : 0) |
                                             (track.isIncremental ? 4 : 0) | (track.hasSubchannel ? 8 : 0));
    stored.control = track.control;
    stored.mode = track.mode;
    stored.blockBytes = track.blockBytes;
    stored.pregap = track.pregap;
    stored.first = static_cast<std::uint32_t>(track.first);
    stored.size = track.size;
    stored.next = static_cast<std::uint32_t>(track.next);
    stored.isrc = track.isrc;
    stored.indexCount = static_cast<std::uint8_t>(track.indexes.size());
    return stored;
}

DiscTrack Unpack(const StoredTrack& stored) {
    return {.number = stored.number,
            .session = stored.session,
            .state = static_cast<TrackState>(stored.state),
            .isReserved = (stored.flags & 1) != 0,
            .control = static_cast<std::uint8_t>(stored.control & 15),
            .mode = stored.mode,
            .blockBytes = stored.blockBytes,
            .hasSubchannel = (stored.flags & 8) != 0,
            .hasRunOut = (stored.flags & 2) != 0,
            .isIncremental = (stored.flags & 4) != 0,
            .pregap = stored.pregap,
            .first = static_cast<std::int32_t>(std::uint32_t{stored.first}),
            .size = stored.size,
            .next = static_cast<std::int32_t>(std::uint32_t{stored.next}),
            .isrc = stored.isrc,
            .indexes = std::vector<std::uint32_t>(stored.indexCount)};
}

/// Whether the track can be one of this disc and lies behind the one before it.
bool IsSound(const DiscTrack& track, std::int64_t above, std::uint32_t blocks) {
    constexpr std::uint16_t kBlockSizes[] = {2048, 2336, 2352};
    const std::int64_t first = track.first, begin = first - std::int64_t{track.pregap};
    return track.state <= TrackState::Complete && track.mode <= 2 &&
           std::ranges::find(kBlockSizes, track.blockBytes) != std::end(kBlockSizes) && track.pregap <= kMostBlocks &&
           begin >= above && begin >= kLowestBlock && first >= 0 && first + track.size <= blocks &&
           track.next >= begin && track.next <= first + track.size && std::ranges::is_sorted(track.indexes) &&
           (track.indexes.empty() || track.indexes.back() < track.size);
}

bool IsSound(const DiscState& state) {
    if (state.rules == nullptr || state.blocks == 0 || state.blocks > kMostBlocks) return false;
    if (state.formattedBlocks > state.blocks || state.backgroundBlocks > state.blocks) return false;
    std::int64_t above = kLowestBlock;
    std::uint8_t number = 0, session = 1;
    for (const DiscTrack& track : state.tracks) {
        if (track.number != number + 1 || track.session < session || track.session > session + 1) return false;
        if (!IsSound(track, above, state.blocks)) return false;
        number = track.number;
        session = track.session;
        above = std::int64_t{track.first} + track.size;
    }
    return state.closedSessions <= session && state.background <= BackgroundFormat::Complete;
}

std::vector<std::byte> Pack(const DiscState& state, std::uint64_t sequence) {
    StoredDisc disc;
    disc.trackCount = static_cast<std::uint16_t>(state.tracks.size());
    disc.medium = static_cast<std::uint8_t>(state.rules->medium);
    disc.flags = static_cast<std::uint8_t>((state.isFinal ? 1 : 0) | (state.isQuickBlanked ? 2 : 0));
    disc.sequence = sequence;
    disc.blocks = state.blocks;
    disc.formattedBlocks = state.formattedBlocks;
    disc.backgroundBlocks = state.backgroundBlocks;
    disc.eraseCycles = state.eraseCycles;
    disc.closedSessions = state.closedSessions;
    disc.background = static_cast<std::uint8_t>(state.background);
    disc.timestamp = state.timestamp;
    disc.catalog = state.catalog;
    std::vector<std::byte> bytes(sizeof disc);
    const auto append = [&](const auto& value) {
        const auto more = std::as_bytes(std::span(&value, 1));
        bytes.insert(bytes.end(), more.begin(), more.end());
    };
    for (const DiscTrack& track : state.tracks) append(Pack(track));
    for (const DiscTrack& track : state.tracks)
        for (const std::uint32_t index : track.indexes) append(Little32{index});
    const auto text = std::as_bytes(std::span(state.cdText));
    bytes.insert(bytes.end(), text.begin(), text.end());
    disc.bytes = static_cast<std::uint32_t>(bytes.size());
    std::memcpy(bytes.data(), &disc, sizeof disc);
    disc.crc = Crc32(std::span(bytes).subspan(sizeof disc.crc));
    std::memcpy(bytes.data(), &disc.crc, sizeof disc.crc);
    return bytes;
}

/// The tracks, their indexes and CD-Text; false when they are not what the bytes are.
bool UnpackLists(std::span<const std::byte> bytes, std::size_t trackCount, DiscState& state) {
    const auto take = [&](auto& value) {
        if (bytes.size() < sizeof value) return false;
        std::memcpy(&value, bytes.data(), sizeof value);
        bytes = bytes.subspan(sizeof value);
        return true;
    };
    StoredTrack stored;
    while (state.tracks.size() < trackCount) {
        if (!take(stored)) return false;
        state.tracks.push_back(Unpack(stored));
    }
    for (DiscTrack& track : state.tracks) {
        if (track.indexes.size() > kMostIndexes) return false;
        for (std::uint32_t& index : track.indexes) {
            Little32 place;
            if (!take(place)) return false;
            index = place;
        }
    }
    if (bytes.size() % 18 != 0 || bytes.size() > kMostCdText) return false;
    for (const std::byte byte : bytes) state.cdText.push_back(std::to_integer<std::uint8_t>(byte));
    return true;
}

/// False when the slot holds no whole state.
bool Unpack(std::span<const std::byte> slot, DiscState& state, std::uint64_t& sequence) {
    StoredDisc disc;
    std::memcpy(&disc, slot.data(), sizeof disc);
    const std::size_t bytes = disc.bytes;
    if (bytes < sizeof disc || bytes > slot.size() || disc.trackCount > kMostTracks ||
        disc.crc != Crc32(slot.subspan(sizeof disc.crc, bytes - sizeof disc.crc)))
        return false;
    sequence = disc.sequence;
    state = {.rules = FindRules(static_cast<Medium>(disc.medium)),
             .blocks = disc.blocks,
             .tracks = {},
             .closedSessions = disc.closedSessions,
             .isFinal = (disc.flags & 1) != 0,
             .isQuickBlanked = (disc.flags & 2) != 0,
             .formattedBlocks = disc.formattedBlocks,
             .background = static_cast<BackgroundFormat>(disc.background),
             .backgroundBlocks = disc.backgroundBlocks,
             .eraseCycles = disc.eraseCycles,
             .timestamp = disc.timestamp,
             .catalog = disc.catalog,
             .cdText = {}};
    return UnpackLists(slot.first(bytes).subspan(sizeof disc), disc.trackCount, state) && IsSound(state);
}

/// A byte for each cluster, behind all blocks.
std::uint64_t PlaceOfMap(const DiscState& state, std::uint32_t cluster) {
    return kDataOffset + (std::uint64_t{state.blocks} - kLowestBlock) * kLargestBlock + cluster;
}

std::uint64_t SlotOf(std::uint64_t sequence) { return kSlotOffset + sequence % 2 * kSlotBytes; }

/// A track's blocks lie one after the other from where whole CD blocks would put its first.
std::uint64_t PlaceOf(const DiscTrack& track, std::int32_t block) {
    const std::int64_t begin = std::int64_t{track.first} - track.pregap;
    return kDataOffset + static_cast<std::uint64_t>(begin - kLowestBlock) * kLargestBlock +
           static_cast<std::uint64_t>(block - begin) * track.storedBytes();
}

}  // namespace

bool DiscState::isBlank() const {
    return closedSessions == 0 && (formattedBlocks == 0 || rules->access == Access::Sequential) &&
           (tracks.empty() || (tracks.size() == 1 && !tracks[0].isReserved && tracks[0].state == TrackState::Blank));
}

const DiscTrack* DiscState::trackOf(std::int32_t block) const {
    for (const DiscTrack& track : tracks) {
        const std::int64_t first = track.first;
        if (block >= first - track.pregap && block < first + track.size) return &track;
    }
    return nullptr;
}

DiscTrack* DiscState::openTrack(std::int32_t block) {
    for (DiscTrack& track : tracks)
        if (track.state != TrackState::Complete && track.next == block) return &track;
    return nullptr;
}

DiscState BlankDisc(const MediumRules& rules, std::uint32_t blocks) {
    DiscState state{.rules = &rules, .blocks = blocks, .tracks = {}, .eraseCycles = rules.eraseCycles};
    if (rules.access == Access::Sequential) state.tracks.push_back({.size = blocks});
    if (rules.access == Access::Pressed) state.isFinal = true;
    if (rules.hasPseudoOverwrite() || rules.isRandomBdR()) ApplyBdFormat(state, blocks - DefaultSpare(blocks));
    if (rules.access == Access::Rigid) {
        // A DVD-RW is in that mode because it was formatted; the other mode is what unformatted ones have.
        state.formattedBlocks = blocks;
        state.closedSessions = 1;
        state.tracks.push_back(
            {.state = TrackState::Complete, .size = blocks, .next = static_cast<std::int32_t>(blocks)});
    }
    return state;
}

SystemError Disc::create(const Text& path, const MediumRules& rules, std::uint32_t blocks) {
    Disc disc;
    if (const SystemError error = disc.file_.open(path, LockedFile::Mode::New); error.failed()) return error;
    disc.state = BlankDisc(rules, std::clamp(blocks, std::uint32_t{rules.eccBlocks}, kMostBlocks));
    const StoredHead head;
    if (const SystemError error = disc.file_.writeAt(0, std::as_bytes(std::span(&head, 1))); error.failed())
        return error;
    return disc.save();
}

DiscFault Disc::open(const Text& path, SystemError& systemError, const MediumRules* pressed) {
    StoredHead head;
    InputFile probe;
    std::size_t readCount = 0;
    systemError = probe.open(path);
    if (!systemError.failed()) systemError = probe.readAt(0, std::as_writable_bytes(std::span(&head, 1)), readCount);
    if (systemError.failed()) return DiscFault::System;
    if (readCount != sizeof head || head.magic != kMagic) return openImage(path, systemError, pressed);
    if (pressed != nullptr) return DiscFault::NotPressed;
    if (head.version != kVersion) return head.version > kVersion ? DiscFault::TooNew : DiscFault::Damaged;
    probe = InputFile();
    systemError = file_.open(path, LockedFile::Mode::Existing);
    std::vector<std::byte> slot(kSlotBytes);
    bool isFound = false;
    for (const std::uint64_t offset : {kSlotOffset, kSlotOffset + kSlotBytes}) {
        DiscState found;
        std::uint64_t sequence = 0;
        if (!systemError.failed()) systemError = file_.readAt(offset, slot);
        if (systemError.failed()) return DiscFault::System;
        if (!Unpack(slot, found, sequence) || (isFound && sequence < sequence_)) continue;
        isFound = true;
        sequence_ = sequence;
        state = std::move(found);
    }
    saved_ = state;
    return isFound ? DiscFault::None : DiscFault::Damaged;
}

SystemError Disc::save() {
    if (!file_.isOpen()) return {};
    if (isChanged_)
        if (const SystemError error = file_.synchronize(); error.failed()) return error;
    isChanged_ = false;
    if (state == saved_) return {};
    const std::vector<std::byte> bytes = Pack(state, sequence_ + 1);
    if (const SystemError error = file_.writeAt(SlotOf(sequence_ + 1), bytes); error.failed()) return error;
    if (const SystemError error = file_.synchronize(); error.failed()) return error;
    ++sequence_;
    saved_ = state;
    return {};
}

SystemError Disc::read(const DiscTrack& track, std::int32_t block, std::span<std::byte> bytes) const {
    if (file_.isOpen()) return file_.readAt(PlaceOf(track, block), bytes);
    std::size_t readCount = 0;
    if (track.number > sources_.size() || block < track.first) {
        std::ranges::fill(bytes, std::byte{0});
        return {};
    }
    const Source& source = sources_[track.number - 1u];
    const std::uint64_t offset = source.offset + static_cast<std::uint64_t>(block - track.first) * track.blockBytes;
    const SystemError error = source.file.readAt(offset, bytes, readCount);
    std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(readCount), bytes.end(), std::byte{0});
    if (source.isSwapped)
        for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) std::swap(bytes[at], bytes[at + 1]);
    return error;
}

SystemError Disc::write(const DiscTrack& track, std::int32_t block, std::span<const std::byte> bytes) {
    isChanged_ = true;
    return file_.writeAt(PlaceOf(track, block), bytes);
}

SystemError Disc::clear() {
    isChanged_ = true;
    return file_.setSize(kDataOffset);
}

SystemError Disc::readRecorded(std::uint32_t cluster, std::uint32_t count, bool& isAny) const {
    std::vector<std::byte> map(count);
    const SystemError error = file_.readAt(PlaceOfMap(state, cluster), map);
    isAny = std::ranges::find(map, kRecorded) != map.end();
    return error;
}

SystemError Disc::markRecorded(std::uint32_t cluster, std::uint32_t count) {
    isChanged_ = true;
    return file_.writeAt(PlaceOfMap(state, cluster), std::vector<std::byte>(count, kRecorded));
}

}  // namespace tovlark
