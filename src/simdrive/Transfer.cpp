// Reading and writing blocks.
#include <algorithm>
#include <cstring>

#include "base/DiscLayout.h"
#include "base/RawSector.h"
#include "simdrive/BluRay.h"
#include "simdrive/Drive.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kUserBytes = 2048;
constexpr std::byte kForm2{0x20};  // of the sub-mode in a mode 2 block's sub-header

/// Past the last block of a track that can be read; its pre-gap is there when its first block is.
std::int32_t ReadableEnd(const DiscTrack& track) {
    const std::int32_t end = track.first + static_cast<std::int32_t>(track.size);
    if (track.state == TrackState::Complete) return track.hasRunOut ? end - 2 : end;
    return track.next > track.first ? track.next : track.first - static_cast<std::int32_t>(track.pregap);
}

/// The track whose block can be read, else why not.
Refusal FindReadable(const DiscState& state, std::int32_t block, const DiscTrack*& track) {
    track = state.trackOf(block);
    if (track != nullptr && block < ReadableEnd(*track)) return {};
    const bool isRecordedFurther = std::ranges::any_of(state.tracks, [&](const DiscTrack& later) {
        return later.next > later.first && block < later.first + static_cast<std::int32_t>(later.size) &&
               later.state == TrackState::Complete;
    });
    return isRecordedFurther ? kUnreadable : kBlockOutOfRange;
}

std::uint32_t BlockCount(const Request& request) {
    const std::uint8_t opcode = request.cdb[0];
    return opcode == 0xA8 || opcode == 0xAA ? request.be(6, 4) : request.be(7, 2);
}

/// Where the 2048 bytes of data begin in a stored block.
std::size_t UserOffset(const DiscTrack& track) {
    if (track.blockBytes == 2336) return 8;
    if (track.blockBytes == 2352) return track.mode == 2 ? 24 : 16;
    return 0;
}

Refusal ReadUserData(SimDrive& drive, const DiscTrack& track, std::int32_t block, std::span<std::byte> bytes) {
    if (track.storedBytes() == kUserBytes)
        return drive.disc->read(track, block, bytes).failed() ? kFileFailed : Refusal{};
    std::array<std::byte, kRawSectorBytes + kSubchannelBytes> sector;
    const std::span<std::byte> stored = std::span(sector).first(track.storedBytes());
    for (; !bytes.empty(); bytes = bytes.subspan(kUserBytes), ++block) {
        if (drive.disc->read(track, block, stored).failed()) return kFileFailed;
        const std::size_t user = UserOffset(track);
        // The sub-header of form 2 says that there are 2324 bytes.
        if (track.mode == 2 && user > 0 && (stored[user - 6] & kForm2) != std::byte{0}) return kWrongTrackMode;
        std::ranges::copy(stored.subspan(user, kUserBytes), bytes.begin());
    }
    return {};
}

using Subchannels = std::array<std::byte, kSubchannelBytes>;

/// A whole sector of 2352 bytes and its sub-channels, made of what the disc file keeps of it.
Refusal ReadRawSector(SimDrive& drive, const DiscTrack& track, std::int32_t block, RawSector& sector,
                      Subchannels& subchannels) {
    const std::size_t offset = track.blockBytes == kRawSectorBytes           ? 0
                               : track.blockBytes == 2336 || track.mode == 1 ? 16
                                                                             : 24;
    std::array<std::byte, kRawSectorBytes + kSubchannelBytes> bytes;
    const auto stored = std::span(bytes).first(track.storedBytes());
    if (drive.disc->read(track, block, stored).failed()) return kFileFailed;
    std::ranges::copy(stored.first(track.blockBytes), sector.begin() + static_cast<std::ptrdiff_t>(offset));
    subchannels.fill(std::byte{0});
    if (track.hasSubchannel) std::ranges::copy(stored.last(kSubchannelBytes), subchannels.begin());
    if (track.blockBytes != kRawSectorBytes) CompleteSector(sector, block, track.mode, track.blockBytes == kUserBytes);
    return {};
}

