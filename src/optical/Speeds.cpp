#include "optical/Speeds.h"

#include <algorithm>
#include <array>

#include "base/Stored.h"
#include "optical/SendCommand.h"

namespace tovlark {
namespace {

bool IsNearMultiple(std::uint64_t rate, std::uint32_t unit, std::uint32_t below, std::uint32_t above) {
    const auto rest = static_cast<std::uint32_t>(rate % unit);
    return rest < below || rest > above;
}

/// Drives report rates that are rounded in many ways; the order of the questions matters.
std::uint32_t ChooseUnit(std::uint32_t rate, MediaType type) {
    if (rate % kDvdSpeed == 0) return kDvdSpeed;
    if (rate % kCdSpeed == 0) return kCdSpeed;
    const auto code = static_cast<std::uint8_t>(type);
    const bool isNearBd =
        (code == 0 || code >= 32) && (rate < 1246 || (rate % kDvdSpeed >= 11 && rate % kDvdSpeed <= 1374));
    if (rate % kBdSpeed != 0) {
        if (rate % kCdDataSpeed == 0) return kCdDataSpeed;
        if (rate < 17641 && IsNearMultiple(std::uint64_t{rate} * 10, 1764, 11, 1753)) return kCdSpeed;
        if (code >= 1 && code < 16) return kCdSpeed;
        if (code >= 32 && code <= 254) return kBdSpeed;
        if (isNearBd) {
            if (rate >= 4045 && IsNearMultiple(rate, kBdSpeed, 11, 4484)) return kBdSpeed;
            if (IsNearMultiple(rate, kCdSpeed, 21, 155) || rate <= 9878) return kCdSpeed;  // 9878.4: 56.1 times
        }
    }
    return rate % kBdSpeed == 0 || (isNearBd && rate >= 33241) ? kBdSpeed : kDvdSpeed;
}

Text DescribeSpeed(const Texts& texts, std::uint32_t rate, std::uint32_t unit, TextId fraction, TextId whole) {
    const std::uint64_t tenfoldRest = std::uint64_t{rate % unit} * 10;
    const bool isAlwaysWhole = unit == kCdSpeed && rate >= 1760;
    const double factor = static_cast<double>(rate) / unit;
    if (!isAlwaysWhole && tenfoldRest >= unit && tenfoldRest <= std::uint64_t{unit} * 9)
        return texts.format(fraction, {factor, rate});
    return texts.format(whole, {static_cast<std::uint32_t>(factor + 0.4999), rate});
}

std::uint32_t UnitOf(MediaType type) { return IsCd(type) ? kCdSpeed : IsBd(type) ? kBdSpeed : kDvdSpeed; }

std::uint16_t ShortSpeed(std::uint32_t kbPerSecond) {
    return static_cast<std::uint16_t>(std::min<std::uint32_t>(kbPerSecond, 0xFFFF));
}

/// Performance descriptor of SET STREAMING (MMC-6 6.39.2): so many KB in so many milliseconds.
struct StreamingDescriptor {
    std::uint8_t flags = 0;
    std::uint8_t reserved[3] = {};
    Big32 first, last;
    Big32 readSize, readTime, writeSize, writeTime;
};
static_assert(sizeof(StreamingDescriptor) == 28);

bool SendStreaming(Drive drive, std::uint32_t readSpeed, std::uint32_t writeSpeed) {
    constexpr std::uint32_t kSecond = 1000;
    StreamingDescriptor descriptor;
    descriptor.last = 0xFFFFFFFF;
    descriptor.readSize = readSpeed;
    descriptor.readTime = descriptor.writeTime = kSecond;
    descriptor.writeSize = writeSpeed;
    return SendData(drive, SetStreaming(sizeof descriptor), std::as_bytes(std::span(&descriptor, 1)));
}

/// From the mode page of CD drives (2A), for those that know no performance lists.
std::vector<std::uint32_t> ReadSpeedsOfModePage(Drive drive) {
    constexpr std::size_t kPage = 8, kCount = kPage + 30;
    std::array<std::byte, 256> buffer;
    ReplyView reply;
    std::vector<std::uint32_t> speeds;
    if (!ReceiveData(drive, ModeSense10(0x2A, buffer.size()), buffer, reply) || (reply.u8(kPage) & 0x3F) != 0x2A)
        return speeds;
    for (std::size_t index = 0; index < reply.be16(kCount) && reply.has(kCount + 6 + index * 4); ++index)
        speeds.push_back(reply.be16(kCount + 4 + index * 4));
    return speeds;
}

}  // namespace

void AddSpeedEntry(const Texts& texts, std::vector<SpeedEntry>& list, std::uint32_t kbPerSecond, std::uint32_t& unit,
                   MediaType type) {
    if (kbPerSecond == kMaximumSpeed) {
        list.push_back({Text(texts[TextId::SpeedMaximum]), kbPerSecond});
        return;
    }
    if (unit == kChooseUnit) unit = ChooseUnit(kbPerSecond, type);
    if (std::uint64_t{kbPerSecond} * 10 < unit) return;
    list.push_back({DescribeSpeed(texts, kbPerSecond, unit, TextId::SpeedFraction, TextId::SpeedWhole), kbPerSecond});
}

Text DescribeSettingSpeed(const Texts& texts, std::uint32_t kbPerSecond, std::uint32_t unit) {
    return DescribeSpeed(texts, kbPerSecond, unit, TextId::SettingSpeedFraction, TextId::SettingSpeedWhole);
}

std::vector<std::uint32_t> ReadWriteSpeeds(Drive drive) {
    constexpr std::uint16_t kDescriptors = 64;
    constexpr std::size_t kHead = 8, kDescriptorBytes = 16, kSpeed = 12;
    std::array<std::byte, kHead + kDescriptors * kDescriptorBytes> buffer;
    ReplyView reply;
    std::vector<std::uint32_t> speeds;
    if (ReceiveData(drive, GetPerformance(0x03, 0, Lba{0}, kDescriptors), buffer, reply)) {
        const ReplyView list = reply.part(kHead, std::max<std::size_t>(reply.be32(0), 4) - 4);
        for (std::size_t offset = 0; list.has(offset + kDescriptorBytes); offset += kDescriptorBytes)
            speeds.push_back(list.be32(offset + kSpeed));
    }
    return speeds.empty() ? ReadSpeedsOfModePage(drive) : speeds;
}

bool SetDriveSpeed(Drive drive, MediaType type, std::uint32_t readKbPerSecond, std::uint32_t writeKbPerSecond) {
    const bool isSet = (!IsCd(type) && SendStreaming(drive, readKbPerSecond, writeKbPerSecond)) ||
                       SendPlain(drive, SetCdSpeed(ShortSpeed(readKbPerSecond), ShortSpeed(writeKbPerSecond)));
    constexpr double kUnlimited = 256;
    drive.record->writeSpeedFactor =
        writeKbPerSecond == kMaximumSpeed ? kUnlimited : static_cast<double>(writeKbPerSecond) / UnitOf(type);
    return isSet;
}

}  // namespace tovlark
