#include "readers/UdfVolume.h"

#include <algorithm>
#include <string_view>

#include "base/Dates.h"
#include "readers/UdfNode.h"

namespace tovlark {

namespace {

using Fault = std::optional<VolumeFault>;

constexpr std::uint64_t kRecognitionStart = 32768;      // 3/8.3.1
constexpr std::uint32_t kMostRecognitionSectors = 256;  // far beyond what writers make
constexpr std::uint64_t kLongestLink = 64 * 1024;

std::uint64_t ToNumber(UdfPlace place) { return std::uint64_t{place.partition} << 32 | place.block; }

UdfPlace ToPlace(std::uint64_t number) {
    return {static_cast<std::uint16_t>(number >> 32), static_cast<std::uint32_t>(number)};
}

// Nothing when it is no date.
std::optional<UnixSeconds> ToDate(const UdfTime& time) {
    if (time.month < 1 || time.month > 12 || time.day < 1 || time.day > 31 || time.hour > 23 || time.minute > 59 ||
        time.second > 60)
        return std::nullopt;
    const UnixSeconds seconds = ToSeconds({static_cast<std::int16_t>(std::uint16_t{time.year}), time.month, time.day,
                                           time.hour, time.minute, time.second});
    // Twelve bits, signed
    const std::int32_t minutes = ((time.typeAndOffset & 0xFFF) ^ 0x800) - 0x800;
    const bool isLocal = time.typeAndOffset >> 12 == 1 && minutes >= -1440 && minutes <= 1440;
    return seconds - (isLocal ? minutes * 60 : 0);
}

EntryKind KindOf(std::uint8_t fileType) {
    switch (fileType) {
        case 0:  // not told
        case UdfIcbTag::kFile:
        case UdfIcbTag::kRealTimeFile: return EntryKind::File;
        case UdfIcbTag::kFolder: return EntryKind::Folder;
        case UdfIcbTag::kSymbolicLink: return EntryKind::SymbolicLink;
        default: return EntryKind::Other;
    }
}

// The file-type bits of a POSIX mode (4/14.6.6 names the types).
std::uint32_t ModeOfType(std::uint8_t fileType) {
    constexpr std::uint8_t kBlockDevice = 6, kCharacterDevice = 7, kFifo = 9, kSocket = 10;
    switch (fileType) {
        case UdfIcbTag::kFolder: return 0040000;
        case UdfIcbTag::kSymbolicLink: return 0120000;
        case kBlockDevice: return 0060000;
        case kCharacterDevice: return 0020000;
        case kFifo: return 0010000;
        case kSocket: return 0140000;
        default: return 0100000;
    }
}

// Five bits each for others, group and owner, the lowest three of which are POSIX's (4/14.9.5).
std::uint32_t ModeOf(const UdfNode& node) {
    std::uint32_t mode = ModeOfType(node.fileType);
    mode |= (node.permissions & 7) | (node.permissions >> 5 & 7) << 3 | (node.permissions >> 10 & 7) << 6;
    if ((node.flags & UdfIcbTag::kSetUser) != 0) mode |= 04000;
    if ((node.flags & UdfIcbTag::kSetGroup) != 0) mode |= 02000;
    if ((node.flags & UdfIcbTag::kSticky) != 0) mode |= 01000;
    return mode;
}

// The target of a symbolic link from its path components (4/14.16); nothing when they are wrong.
std::optional<Text> JoinComponents(std::span<const std::byte> bytes) {
    Text target;
    while (!bytes.empty()) {
        const auto head = ReadStructure<UdfPathComponent>(bytes);
        if (bytes.size() < sizeof(head) || head.nameLength > bytes.size() - sizeof(head)) return std::nullopt;
        const auto name = DecodeUdfText(bytes.subspan(sizeof(head), head.nameLength));
        bytes = bytes.subspan(sizeof(head) + head.nameLength);
        if (head.type == UdfPathComponent::kRoot || head.type == UdfPathComponent::kRootOfAll) {
            target = u"/";
            continue;
        }
        if (!target.empty() && target.back() != u'/') target += u'/';
        switch (head.type) {
            case UdfPathComponent::kParent: target += u".."; break;
            case UdfPathComponent::kHere: target += u'.'; break;
            case UdfPathComponent::kName:
                if (!name) return std::nullopt;
                target += *name;
                break;
            default: return std::nullopt;
        }
    }
    return target;
}

class UdfVolume : public Volume {
public:
    explicit UdfVolume(const ByteSource& source) : space_(source) {}