constexpr std::uint16_t BlockBytesOf(std::uint8_t blockType) {
    return blockType == 0 ? 2352 : blockType == 9 ? 2336 : 2048;
}

/// Catalogue number and ISRC of mode page 05h, where they are valid (MMC-6 7.5.4.16).
void TakeCodes(SimDrive& drive, DiscTrack& track) {
    constexpr std::size_t kCatalog = 16, kIsrc = 32;
    const std::vector<std::uint8_t>& page = std::ranges::find(drive.pages, 0x05, &ModePage::code)->current;
    const auto take = [&](std::size_t offset, auto& code, bool (*isSound)(TextView)) {
        const auto begin = page.begin() + static_cast<std::ptrdiff_t>(offset) + 1;
        const auto end = begin + static_cast<std::ptrdiff_t>(code.size());
        if ((page[offset] & 0x80) != 0 && isSound(Text(begin, end))) std::copy(begin, end, code.begin());
    };
    take(kCatalog, drive.state().catalog, IsCatalogNumber);
    take(kIsrc, track.isrc, IsIsrc);
}

/// Whether the open track takes blocks as the write parameters say; the first write settles what it holds.
Refusal SettleTrack(SimDrive& drive, DiscTrack& track) {
    const WriteParameters wanted = CurrentWriteParameters(drive);
    const MediumRules& rules = drive.rules();
    if (rules.writeTypes == 0) return {};
    const bool isFirst = track.state == TrackState::Blank;
    if (!rules.isCd()) {
        const bool isAtOnce = wanted.type == 2;
        if (isAtOnce && (track.number != 1 || track.session != 1)) return kWrongTrackMode;
        if (!isAtOnce && drive.state().isQuickBlanked) return kWrongTrackMode;
        if (isFirst)
            track.isIncremental = !isAtOnce;
        else if (track.isIncremental == isAtOnce)
            return kWrongTrackMode;
        return {};
    }
    if (wanted.type != 1) return kSequence;  // session-at-once begins with a cue sheet
    const bool isAudio = (wanted.trackMode & 4) == 0;
    if (isAudio != (wanted.blockType == 0)) return kWrongTrackMode;
    const std::uint8_t mode = isAudio ? 0 : wanted.blockType == 8 ? 1 : 2;
    if (!isFirst)
        return track.mode == mode && track.blockBytes == BlockBytesOf(wanted.blockType) ? Refusal{} : kWrongTrackMode;
    track.control = wanted.trackMode & 15;
    track.mode = mode;
    track.blockBytes = BlockBytesOf(wanted.blockType);
    TakeCodes(drive, track);
    return {};
}

Refusal WriteOver(SimDrive& drive, Request& request, std::int32_t block, std::uint32_t count) {
    DiscState& state = drive.state();
    if (state.isFinal) return kUnsuitableFormat;
    if (state.formattedBlocks == 0 || state.tracks.empty()) return kNotFormatted;
    if (block < 0 || std::uint64_t(block) + count > state.formattedBlocks) return kBlockOutOfRange;
    if (state.rules->isRandomBdR()) return WriteOnce(drive, request, block, count);
    if (const Refusal refusal = Store(drive, request, state.tracks[0], block, count * kUserBytes)) return refusal;
    // What the host writes where the background format is at, needs none.
    const std::uint32_t first = static_cast<std::uint32_t>(block);
    if (state.background == BackgroundFormat::Running && first <= state.backgroundBlocks)
        state.backgroundBlocks = std::max(state.backgroundBlocks, first + count);
    return {};
}

