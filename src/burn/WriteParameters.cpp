#include "burn/WriteParameters.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "optical/SendCommand.h"

namespace tovlark {
namespace {

constexpr std::uint8_t kPage = 0x05;
constexpr std::size_t kHeaderBytes = 8, kBlockDescriptorLength = 6;  // SPC-4 7.5.5
constexpr std::size_t kLeastPageBytes = 14;                          // up to the packet size
constexpr std::uint16_t kListBytes = 60;

// Byte 2 of the page
constexpr std::uint8_t kIncremental = 0x00, kDiscAtOnce = 0x02, kTestWrite = 0x10, kLinkSizeValid = 0x20,
                       kBufferProtected = 0x40;
// Byte 3
constexpr std::uint8_t kDataTrack = 0x04, kIncrementalTrack = 0x05, kCopy = 0x10, kFixedPackets = 0x20,
                       kNextSession = 0xC0;
constexpr std::uint8_t kRawBlocks = 0, kMode1Blocks = 8, kLinkBlocks = 16, kPacketBlocks = 16;

}  // namespace

bool SetWriteParameters(std::span<std::byte> list, const WriteMode& mode) {
    const ReplyView reply(list);
    const std::size_t offset = kHeaderBytes + reply.be16(kBlockDescriptorLength);
    if (!reply.has(offset + kLeastPageBytes) || (reply.u8(offset) & 0x3F) != kPage) return false;
    const auto page = list.subspan(offset);
    const auto put = [&](std::size_t at, unsigned value) { page[at] = static_cast<std::byte>(value); };
    const auto kept = [&](std::size_t at, unsigned bits) { return std::to_integer<unsigned>(page[at]) & bits; };

    put(0, kPage);
    put(1, static_cast<unsigned>(page.size() - 2));
    put(2, (mode.atOnce ? kDiscAtOnce : kIncremental | kLinkSizeValid) | (mode.bufferProtects ? kBufferProtected : 0u) |
               (mode.simulates ? kTestWrite : 0u));
    put(3, (mode.atOnce ? kDataTrack : kIncrementalTrack | kFixedPackets | kept(3, kCopy)) |
               (mode.leavesOpen ? kNextSession : 0u));
    put(4, mode.hasRawBlocks ? kRawBlocks : kMode1Blocks);
    if (!mode.atOnce) put(5, kLinkBlocks);
    std::ranges::fill(page.subspan(8), std::byte{0});
    if (!mode.atOnce) put(13, kPacketBlocks);  // the lowest byte of the size
    list[0] = list[1] = std::byte{0};          // the length of the list is no matter of the list
    return true;
}

bool SelectWriteParameters(Drive drive, const WriteMode& mode) {
    std::array<std::byte, kListBytes> list;
    ReplyView reply;
    if (!ReceiveData(drive, ModeSense10(kPage, kListBytes), list, reply)) return false;
    const auto used = std::span(list).first(std::min<std::size_t>(reply.size(), reply.be16(0) + 2u));
    WriteMode chosen = mode;
    for (const bool protects : {true, false}) {
        chosen.bufferProtects = protects;
        if (!SetWriteParameters(used, chosen)) return false;
        if (SendData(drive, ModeSelect10(static_cast<std::uint16_t>(used.size())), used)) return true;
    }
    return false;
}

bool SendTimestamp(Drive drive) {
    constexpr std::uint8_t kTimestamp = 0x0F;  // MMC-6 6.36.3.4
    constexpr std::string_view kTime = "20070101000000";
    std::array<std::byte, 22> list{};
    static_assert(4 + 4 + kTime.size() == std::size(list));
    list[1] = std::byte{static_cast<std::uint8_t>(list.size() - 2)};
    std::ranges::transform(kTime, list.begin() + 8, [](char digit) { return static_cast<std::byte>(digit); });
    return SendData(drive, SendDiscStructure(kTimestamp, list.size()), list);
}

}  // namespace tovlark
