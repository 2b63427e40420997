#include "readers/RockRidgeEntries.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "base/RockRidgeBytes.h"
#include "readers/RecordedDates.h"

namespace tovlark {

using namespace rockridge;

namespace {

constexpr std::size_t kMostAreas = 64;
constexpr std::size_t kMostAreaBytes = 64 * 1024;  // of all continuation areas of one record

constexpr std::string_view kIdentifiers[] = {"RRIP_1991A", "IEEE_P1282", "IEEE_1282"};

std::string_view TextOf(std::span<const std::byte> bytes) {
    return {static_cast<const char*>(static_cast<const void*>(bytes.data())), bytes.size()};
}

/// The structure at the beginning of the bytes; nothing when they are too few.
template <typename Structure>
std::optional<Structure> Take(std::span<const std::byte> bytes) {
    if (bytes.size() < sizeof(Structure)) return std::nullopt;
    std::optional<Structure> structure(std::in_place);
    std::memcpy(&*structure, bytes.data(), sizeof(Structure));
    return structure;
}

class EntryReader {
public:
    EntryReader(CachedSource& cache, std::uint32_t blockSize, RockRidgeEntries& result)
        : cache_(cache), blockSize_(blockSize), result_(result) {}

    void readAll(std::span<const std::byte> area) {
        readArea(area);
        std::vector<std::byte> bytes;
        std::size_t total = 0;
        for (std::size_t count = 0; next_; ++count) {
            const ContinuationEntry link = *next_;
            next_.reset();
            total += link.length;
            if (count == kMostAreas || total > kMostAreaBytes) return damaged();
            bytes.resize(link.length);
            const std::uint64_t offset = std::uint64_t{link.sector} * blockSize_ + link.offset;
            if (!cache_.readWhole(offset, bytes, result_.error)) return damaged();
            readArea(bytes);
        }
        if (isNameOpen_ || isLinkOpen_) damaged();
    }

private:
    void damaged() { result_.isDamaged = true; }

    void readArea(std::span<const std::byte> area) {
        isEnded_ = false;
        while (area.size() >= sizeof(EntryHead) && !isEnded_) {
            if (area[0] == std::byte{0}) return;  // padding
            const auto length = static_cast<std::size_t>(area[offsetof(EntryHead, length)]);
            if (length < sizeof(EntryHead) || length > area.size()) return damaged();
            readEntry(TextOf(area.first(2)), area.first(length));
            area = area.subspan(length);
        }
    }

    void readEntry(std::string_view signature, std::span<const std::byte> entry) {
        struct Row {
            std::string_view signature;
            void (EntryReader::*read)(std::span<const std::byte>);
        };
        static constexpr Row kRows[] = {
            {"NM", &EntryReader::readName},      {"PX", &EntryReader::readPosix},
            {"TF", &EntryReader::readTimes},     {"SL", &EntryReader::readLink},
            {"CE", &EntryReader::readContinue},  {"CL", &EntryReader::readChild},
            {"RE", &EntryReader::readRelocated}, {"SP", &EntryReader::readSharing},
            {"ER", &EntryReader::readExtension}, {"RR", &EntryReader::readPresence},
            {"SF", &EntryReader::readSparse},    {"ST", &EntryReader::readEnd},
        };
        for (const Row& row : kRows) {
            if (row.signature == signature) return (this->*row.read)(entry);
        }
    }

    void readName(std::span<const std::byte> entry) {
        constexpr std::uint8_t kCurrentOrParent = 6;
        const auto head = Take<ContentHead>(entry);
        if (!head) return damaged();
        if ((head->flags & kCurrentOrParent) != 0 || (result_.hasName && !isNameOpen_)) return;
        result_.hasName = true;
        result_.name += TextOf(entry.subspan(sizeof(ContentHead)));
        isNameOpen_ = (head->flags & ContentHead::kContinues) != 0;
    }

    void readPosix(std::span<const std::byte> entry) {
        const auto posix = Take<PosixEntry>(entry);
        if (!posix) return damaged();
        result_.hasRockRidge = result_.hasAttributes = true;
        result_.mode = posix->mode;
        result_.links = posix->links;
        result_.owner = posix->owner;
        result_.group = posix->group;
    }