Refusal WriteRigid(SimDrive& drive, Request& request, std::int32_t block, std::uint32_t count) {
    DiscState& state = drive.state();
    const std::uint32_t ecc = state.rules->eccBlocks;
    if (state.tracks.empty()) return kNotFormatted;
    DiscTrack& track = state.tracks[0];
    // A border that is not complete grows as it is written on (MMC-5 6.5.4.2.10).
    const std::uint32_t end = track.state == TrackState::Complete ? track.size : state.blocks;
    if (block < 0 || std::uint64_t(block) + count > end) return kBlockOutOfRange;
    if (static_cast<std::uint32_t>(block) % ecc != 0 || count % ecc != 0) return kInvalidField;
    if (block > track.next) return kWrongWriteAddress;
    if (const Refusal refusal = Store(drive, request, track, block, count * kUserBytes)) return refusal;
    track.next = std::max(track.next, block + static_cast<std::int32_t>(count));
    track.size = std::max(track.size, static_cast<std::uint32_t>(track.next));
    if (track.state == TrackState::Blank) track.state = TrackState::Open;
    return {};
}

Refusal WriteAppending(SimDrive& drive, Request& request, std::int32_t block, std::uint32_t count) {
    DiscState& state = drive.state();
    if (state.isFinal) return kUnsuitableFormat;
    DiscTrack* track = state.openTrack(block);
    if (track == nullptr && state.rules->hasPseudoOverwrite()) return WritePseudo(drive, request, block, count);
    if (track == nullptr) return kWrongWriteAddress;
    const DiscTrack before = *track;
    const std::array<char, 13> catalogBefore = state.catalog;
    const bool beginsTest = state.rules->writeTypes != 0 && CurrentWriteParameters(drive).isTest && !drive.isTestWrite;
    if (beginsTest) BeginTest(drive);  // before the track takes anything from the parameters
    Refusal refusal = SettleTrack(drive, *track);
    const std::int64_t end = std::int64_t{track->first} + track->size;
    if (!refusal && std::int64_t{block} + count > end) refusal = track->isReserved ? kEndOfTrack : kBlockOutOfRange;
    if (!refusal) refusal = Store(drive, request, *track, block, count * track->blockBytes);
    if (refusal) {
        *track = before;
        state.catalog = catalogBefore;
        if (beginsTest) DropWrite(drive);
        return refusal;
    }
    track->state = TrackState::Open;
    track->next += static_cast<std::int32_t>(count);
    return {};
}

struct Part {
    std::size_t offset, bytes;
};

bool IsForm2(const RawSector& sector, const DiscTrack& track) {
    return track.mode == 2 && (sector[18] & kForm2) != std::byte{0};
}

/// The parts of a sector that READ CD asks for, one after the other.
std::size_t SelectParts(const RawSector& sector, const DiscTrack& track, std::uint8_t wanted,
                        std::span<std::byte> out) {
    if (track.isAudio()) {
        if ((wanted & 0xF8) != 0) std::memcpy(out.data(), sector.data(), sector.size());
        return (wanted & 0xF8) != 0 ? sector.size() : 0;
    }
    const std::size_t user = track.mode == 2 ? 24 : 16, userBytes = IsForm2(sector, track) ? 2324 : kUserBytes;
    // Sync, header, sub-header, data, error correction.
    const std::pair<std::uint8_t, Part> parts[] = {{0x80, {0, 12}},
                                                   {0x20, {12, 4}},
                                                   {0x40, {16, user - 16}},
                                                   {0x10, {user, userBytes}},
                                                   {0x08, {user + userBytes, kRawSectorBytes - user - userBytes}}};
    std::size_t bytes = 0;
    for (const auto& [bit, part] : parts) {
        if ((wanted & bit) == 0) continue;
        std::memcpy(out.data() + bytes, sector.data() + part.offset, part.bytes);
        bytes += part.bytes;
    }
    return bytes;
}

constexpr std::uint8_t kPToW = 1, kQ = 2;  // sub-channel selection of READ CD (MMC-6 table 351)
constexpr std::size_t kErrorBytes = 296;   // a bit for each byte, and two of the block

std::size_t SelectSubchannels(const DiscState& state, const DiscTrack& track, std::int32_t block, std::uint8_t kind,
                              Subchannels& subchannels, std::span<std::byte> out) {
    if (kind == kPToW) {
        PutSubchannels(state, track, block, subchannels);
        std::ranges::copy(subchannels, out.begin());
        return kSubchannelBytes;
    }
    if (kind != kQ) return 0;
    constexpr std::size_t kFormattedBytes = 16;
    std::fill_n(out.begin(), kFormattedBytes, std::byte{0});
    const std::array<std::uint8_t, 12> q = QChannel(state, track, block);
    std::ranges::copy(std::as_bytes(std::span(q)), out.begin());
    if (block < track.first) out[kFormattedBytes - 1] = std::byte{0x80};  // P
    return kFormattedBytes;
}