    Fault open() {
        UdfOpened opened;
        if (Fault fault = OpenUdfSpace(space_, opened)) return fault;
        label_ = opened.label;
        root_.name = u"/";
        if (Fault fault = describe(opened.root, root_)) return fault;
        if (root_.kind != EntryKind::Folder) return VolumeFault{TextId::FolderDamaged, root_.name, {}};
        return std::nullopt;
    }

    VolumeKind kind() const override { return VolumeKind::Udf; }
    Text label() const override { return label_; }
    VolumeEntry root() const override { return root_; }
    Fault list(const VolumeEntry& folder, const std::function<bool(const VolumeEntry&)>& visit) override;
    Fault locate(const VolumeEntry& file, std::vector<DataExtent>& extents) override;

private:
    /// Fills in everything but the name, which stands already.
    Fault describe(UdfPlace place, VolumeEntry& entry);

    UdfSpace space_;
    Text label_;
    VolumeEntry root_;
    UdfNode node_;  // of `describe`: too large for a new one each time
};

Fault UdfVolume::describe(UdfPlace place, VolumeEntry& entry) {
    if (Fault fault = ReadUdfNode(space_, place, entry.name, node_)) return fault;
    constexpr std::uint32_t kNobody = 0xFFFFFFFF;  // UDF 2.3.6.1: not recorded
    entry.kind = KindOf(node_.fileType);
    entry.sizeBytes = node_.sizeBytes;
    entry.date = ToDate(node_.modified);
    entry.hasAttributes = true;
    entry.mode = ModeOf(node_);
    entry.owner = node_.owner == kNobody ? 0 : node_.owner;
    entry.group = node_.group == kNobody ? 0 : node_.group;
    entry.links = node_.links;
    entry.place = ToNumber(place);
    entry.linkTarget.clear();
    if (entry.kind != EntryKind::SymbolicLink) return std::nullopt;
    std::vector<std::byte> components;
    if (Fault fault = ReadUdfData(space_, node_, kLongestLink, entry.name, components)) return fault;
    auto target = JoinComponents(components);
    if (!target) return VolumeFault{TextId::FileDamaged, entry.name, {}};
    entry.linkTarget = std::move(*target);
    return std::nullopt;
}

// The identifiers of a folder one after the other, read in large pieces.
class IdentifierReader {
public:
    IdentifierReader(UdfSpace& space, std::vector<DataExtent> extents, std::uint64_t sizeBytes)
        : stream_(space, std::move(extents)), unread_(sizeBytes), buffer_(kPieceBytes) {}

    bool atEnd() const { return begin_ == end_ && unread_ == 0; }
    /// Takes the next one: its head, and its name as stored. False when it is wrong or cannot be read (`error`).
    bool next(UdfFileIdentifier& head, std::span<const std::byte>& name, SystemError& error) {
        if (!ensure(sizeof(head), error)) return false;
        head = ReadStructure<UdfFileIdentifier>(bytes());
        const std::size_t nameStart = sizeof(head) + head.implementationUseLength;
        const std::size_t length = (nameStart + head.nameLength + 3) / 4 * 4;  // padding included
        if (!ensure(length, error) || !HasUdfTag(bytes().first(length), UdfTagId::FileIdentifier, std::nullopt))
            return false;
        name = bytes().subspan(nameStart, head.nameLength);
        begin_ += length;
        return true;
    }

private:
    static constexpr std::size_t kPieceBytes = 128 * 1024;  // more than the longest one

