#include "authoring/RockRidge.h"

#include <algorithm>
#include <cstring>

#include "authoring/IsoDates.h"
#include "base/RockRidgeBytes.h"
#include "base/Sectors.h"
#include "platform/Paths.h"

namespace tovlark {

using namespace rockridge;

namespace {

static_assert(sizeof(ContinuationEntry) == SystemUse::kLeastSpace);

constexpr std::string_view kExtensionIdentifier = "RRIP_1991A";
constexpr std::string_view kExtensionDescriptor =
    "THE ROCK RIDGE INTERCHANGE PROTOCOL PROVIDES SUPPORT FOR POSIX FILE SYSTEM SEMANTICS";
constexpr std::string_view kExtensionSource =
    "PLEASE CONTACT DISC PUBLISHER FOR SPECIFICATION SOURCE.  SEE PUBLISHER IDENTIFIER IN PRIMARY VOLUME DESCRIPTOR "
    "FOR "
    "CONTACT INFORMATION";

constexpr std::uint32_t kPermissionBits = 07777;

void Append(std::vector<std::byte>& bytes, std::span<const std::byte> more) {
    if (more.empty()) return;
    bytes.resize(bytes.size() + more.size());
    std::memcpy(bytes.data() + bytes.size() - more.size(), more.data(), more.size());
}

constexpr std::uint32_t KindBits(NodeKind kind) {
    switch (kind) {
        case NodeKind::Folder: return 0040000;
        case NodeKind::SymbolicLink: return 0120000;
        default: return 0100000;
    }
}

}  // namespace

std::uint32_t PosixModeOf(const CompilationNode& node, bool isRational) {
    if (node.kind == NodeKind::SymbolicLink) return KindBits(node.kind) | 0777;
    std::uint32_t permissions = node.mode & kPermissionBits;
    if (isRational) permissions = node.isFolder() || (permissions & 0111) != 0 ? 0555 : 0444;
    return KindBits(node.kind) | permissions;
}

template <typename Structure>
void SystemUse::add(const Structure& structure) {
    Append(entries_, std::as_bytes(std::span(&structure, 1)));
}

void SystemUse::addBytes(std::string_view bytes) { Append(entries_, std::as_bytes(std::span(bytes))); }

void SystemUse::addName(TextView longName) {
    const std::string encoded = ToUtf8(longName);
    std::string_view rest = encoded;
    do {
        const std::string_view part = rest.substr(0, kContentLimit);
        rest.remove_prefix(part.size());
        add(ContentHead{{{'N', 'M'}, static_cast<std::uint8_t>(sizeof(ContentHead) + part.size())},
                        rest.empty() ? std::uint8_t{0} : ContentHead::kContinues});
        addBytes(part);
    } while (!rest.empty());
}

void SystemUse::addLink(TextView target) {
    std::size_t open = entries_.size();  // the "SL" being filled
    add(ContentHead{{{'S', 'L'}, sizeof(ContentHead)}});
    const auto length = [&]() -> std::byte& { return entries_[open + offsetof(EntryHead, length)]; };
    const auto addComponent = [&](std::uint8_t flags, std::string_view name) {
        if (entries_.size() - open + sizeof(ComponentHead) + name.size() > 255) {
            entries_[open + offsetof(ContentHead, flags)] = std::byte{ContentHead::kContinues};
            open = entries_.size();
            add(ContentHead{{{'S', 'L'}, sizeof(ContentHead)}});
        }
        add(ComponentHead{flags, static_cast<std::uint8_t>(name.size())});
        addBytes(name);
        length() = static_cast<std::byte>(entries_.size() - open);
    };

    if (!target.empty() && IsPathSeparator(target[0])) addComponent(ComponentHead::kRoot, {});
    for (std::size_t begin = 0; begin < target.size();) {
        std::size_t end = begin;
        while (end < target.size() && !IsPathSeparator(target[end])) ++end;
        const TextView part = target.substr(begin, end - begin);
        begin = end + 1;
        if (part.empty()) continue;
        if (part == u".") {
            addComponent(ComponentHead::kCurrent, {});
        } else if (part == u"..") {
            addComponent(ComponentHead::kParent, {});
        } else {
            const std::string encoded = ToUtf8(part);
            constexpr std::size_t kNameLimit = kContentLimit - sizeof(ComponentHead);
            for (std::string_view rest = encoded; !rest.empty();) {
                const std::string_view piece = rest.substr(0, kNameLimit);
                rest.remove_prefix(piece.size());
                addComponent(rest.empty() ? std::uint8_t{0} : ComponentHead::kContinues, piece);
            }
        }
    }
}

void SystemUse::addPosix(const CompilationNode& node, std::uint32_t subfolderCount) {
    PosixEntry posix;
    posix.mode = PosixModeOf(node, context_.rationalAttributes);
    posix.links = node.isFolder() ? 2 + subfolderCount : std::max(node.links, 1u);
    posix.owner = context_.rationalAttributes ? 0 : node.owner;
    posix.group = context_.rationalAttributes ? 0 : node.group;
    add(posix);
}

void SystemUse::build(const CompilationNode& node, RecordRole role, std::uint32_t subfolderCount, std::size_t space,
                      std::uint32_t areaSector, std::uint64_t areaOffset) {
    entries_.clear();
    const bool isNamed = role == RecordRole::Child;
    const bool isLink = node.kind == NodeKind::SymbolicLink;
    const bool isRoot = role == RecordRole::Self && node.parent == nullptr;

    if (isRoot) add(SharingEntry{});
    PresenceEntry presence;
    presence.present = PresenceEntry::kPosix | PresenceEntry::kTimes;
    if (isNamed) presence.present |= PresenceEntry::kName;
    if (isLink) presence.present |= PresenceEntry::kLink;
    add(presence);
    if (isNamed) addName(node.longName);
    addPosix(node, subfolderCount);
    add(TimesEntry{.modified = ToRecordDate(clock_, RecordedDateOf(context_, node))});
    if (isLink) addLink(node.linkTarget);
    if (isRoot) {
        ExtensionHead extension{.identifierLength = kExtensionIdentifier.size(),
                                .descriptorLength = kExtensionDescriptor.size(),
                                .sourceLength = kExtensionSource.size()};
        extension.head.length = static_cast<std::uint8_t>(sizeof(ExtensionHead) + kExtensionIdentifier.size() +
                                                          kExtensionDescriptor.size() + kExtensionSource.size());
        add(extension);
        for (const std::string_view text : {kExtensionIdentifier, kExtensionDescriptor, kExtensionSource})
            addBytes(text);
    }
    distribute(space, areaSector, areaOffset);
}

void SystemUse::distribute(std::size_t space, std::uint32_t areaSector, std::uint64_t areaOffset) {
    constexpr std::size_t kNone = ~std::size_t{0};
    bytes_.clear();
    std::size_t begin = 0, end = space;  // of the piece being filled, in `bytes_`
    std::size_t link = kNone;            // the "CE" that leads to it
    const auto closePiece = [&] {
        if (link == kNone) {
            recordSize_ = bytes_.size();
            return;
        }
        const std::uint64_t place = areaOffset + (begin - recordSize_);
        ContinuationEntry entry;
        entry.sector = static_cast<std::uint32_t>(areaSector + place / kSectorSize);
        entry.offset = static_cast<std::uint32_t>(place % kSectorSize);
        entry.length = static_cast<std::uint32_t>(bytes_.size() - begin);
        std::memcpy(bytes_.data() + link, &entry, sizeof(entry));
    };

    for (std::size_t next = 0; next < entries_.size();) {
        const auto length = static_cast<std::size_t>(entries_[next + offsetof(EntryHead, length)]);
        const std::size_t rest = entries_.size() - next;
        const std::size_t needed = std::min(rest, length + sizeof(ContinuationEntry));
        if (bytes_.size() + needed > end) {
            const std::size_t newLink = bytes_.size();
            bytes_.resize(newLink + sizeof(ContinuationEntry));
            closePiece();
            link = newLink;
            std::size_t left = kSectorSize - (areaOffset + (bytes_.size() - recordSize_)) % kSectorSize;
            if (needed > left) {
                bytes_.resize(bytes_.size() + left);
                left = kSectorSize;
            }
            begin = bytes_.size();
            end = begin + left;
        }
        Append(bytes_, std::span(entries_).subspan(next, length));
        next += length;
    }
    closePiece();
}

}  // namespace tovlark