/// Whether a sector is of the type that READ CD expects.
bool IsExpected(std::uint8_t type, const RawSector& sector, const DiscTrack& track) {
    constexpr std::uint8_t kAudio = 1, kMode1 = 2, kFormless = 3, kForm1 = 4;
    if (type == 0) return true;
    if (type == kAudio || track.isAudio()) return type == kAudio && track.isAudio();
    if (type == kMode1 || track.mode == 1) return type == kMode1 && track.mode == 1;
    return type == kFormless || IsForm2(sector, track) == (type != kForm1);
}

}  // namespace

Refusal Store(SimDrive& drive, Request& request, const DiscTrack& track, std::int32_t block, std::uint32_t bytes) {
    if (request.data.size() < bytes) return kDataPhase;
    if (const Refusal refusal = AdmitWrite(drive, block, bytes)) return refusal;
    const std::uint32_t count = bytes / track.storedBytes();
    if (const Refusal fault = WriteFault(drive, request, block, count)) return fault;
    const bool losesPower = LosesPower(drive);
    const std::uint32_t storedBytes = losesPower ? count / 2 * track.storedBytes() : bytes;
    if (!drive.isTestWrite && drive.disc->write(track, block, request.data.first(storedBytes)).failed())
        return kFileFailed;
    if (losesPower) drive.losePower(drive.power);
    request.transferred = bytes;
    constexpr std::uint8_t kAtOnce = 2;
    const bool begins = track.state == TrackState::Blank && drive.rules().access == Access::Sequential;
    if (begins && !drive.rules().isCd() && drive.rules().writeTypes != 0)
        drive.motion.wantsLeadIn = CurrentWriteParameters(drive).type == kAtOnce;
    BookWrite(drive, {.first = block,
                      .count = count,
                      .bytes = bytes,
                      .passes = VerifiesWrites(drive, request) ? 2u : 1u,
                      .beginsTrack = begins});
    return {};
}

Refusal Read(SimDrive& drive, Request& request) {
    std::int32_t block = static_cast<std::int32_t>(request.be(2, 4));
    std::uint64_t left = BlockCount(request);
    if (left * kUserBytes > request.data.size()) return kDataPhase;
    if (block < 0) return kBlockOutOfRange;
    const std::int32_t begin = block;
    while (left > 0) {
        const DiscTrack* track = nullptr;
        if (const Refusal refusal = FindReadable(drive.state(), block, track)) return refusal;
        if (track->isAudio()) return kWrongTrackMode;
        const std::uint64_t count = ReadableBlocks(
            drive, block, std::min<std::uint64_t>(left, static_cast<std::uint64_t>(ReadableEnd(*track) - block)));
        if (count == 0) return kReadError;
        const std::span<std::byte> bytes = request.data.subspan(request.transferred, count * kUserBytes);
        if (const Refusal refusal = ReadUserData(drive, *track, block, bytes)) return refusal;
        request.transferred += static_cast<std::uint32_t>(bytes.size());
        block += static_cast<std::int32_t>(count);
        left -= count;
        drive.position = block - 1;
    }
    TimeRead(drive, begin, static_cast<std::uint64_t>(block - begin));
    return {};
}

