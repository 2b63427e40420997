#include "optical/DiscTracks.h"

#include <array>

#include "optical/SendCommand.h"

namespace tovlark {
namespace {

constexpr unsigned kFormatRuns = 2;          // of byte 7 of the disc information, MMC-6 6.21.3.1.10
constexpr std::uint32_t kMostTracks = 4096;  // a DVD-R has up to 2302

/// A number whose two bytes stand apart.
std::uint32_t Joined(ReplyView reply, std::size_t low, std::size_t high) {
    return reply.u8(low) | reply.u8(high) * 256u;
}

}  // namespace

std::optional<DiscInformation> QueryDisc(Drive drive) {
    std::array<std::byte, 34> buffer;
    ReplyView reply;
    if (!ReceiveData(drive, ReadDiscInformation(buffer.size()), buffer, reply) || !reply.has(8)) return std::nullopt;
    return DiscInformation{.status = static_cast<DiscStatus>(reply.u8(2) & 3),
                           .isErasable = reply.bit(2, 4),
                           .isFormatting = (reply.u8(7) & 3) == kFormatRuns,
                           .sessions = Joined(reply, 4, 9),
                           .firstTrack = reply.u8(3),
                           .lastTrack = Joined(reply, 6, 11)};
}

std::optional<TrackInformation> QueryTrack(Drive drive, std::uint32_t number) {
    std::array<std::byte, 48> buffer;
    ReplyView reply;
    const Cdb command = ReadTrackInformation(TrackAddress::Track, number, buffer.size());
    if (!ReceiveData(drive, command, buffer, reply) || !reply.has(28)) return std::nullopt;
    TrackInformation track{.number = Joined(reply, 2, 32),
                           .session = Joined(reply, 3, 33),
                           .control = static_cast<std::uint8_t>(reply.u8(5) & 0x0F),
                           .dataMode = static_cast<std::uint8_t>(reply.u8(6) & 0x0F),
                           .isReserved = reply.bit(6, 7),
                           .isBlank = reply.bit(6, 6),
                           .first = Lba{static_cast<std::int32_t>(reply.be32(8))},
                           .next = {},
                           .blocks = reply.be32(24),
                           .freeBlocks = reply.be32(16)};
    if (reply.bit(7, 0)) track.next = Lba{static_cast<std::int32_t>(reply.be32(12))};
    return track;
}

std::vector<TrackInformation> QueryTracks(Drive drive, const DiscInformation& disc) {
    std::vector<TrackInformation> tracks;
    for (std::uint32_t number = disc.firstTrack; number <= disc.lastTrack && tracks.size() < kMostTracks; ++number) {
        const auto track = QueryTrack(drive, number);
        if (!track) break;
        tracks.push_back(*track);
    }
    return tracks;
}

}  // namespace tovlark