    std::span<const std::byte> bytes() const { return std::span(buffer_).subspan(begin_, end_ - begin_); }
    // Has that many bytes at hand.
    bool ensure(std::size_t count, SystemError& error) {
        if (end_ - begin_ >= count) return true;
        std::copy(buffer_.begin() + static_cast<std::ptrdiff_t>(begin_),
                  buffer_.begin() + static_cast<std::ptrdiff_t>(end_), buffer_.begin());
        end_ -= begin_;
        begin_ = 0;
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(unread_, buffer_.size() - end_));
        std::size_t readCount = 0;
        error = stream_.read(std::span(buffer_).subspan(end_, wanted), readCount);
        end_ += readCount;
        unread_ -= readCount;
        return !error.failed() && end_ >= count;
    }

    UdfDataStream stream_;
    std::uint64_t unread_;
    std::vector<std::byte> buffer_;
    std::size_t begin_ = 0, end_ = 0;  // of what is in the buffer
};

Fault UdfVolume::list(const VolumeEntry& folder, const std::function<bool(const VolumeEntry&)>& visit) {
    std::vector<DataExtent> extents;
    if (Fault fault = ReadUdfNode(space_, ToPlace(folder.place), folder.name, node_)) return fault;
    if (node_.fileType != UdfIcbTag::kFolder || node_.sizeBytes > space_.sizeBytes())
        return VolumeFault{TextId::FolderDamaged, folder.name, {}};
    if (Fault fault = LocateUdfData(space_, node_, folder.name, extents)) return fault;

    IdentifierReader reader(space_, std::move(extents), node_.sizeBytes);
    Fault first;  // of an item: the others are listed all the same
    while (!reader.atEnd()) {
        UdfFileIdentifier head;
        std::span<const std::byte> name;
        SystemError error;
        if (!reader.next(head, name, error)) return VolumeFault{TextId::FolderDamaged, folder.name, error};
        if ((head.characteristics & (UdfFileIdentifier::kParent | UdfFileIdentifier::kDeleted)) != 0) continue;
        VolumeEntry entry;
        Fault fault;
        if (auto decoded = DecodeUdfText(name); decoded && !decoded->empty()) {
            entry.name = std::move(*decoded);
            fault = describe({head.icb.partition, head.icb.block}, entry);
        } else {
            fault = VolumeFault{TextId::FolderDamaged, folder.name, {}};
        }
        if (fault) {
            if (!first) first = std::move(fault);
        } else if (!visit(entry)) {
            break;
        }
    }
    return first;
}

Fault UdfVolume::locate(const VolumeEntry& file, std::vector<DataExtent>& extents) {
    if (Fault fault = ReadUdfNode(space_, ToPlace(file.place), file.name, node_)) return fault;
    return LocateUdfData(space_, node_, file.name, extents);
}

}  // namespace

bool HasUdf(const ByteSource& source) {
    // Structures stand in sectors of the volume, but at least 2048 bytes apart (3/9.1.1)
    for (const std::uint64_t step : {2048, 4096}) {
        for (std::uint32_t index = 0; index < kMostRecognitionSectors; ++index) {
            char head[6];
            std::size_t readCount = 0;
            const SystemError error = source.readAt(source.self, kRecognitionStart + index * step,
                                                    std::as_writable_bytes(std::span(head)), readCount);
            if (error.failed() || readCount < sizeof(head)) break;
            const std::string_view identifier(head + 1, 5);
            if (identifier == "NSR02" || identifier == "NSR03") return true;
            if (identifier != "CD001" && identifier != "BEA01" && identifier != "TEA01" && identifier != "BOOT2" &&
                identifier != "CDW02")
                break;
        }
    }
    return false;
}

std::optional<std::uint16_t> ReadUdfRevision(const ByteSource& source) {
    UdfSpace space(source);
    UdfOpened opened;
    if (!HasUdf(source) || OpenUdfSpace(space, opened)) return std::nullopt;
    return opened.revision;
}

std::unique_ptr<Volume> OpenUdf(const ByteSource& source, std::optional<VolumeFault>& fault) {
    auto volume = std::make_unique<UdfVolume>(source);
    fault = volume->open();
    return fault ? nullptr : std::move(volume);
}

}  // namespace tovlark