Refusal ReadCd(SimDrive& drive, Request& request) {
    const bool isMsf = request.cdb[0] == 0xB9;
    const auto time = [&](std::size_t at) { return Msf{request.cdb[at], request.cdb[at + 1], request.cdb[at + 2]}; };
    std::int64_t block =
        isMsf ? static_cast<std::int32_t>(ToLba(time(3))) : static_cast<std::int32_t>(request.be(2, 4));
    const std::int64_t count = isMsf ? static_cast<std::int32_t>(ToLba(time(6))) - block : request.be(6, 3);
    const std::uint8_t type = request.cdb[1] >> 2 & 7, wanted = request.cdb[9];
    if (!drive.rules().isCd()) return kUnsuitableMedium;
    const std::uint8_t errors = wanted >> 1 & 3, subchannel = request.cdb[10] & 7;
    const bool isSubchannelKnown = subchannel <= kQ && drive.rules().isCd();
    if (count < 0 || type > 5 || (wanted & 1) != 0 || errors == 3 || !isSubchannelKnown) return kInvalidField;
    RawSector sector;
    Subchannels subchannels;
    std::array<std::byte, kRawSectorBytes + kErrorBytes + kSubchannelBytes> selected;
    for (const std::int64_t end = block + count; block < end; ++block) {
        if (ReadableBlocks(drive, block, 1) == 0) return kReadError;
        const auto place = static_cast<std::int32_t>(block);
        const DiscTrack* track = nullptr;
        if (const Refusal refusal = FindReadable(drive.state(), place, track)) return refusal;
        if (const Refusal refusal = ReadRawSector(drive, *track, place, sector, subchannels)) return refusal;
        if (!IsExpected(type, sector, *track)) return kWrongTrackMode;
        drive.position = place;
        std::size_t bytes = SelectParts(sector, *track, wanted, selected);
        const std::size_t flags = errors == 0 ? 0 : errors == 1 ? kErrorBytes - 2 : kErrorBytes;
        std::fill_n(selected.begin() + static_cast<std::ptrdiff_t>(bytes), flags, std::byte{0});  // no byte is wrong
        bytes += flags;
        bytes += SelectSubchannels(drive.state(), *track, place, subchannel, subchannels,
                                   std::span(selected).subspan(bytes));
        if (request.data.size() - request.transferred < bytes) return kDataPhase;
        if (bytes > 0) std::memcpy(request.data.data() + request.transferred, selected.data(), bytes);
        request.transferred += static_cast<std::uint32_t>(bytes);
    }
    TimeRead(drive, block - count, static_cast<std::uint64_t>(count));
    return {};
}

Refusal Write(SimDrive& drive, Request& request) {
    const std::int32_t block = static_cast<std::int32_t>(request.be(2, 4));
    const std::uint32_t count = BlockCount(request);
    if (count == 0) return {};
    if (!drive.cues.empty()) return WriteCueRegion(drive, request, block, count);
    if (count > request.data.size() / kUserBytes) return kDataPhase;
    switch (drive.rules().access) {
        case Access::Pressed: return kUnsuitableFormat;
        case Access::Overwrite: return WriteOver(drive, request, block, count);
        case Access::Rigid: return WriteRigid(drive, request, block, count);
        case Access::Sequential: break;
    }
    return WriteAppending(drive, request, block, count);
}

Refusal Verify(SimDrive& drive, Request& request) {
    std::int32_t block = static_cast<std::int32_t>(request.be(2, 4));
    std::uint32_t left = request.be(7, 2);
    if ((request.cdb[1] & 2) != 0) return kInvalidField;  // comparing with data of the host
    const std::int32_t begin = block;
    while (left > 0) {
        const DiscTrack* track = nullptr;
        if (const Refusal refusal = FindReadable(drive.state(), block, track)) return refusal;
        if (track->isAudio()) return kWrongTrackMode;
        const auto count = static_cast<std::uint32_t>(
            ReadableBlocks(drive, block, std::min(left, static_cast<std::uint32_t>(ReadableEnd(*track) - block))));
        if (count == 0) return kReadError;
        block += static_cast<std::int32_t>(count);
        left -= count;
    }
    TimeRead(drive, begin, static_cast<std::uint64_t>(block - begin));
    return {};
}

Refusal SynchronizeCache(SimDrive& drive, Request& request) {
    if (const Refusal refusal = Flush(drive)) return refusal;
    Occupy(drive, kLongWrite, 0, (request.cdb[1] & 2) != 0);
    return {};
}

}  // namespace tovlark
