#include "burn/Format.h"

#include <algorithm>
#include <array>

#include "base/Sectors.h"
#include "base/Stored.h"
#include "optical/SendCommand.h"

namespace tovlark {
namespace {

/// Parameter list of FORMAT UNIT with its one descriptor (MMC-6 6.5.3, 6.5.4).
struct FormatList {
    std::uint8_t reserved = 0;
    std::uint8_t flags = 0;
    Big16 descriptorBytes = 8;
    Big32 blocks;
    std::uint8_t typeAndSubType = 0;
    std::uint8_t parameter[3] = {};
};
static_assert(sizeof(FormatList) == 12);

constexpr std::uint8_t kOptionsValid = 0x80, kNoCertification = 0x20, kImmed = 0x02;  // of `flags`
constexpr std::uint8_t kFormatData = 0x10, kCompleteList = 0x08, kFormatCode = 0x01;  // byte 1 of the command

}  // namespace

std::optional<FormatOffer> FindFormat(Drive drive, std::uint8_t type) {
    constexpr std::size_t kFirst = 12, kBytes = 8;  // behind the header and the current capacity
    std::array<std::byte, kFormatCapacitiesBytes> buffer;
    ReplyView reply;
    if (!ReceiveData(drive, ReadFormatCapacities(), buffer, reply)) return std::nullopt;
    const ReplyView offers = reply.part(kFirst, std::max<std::size_t>(reply.u8(3), kBytes) - kBytes);
    for (std::size_t offset = 0; offers.has(offset + kBytes); offset += kBytes)
        if (offers.u8(offset + 4) >> 2 == type) return FormatOffer{type, offers.be32(offset), offers.be24(offset + 5)};
    return std::nullopt;
}

std::optional<std::uint32_t> ReadDiscBlocks(Drive drive) {
    std::array<std::byte, 8> buffer;
    ReplyView reply;
    if (!ReceiveData(drive, ReadCapacity(), buffer, reply) || !reply.has(8) || reply.be32(4) != kSectorSize)
        return std::nullopt;
    return reply.be32(0) + 1;
}

bool StartFormat(Drive drive, const FormatRequest& request) {
    FormatList list;
    list.flags = kImmed;
    if (request.certify != Certify::AsTheDriveDoes) list.flags |= kOptionsValid;
    if (request.certify == Certify::No) list.flags |= kNoCertification;
    list.blocks = request.format.blocks;
    list.typeAndSubType = static_cast<std::uint8_t>(request.format.type << 2 | request.subType);
    for (std::size_t index = 0; index < 3; ++index)
        list.parameter[index] = static_cast<std::uint8_t>(request.format.parameter >> (8 * (2 - index)));
    Cdb command = FormatUnit();
    // Without certification the defects that are known are all there are, and they stay (MMC-6 6.5.2.5).
    if (request.certify == Certify::No) command.put8(1, kFormatData | kCompleteList | kFormatCode);
    return SendData(drive, command, std::as_bytes(std::span(&list, 1)));
}

std::optional<BdReFormat> FindBdReFormat(Drive drive) {
    constexpr std::uint16_t kFormattable = 0x0023;
    constexpr std::size_t kFeature = 8, kFlags = kFeature + 4;
    constexpr unsigned kCurrent = 0, kWithoutSpares = 3, kCertifies = 0;  // bits
    std::array<std::byte, 20> buffer;
    ReplyView reply;
    const bool isTold =
        ReceiveData(drive, GetConfiguration(FeatureScope::One, kFormattable, buffer.size()), buffer, reply) &&
        reply.has(kFlags + 1) && reply.be16(kFeature) == kFormattable && reply.bit(kFeature + 2, kCurrent);
    const bool canCertify = isTold && reply.bit(kFlags, kCertifies);
    const bool hasNoSpares = isTold && reply.bit(kFlags, kWithoutSpares);
    auto offer = FindFormat(drive, hasNoSpares ? FormatType::kBdReNoSpares : FormatType::kBdReSpares);
    if (!offer) return std::nullopt;
    if (hasNoSpares) offer->parameter = kSectorSize;
    return BdReFormat{*offer, canCertify};
}

}  // namespace tovlark
