// Sub-channels: what the drive makes of P and Q, CD-Text, and what it tells of them.
#include <algorithm>

#include "base/Checksum.h"
#include "simdrive/Drive.h"

namespace tovlark {

namespace {

constexpr std::size_t kPackBytes = 18, kMostPacks = 8 * 256;

std::uint8_t Bcd(std::uint32_t value) { return static_cast<std::uint8_t>(value / 10 % 10 << 4 | value % 10); }

/// Index of a block, and its time from the track's start; before that the time runs down.
std::pair<std::uint8_t, std::uint32_t> PlaceIn(const DiscTrack& track, std::int32_t block) {
    if (block < track.first) return {std::uint8_t{0}, static_cast<std::uint32_t>(track.first - block)};
    const auto relative = static_cast<std::uint32_t>(block - track.first);
    const auto passed = std::ranges::upper_bound(track.indexes, relative) - track.indexes.begin();
    return {static_cast<std::uint8_t>(passed + 1), relative};
}

std::uint16_t InvertedCrc(std::span<const std::uint8_t> bytes) {
    return static_cast<std::uint16_t>(~Crc16(std::as_bytes(bytes)));
}

/// Puts `count` bits at a bit address, most significant first.
void PutBits(std::span<std::uint8_t> bytes, std::size_t at, unsigned value, std::size_t count) {
    for (; count > 0; --count, ++at)
        if ((value >> (count - 1) & 1) != 0) bytes[at / 8] |= static_cast<std::uint8_t>(0x80 >> at % 8);
}

bool IsSet(std::span<const char> code) { return code[0] != 0; }

}  // namespace

void CdTextReader::add(std::span<const std::byte> block) {
    constexpr std::size_t kSymbols = 24;  // of six bits each make a pack
    for (; block.size() >= kSymbols && !isWhole_; block = block.subspan(kSymbols)) {
        std::array<std::uint8_t, kPackBytes> pack{};
        for (std::size_t index = 0; index < kSymbols; ++index)
            PutBits(pack, index * 6, std::to_integer<unsigned>(block[index]) & 0x3F, 6);
        const std::uint16_t crc = InvertedCrc(std::span(pack).first(16));
        if (pack[0] < 0x80 || pack[0] > 0x8F || pack[16] != crc >> 8 || pack[17] != (crc & 0xFF)) continue;
        isWhole_ = packs.size() == kMostPacks * kPackBytes ||
                   (!packs.empty() && std::equal(pack.begin(), pack.begin() + 4, packs.begin()));
        if (!isWhole_) packs.insert(packs.end(), pack.begin(), pack.end());
    }
}

std::array<std::uint8_t, 12> QChannel(const DiscState& state, const DiscTrack& track, std::int32_t block) {
    // Catalogue number and ISRC come in at least one of 100 sections.
    constexpr std::int32_t kPeriod = 100, kCatalogSection = 25, kIsrcSection = 75;
    std::array<std::uint8_t, 12> q{};
    const auto [index, relative] = PlaceIn(track, block);
    const Msf absolute = ToMsf(Lba{block}), time = SplitFrames(relative);
    const auto section = block % kPeriod;
    q[9] = Bcd(absolute.frame);
    if (IsSet(state.catalog) && section == kCatalogSection) {
        q[0] = 2;
        for (std::size_t at = 0; at < state.catalog.size(); ++at)
            PutBits(q, 8 + 4 * at, static_cast<unsigned>(state.catalog[at]) & 15, 4);
    } else if (IsSet(track.isrc) && section == kIsrcSection && block >= track.first) {
        q[0] = 3;
        for (std::size_t at = 0; at < 5; ++at)
            PutBits(q, 8 + 6 * at, (static_cast<unsigned>(track.isrc[at]) - '0') & 0x3F, 6);
        for (std::size_t at = 5; at < track.isrc.size(); ++at)
            PutBits(q, 8 + 32 + 4 * (at - 5), static_cast<unsigned>(track.isrc[at]) & 15, 4);
    } else {
        q = {1, Bcd(track.number),    Bcd(index),           Bcd(time.minute),   Bcd(time.second), Bcd(time.frame),
             0, Bcd(absolute.minute), Bcd(absolute.second), Bcd(absolute.frame)};
    }
    q[0] |= static_cast<std::uint8_t>(track.control << 4);
    const std::uint16_t crc = InvertedCrc(std::span(q).first(10));
    q[10] = static_cast<std::uint8_t>(crc >> 8);
    q[11] = static_cast<std::uint8_t>(crc);
    return q;
}

void PutSubchannels(const DiscState& state, const DiscTrack& track, std::int32_t block,
                    std::span<std::byte, kSubchannelBytes> user) {
    const std::array<std::uint8_t, 12> q = QChannel(state, track, block);
    const unsigned pause = block < track.first ? 0x80 : 0;
    for (std::size_t bit = 0; bit < user.size(); ++bit) {
        const unsigned qBit = (q[bit / 8] >> (7 - bit % 8) & 1u) << 6;
        user[bit] = static_cast<std::byte>(pause | qBit | (std::to_integer<unsigned>(user[bit]) & 0x3F));
    }
}

Refusal ReadSubChannel(SimDrive& drive, Request& request) {
    constexpr std::uint8_t kPosition = 1, kCatalog = 2, kIsrc = 3, kNoAudioStatus = 0x15;
    const DiscState& state = drive.state();
    const bool isMsf = (request.cdb[1] & 2) != 0;
    const std::uint8_t format = request.cdb[3], number = request.cdb[6];
    if (!state.rules->isCd()) return kUnsuitableMedium;
    Reply reply;
    reply.put(1, 0).put(1, kNoAudioStatus).put(2, 0);
    const auto putCode = [&](std::span<const char> code) {
        reply.put(1, IsSet(code) ? 0x80 : 0);
        for (const char sign : code) reply.put(1, static_cast<std::uint8_t>(sign));
    };
    const auto putTime = [&](Msf time) { reply.put(1, 0).put(1, time.minute).put(1, time.second).put(1, time.frame); };
    if ((request.cdb[2] & 0x40) == 0) return Answer(request, reply, request.be(7, 2));
    if (format == kPosition) {
        const DiscTrack* track = state.trackOf(drive.position);
        if (track == nullptr) return kInvalidField;
        const auto [index, relative] = PlaceIn(*track, drive.position);
        reply.put(1, format).put(1, 0x10 | track->control).put(1, track->number).put(1, index);
        if (isMsf) {
            putTime(ToMsf(Lba{drive.position}));
            putTime(SplitFrames(relative));
        } else {
            reply.put(4, static_cast<std::uint32_t>(drive.position));
            reply.put(4, static_cast<std::uint32_t>(drive.position - track->first));
        }
    } else if (format == kCatalog) {
        reply.put(1, format).put(3, 0);
        putCode(state.catalog);
        reply.put(2, 0);
    } else if (format == kIsrc && number >= 1 && number <= state.tracks.size()) {
        const DiscTrack& track = state.tracks[number - 1u];
        reply.put(1, format).put(1, 0x10 | track.control).put(1, number).put(1, 0);
        putCode(track.isrc);
        reply.put(3, 0);
    } else {
        return kInvalidField;
    }
    reply.set(2, 2, reply.size() - 4);
    return Answer(request, reply, request.be(7, 2));
}

}  // namespace tovlark