    void readTimes(std::span<const std::byte> entry) {
        constexpr std::uint8_t kCreation = 1, kModification = 2, kLongForm = 0x80;
        if (entry.size() <= sizeof(EntryHead)) return damaged();
        const auto flags = static_cast<std::uint8_t>(entry[sizeof(EntryHead)]);
        if ((flags & kModification) == 0) return;
        std::span<const std::byte> stamps = entry.subspan(sizeof(EntryHead) + 1);
        const std::size_t size = (flags & kLongForm) != 0 ? sizeof(IsoVolumeDate) : sizeof(IsoRecordDate);
        if ((flags & kCreation) != 0) stamps = stamps.subspan(std::min(size, stamps.size()));
        if (stamps.size() < size) return damaged();
        result_.modified = (flags & kLongForm) != 0 ? FromVolumeDate(*Take<IsoVolumeDate>(stamps))
                                                    : FromRecordDate(*Take<IsoRecordDate>(stamps));
    }

    void readLink(std::span<const std::byte> entry) {
        const auto head = Take<ContentHead>(entry);
        if (!head) return damaged();
        isLinkOpen_ = (head->flags & ContentHead::kContinues) != 0;
        for (entry = entry.subspan(sizeof(ContentHead)); !entry.empty();) {
            const auto component = Take<ComponentHead>(entry);
            if (!component || component->length > entry.size() - sizeof(ComponentHead)) return damaged();
            addComponent(component->flags, TextOf(entry.subspan(sizeof(ComponentHead), component->length)));
            entry = entry.subspan(sizeof(ComponentHead) + component->length);
        }
    }

    void addComponent(std::uint8_t flags, std::string_view name) {
        std::string& target = result_.linkTarget;
        if ((flags & ComponentHead::kRoot) != 0) {
            target = "/";
            isComponentOpen_ = false;
            return;
        }
        if (!isComponentOpen_ && !target.empty() && target.back() != '/') target += '/';
        if ((flags & ComponentHead::kCurrent) != 0) name = ".";
        if ((flags & ComponentHead::kParent) != 0) name = "..";
        target += name;
        isComponentOpen_ = (flags & ComponentHead::kContinues) != 0;
    }

    void readContinue(std::span<const std::byte> entry) {
        next_ = Take<ContinuationEntry>(entry);
        if (!next_) damaged();
    }

    void readChild(std::span<const std::byte> entry) {
        const auto block = Take<Both32>(entry.subspan(sizeof(EntryHead)));
        if (!block) return damaged();
        result_.childBlock = *block;
    }

    void readSharing(std::span<const std::byte> entry) {
        const auto sharing = Take<SharingEntry>(entry);
        if (!sharing || sharing->check[0] != 0xBE || sharing->check[1] != 0xEF) return;
        result_.isSharing = true;
        result_.skipBytes = sharing->skip;
    }

    void readExtension(std::span<const std::byte> entry) {
        const auto head = Take<ExtensionHead>(entry);
        if (!head) return damaged();
        const std::string_view texts = TextOf(entry.subspan(sizeof(ExtensionHead)));
        const std::string_view identifier = texts.substr(0, head->identifierLength);
        if (std::ranges::find(kIdentifiers, identifier) != std::end(kIdentifiers)) result_.hasRockRidge = true;
    }

    void readRelocated(std::span<const std::byte>) { result_.isRelocated = true; }
    void readPresence(std::span<const std::byte>) { result_.hasRockRidge = true; }
    void readSparse(std::span<const std::byte>) { result_.isUnsupported = true; }
    void readEnd(std::span<const std::byte>) { isEnded_ = true; }

    CachedSource& cache_;
    std::uint32_t blockSize_;
    RockRidgeEntries& result_;
    std::optional<ContinuationEntry> next_;
    bool isEnded_ = false, isNameOpen_ = false, isLinkOpen_ = false, isComponentOpen_ = false;
};

}  // namespace

void ReadRockRidge(std::span<const std::byte> area, CachedSource& cache, std::uint32_t blockSize,
                   RockRidgeEntries& entries) {
    std::string name = std::move(entries.name), target = std::move(entries.linkTarget);
    name.clear();
    target.clear();
    entries = {};
    entries.name = std::move(name);
    entries.linkTarget = std::move(target);
    EntryReader(cache, blockSize, entries).readAll(area);
}

}  // namespace tovlark
