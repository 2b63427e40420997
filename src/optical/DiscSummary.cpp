#include "optical/DiscSummary.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "base/Format.h"
#include "base/IsoBytes.h"
#include "optical/SendCommand.h"

namespace tovlark {
namespace {

constexpr std::uint64_t kMostBlocks = UINT32_MAX;

struct BlockCounts {
    std::uint32_t total = 0, free = 0;
};

std::optional<VolumeDescriptor> ReadVolumeDescriptor(Drive drive) {
    constexpr Lba kFirstDescriptor{16};
    std::array<std::byte, kSectorSize> buffer;
    ReplyView reply;
    if (!ReceiveData(drive, Read10(kFirstDescriptor, 1), buffer, reply) || !reply.has(kSectorSize)) return std::nullopt;
    VolumeDescriptor volume;
    std::memcpy(&volume, buffer.data(), sizeof volume);
    const VolumeDescriptor primary;
    const bool isPrimary = volume.type == primary.type &&
                           std::memcmp(volume.identifier, primary.identifier, sizeof primary.identifier) == 0;
    return isPrimary ? std::optional(volume) : std::nullopt;
}

/// Text of fixed width, without the blanks at its ends; what does not belong in a line becomes a blank.
Text Trimmed(std::span<const char> field) {
    std::string bytes(field.begin(), field.end());
    for (char& unit : bytes)
        if (static_cast<unsigned char>(unit) < 0x20 || unit == 0x7F) unit = ' ';
    const std::size_t first = bytes.find_first_not_of(' ');
    if (first == bytes.npos) return {};
    return FromUtf8(bytes.substr(first, bytes.find_last_not_of(' ') - first + 1));
}

/// The current capacity, or the greatest that formatting can give if that is asked for and greater.
std::optional<std::uint32_t> ReadFormattedBlocks(Drive drive, bool takesGreatest) {
    constexpr std::uint8_t kNoneOrUnknown = 3, kFullFormat = 0x00, kFullFormatInPackets = 0x10;
    std::array<std::byte, kFormatCapacitiesBytes> buffer;
    ReplyView reply;
    if (!ReceiveData(drive, ReadFormatCapacities(), buffer, reply) || reply.u8(3) < 8 || !reply.has(12))
        return std::nullopt;
    const bool isKnown = (reply.u8(8) & 3) != kNoneOrUnknown;
    std::uint32_t blocks = isKnown ? reply.be32(4) : 0;
    const ReplyView formats = reply.part(12, reply.u8(3) - 8u);
    for (std::size_t offset = 0; takesGreatest && formats.has(offset + 8); offset += 8) {
        const unsigned format = formats.u8(offset + 4) >> 2;
        if (format == kFullFormat || format == kFullFormatInPackets) blocks = std::max(blocks, formats.be32(offset));
    }
    return isKnown || blocks > 0 ? std::optional(blocks) : std::nullopt;
}

/// What the file system in front says that it takes; a medium without one is as good as empty.
std::optional<BlockCounts> ReadOverwritableCounts(Drive drive, bool takesGreatest) {
    const auto total = ReadFormattedBlocks(drive, takesGreatest);
    if (!total) return std::nullopt;
    const auto volume = ReadVolumeDescriptor(drive);
    const std::uint32_t used = volume ? std::min<std::uint32_t>(volume->spaceSize, *total) : 0;
    return BlockCounts{*total, *total - used};
}

/// By the last track, which on a disc that takes more is the one that is written next.
std::optional<BlockCounts> ReadTrackCounts(Drive drive) {
    std::array<std::byte, 48> buffer;
    ReplyView reply;
    if (!ReceiveData(drive, ReadDiscInformation(42), std::span(buffer).first(42), reply) || !reply.has(7))
        return std::nullopt;
    const std::uint32_t track = reply.u8(6) | reply.u8(11) << 8u;
    if (track == 0) return std::nullopt;
    if (!ReceiveData(drive, ReadTrackInformation(TrackAddress::Track, track, buffer.size()), buffer, reply) ||
        !reply.has(28))
        return std::nullopt;
    const std::uint32_t size = reply.be32(24);
    const std::uint64_t total = std::min<std::uint64_t>(std::uint64_t{reply.be32(8)} + size, kMostBlocks);
    return BlockCounts{static_cast<std::uint32_t>(total), std::min(size, reply.be32(16))};
}

}  // namespace

DriveIdentity ReadDriveIdentity(Drive drive) {
    std::array<std::byte, 36> buffer;
    ReplyView reply;
    if (!ReceiveData(drive, Inquiry(buffer.size()), buffer, reply) || !reply.has(buffer.size())) return {};
    std::array<char, 28> fields;
    std::memcpy(fields.data(), buffer.data() + 8, fields.size());
    const std::span<const char> all(fields);
    return {Trimmed(all.first(8)), Trimmed(all.subspan(8, 16)), Trimmed(all.subspan(24))};
}

void ReadDiscSummary(const Texts& texts, DriveEntry& entry, Drive drive, SummaryParts parts) {
    entry.totalBlocks = entry.usedBlocks = entry.freeBlocks = 0;
    entry.summary.clear();
    entry.mediaType = DetectMediaType(drive);
    entry.mediaName = MediaTypeName(texts, entry.mediaType);
    if (parts == SummaryParts::MediaOnly) return;
    const bool isRestricted = entry.mediaType == MediaType::DvdRwRestricted;
    const auto counts = IsOverwritable(entry.mediaType) || isRestricted ? ReadOverwritableCounts(drive, isRestricted)
                                                                        : ReadTrackCounts(drive);
    if (!counts) {
        if (entry.mediaType != MediaType::None && entry.mediaType != MediaType::Unknown)
            entry.mediaName = texts[TextId::InvalidOrBlankDisc];
        return;
    }
    entry.totalBlocks = counts->total;
    entry.freeBlocks = counts->free;
    entry.usedBlocks = counts->total - counts->free;
    entry.summary = texts.format(TextId::DiscSummary, {entry.totalBlocks >> 9, entry.freeBlocks >> 9});
}

Text DriveDisplayName(const Texts& texts, Drive drive) {
    const char16_t letter = drive.record->letter;
    Text name = drive.record->path == Text(u"\\\\.\\") + letter + u":" ? SystemVolumeLabel(letter) : Text();
    if (name.empty())
        if (const auto volume = ReadVolumeDescriptor(drive)) name = Trimmed(volume->volumeIdentifier);
    if (name.empty()) {
        const auto [vendor, product, revision] = ReadDriveIdentity(drive);
        name = vendor.empty() || product.empty() ? vendor + product : vendor + u" " + product;
    }
    if (name.empty()) name = texts[TextId::DriveUnnamed];
    return texts.format(TextId::DriveName, {letter, name});
}

Text DescribeDiscs(const Texts& texts, std::span<const DriveEntry> entries) {
    Text line(texts[TextId::DiscListHead]);
    bool isFirst = true;
    for (const DriveEntry& entry : entries) {
        line += isFirst ? texts.format(TextId::DiscListFirst, {entry.mediaName, entry.summary})
                        : texts.format(TextId::DiscListNext, {entry.mediaName + u" " + entry.summary});
        isFirst = false;
    }
    return line;
}

bool CheckNextWritableAddress(Task& task, Drive drive, std::uint32_t track, Lba expectedStart,
                              std::uint32_t neededBlocks, TrackAddress kind) {
    const Texts& texts = task.session.texts();
    std::array<std::byte, 48> buffer;
    ReplyView reply;
    const bool isRead = ReceiveData(drive, ReadTrackInformation(kind, track, buffer.size()), buffer, reply);
    if (!isRead || !reply.has(20) || !reply.bit(7, 0)) {
        ReportError(task, texts.format(TextId::NextAddressUnreadable, {GetLastDriveError(drive)}));
        return false;
    }
    const Lba next{static_cast<std::int32_t>(reply.be32(12))};
    if (next != expectedStart) {
        ReportError(task, texts.format(TextId::NextAddressDiffers,
                                       {static_cast<std::int32_t>(expectedStart), static_cast<std::int32_t>(next)}));
        return false;
    }
    if (reply.be32(16) < neededBlocks) {
        ReportError(task, ReportShortage(texts, neededBlocks, reply.be32(16)));
        return false;
    }
    return true;
}

Text ReportShortage(const Texts& texts, std::uint32_t neededBlocks, std::uint32_t availableBlocks) {
    constexpr std::uint32_t kSmallShortage = 201;  // blocks
    constexpr double kMegabytesPerBlock = 0.001953125;
    const TextId form =
        neededBlocks - availableBlocks < kSmallShortage ? TextId::MegabytesFine : TextId::MegabytesCoarse;
    return texts.format(TextId::NotEnoughFreeBlocks, {texts.format(form, {neededBlocks * kMegabytesPerBlock}),
                                                      texts.format(form, {availableBlocks * kMegabytesPerBlock})});
}

}  // namespace tovlark
