#include "readers/IsoVolume.h"

#include <algorithm>
#include <string_view>

#include "readers/IsoRecords.h"
#include "readers/RecordedDates.h"
#include "readers/RockRidgeEntries.h"

namespace tovlark {

namespace {

/// Flags of a directory record (ECMA-119 9.1.6).
constexpr std::uint8_t kAssociated = 4, kHasNextSection = 0x80;
constexpr std::size_t kMostSections = 65536;

constexpr std::uint32_t kKindMask = 0170000, kLinkKind = 0120000, kFileKind = 0100000;

std::string_view BytesOf(std::span<const std::byte> bytes) {
    return {static_cast<const char*>(static_cast<const void*>(bytes.data())), bytes.size()};
}

/// Cuts ";" and the version number, and the dot of an empty extension before it.
template <typename String>
void CutVersion(String& name) {
    std::size_t end = name.size();
    while (end > 0 && name[end - 1] >= '0' && name[end - 1] <= '9') --end;
    if (end <= 1 || end == name.size() || name[end - 1] != ';') return;
    name.resize(end - 1);
    if (name.size() > 1 && name.back() == '.') name.pop_back();
}

class IsoVolume final : public Volume {
public:
    IsoVolume(const ByteSource& source, VolumeKind kind, const IsoTreeFacts& tree, std::uint8_t rockRidgeSkip)
        : cache_(source),
          kind_(kind),
          label_(tree.fields[static_cast<std::size_t>(IsoField::Volume)]),
          blockSize_(tree.blockSize),
          rockRidgeSkip_(rockRidgeSkip) {
        root_.name = u"/";
        root_.kind = EntryKind::Folder;
        root_.place = tree.rootOffset;
        root_.sizeBytes = tree.rootSizeBytes;
        RockRidgeEntries entries;
        readSelf(root_, entries);
        root_.sizeBytes = tree.rootSizeBytes;
    }

    VolumeKind kind() const override { return kind_; }
    Text label() const override { return label_; }
    VolumeEntry root() const override { return root_; }
    std::optional<VolumeFault> list(const VolumeEntry& folder,
                                    const std::function<bool(const VolumeEntry&)>& visit) override;
    std::optional<VolumeFault> locate(const VolumeEntry& file, std::vector<DataExtent>& extents) override;

private:
    bool isRockRidge() const { return kind_ == VolumeKind::RockRidge; }
    std::uint64_t dataOffset(const DirectoryRecordHead& head) const {
        return (std::uint64_t{head.extent} + head.extendedLength) * blockSize_;
    }
    void setName(VolumeEntry& entry, const RecordReader& record, const RockRidgeEntries& entries) const;
    static void setAttributes(VolumeEntry& entry, const RockRidgeEntries& entries);
    bool readSelf(VolumeEntry& folder, RockRidgeEntries& entries);
    std::optional<VolumeFault> fill(VolumeEntry& entry, const RecordReader& record, RockRidgeEntries& entries);
    bool isRelocationFolder(const VolumeEntry& entry);
    std::span<const std::byte> entriesOf(const RecordReader& record) const {
        const std::size_t skipped = record.isSelf() && record.offset() == root_.place ? 0 : rockRidgeSkip_;
        return record.systemUse().subspan(std::min<std::size_t>(skipped, record.systemUse().size()));
    }

    CachedSource cache_;
    VolumeKind kind_;
    Text label_;
    std::uint32_t blockSize_;
    std::uint8_t rockRidgeSkip_;
    VolumeEntry root_;
};

void IsoVolume::setName(VolumeEntry& entry, const RecordReader& record, const RockRidgeEntries& entries) const {
    if (kind_ == VolumeKind::Joliet) {
        entry.name = FromUcs2(record.name());
        CutVersion(entry.name);
    } else if (isRockRidge() && !entries.name.empty()) {
        entry.name = FromUtf8(entries.name);
    } else {
        entry.name = FromUtf8(BytesOf(record.name()));
        CutVersion(entry.name);
    }
    if (entry.name.empty()) entry.name = u"_";
}

void IsoVolume::setAttributes(VolumeEntry& entry, const RockRidgeEntries& entries) {
    if (entries.hasAttributes) {
        entry.hasAttributes = true;
        entry.mode = entries.mode;
        entry.owner = entries.owner;
        entry.group = entries.group;
        entry.links = entries.links;
    }
    if (entries.modified) entry.date = entries.modified;
}

/// Takes size, date and attributes of a folder from its record of itself; false when there is none.
bool IsoVolume::readSelf(VolumeEntry& folder, RockRidgeEntries& entries) {
    RecordReader record(cache_, folder.place, kSectorSize - folder.place % kSectorSize);
    if (!record.next() || !record.isSelf()) return false;
    folder.sizeBytes = record.head().dataLength;
    folder.date = FromRecordDate(record.head().date);
    if (isRockRidge()) {
        ReadRockRidge(entriesOf(record), cache_, blockSize_, entries);
        setAttributes(folder, entries);
    }
    return true;
}

std::optional<VolumeFault> IsoVolume::fill(VolumeEntry& entry, const RecordReader& record, RockRidgeEntries& entries) {
    const DirectoryRecordHead& head = record.head();
    const bool isInterleaved = head.unitSize != 0 || head.gapSize != 0;
    const bool isFolder = (head.flags & DirectoryRecordHead::kFolder) != 0;
    entry.kind = isFolder ? EntryKind::Folder : EntryKind::File;
    entry.sizeBytes = head.dataLength;
    entry.date = FromRecordDate(head.date);
    entry.hasAttributes = false;
    entry.mode = entry.owner = entry.group = 0;
    entry.links = 1;
    entry.linkTarget.clear();
    entry.place = isFolder ? (isInterleaved ? 0 : dataOffset(head)) : record.offset();
    setName(entry, record, entries);
    if (!isRockRidge()) return std::nullopt;

    setAttributes(entry, entries);
    if (!isFolder && entry.hasAttributes && !entries.childBlock) {
        const std::uint32_t recordedKind = entry.mode & kKindMask;
        if (recordedKind == kLinkKind) {
            entry.kind = EntryKind::SymbolicLink;
            entry.linkTarget = FromUtf8(entries.linkTarget);
        } else if (recordedKind != kFileKind && recordedKind != 0) {
            entry.kind = EntryKind::Other;
        }
    }
    const bool isDamaged = entries.isDamaged;
    const SystemError error = entries.error;
    if (entries.childBlock) {
        entry.kind = EntryKind::Folder;
        entry.place = std::uint64_t{*entries.childBlock} * blockSize_;
        if (!readSelf(entry, entries)) return VolumeFault{TextId::FolderDamaged, entry.name, {}};
    }
    if (isDamaged) return VolumeFault{TextId::AttributesDamaged, entry.name, error};
    return std::nullopt;
}

/// True for the folder that only holds relocated ones, which show up where they belong.
bool IsoVolume::isRelocationFolder(const VolumeEntry& entry) {
    if (entry.kind != EntryKind::Folder) return false;
    if (!EqualsIgnoringCase(entry.name, u"rr_moved") && !EqualsIgnoringCase(entry.name, u".rr_moved")) return false;
    RecordReader record(cache_, entry.place, entry.sizeBytes);
    RockRidgeEntries entries;
    bool hasRelocated = false;
    while (record.next()) {
        if (record.isSelf() || record.isParent()) continue;
        ReadRockRidge(entriesOf(record), cache_, blockSize_, entries);
        if (!entries.isRelocated) return false;
        hasRelocated = true;
    }
    return hasRelocated;
}

std::optional<VolumeFault> IsoVolume::list(const VolumeEntry& folder,
                                           const std::function<bool(const VolumeEntry&)>& visit) {
    if (folder.kind != EntryKind::Folder || folder.place == 0)
        return VolumeFault{TextId::FolderDamaged, folder.name, {}};
    std::optional<VolumeFault> fault;
    VolumeEntry entry;
    RockRidgeEntries entries;
    std::string sectionName;  // of the file whose next section is to come
    bool hasNextSection = false;
    const bool isRoot = folder.place == root_.place;
    RecordReader record(cache_, folder.place, folder.sizeBytes);
    for (std::uint32_t index = 0; record.next(); ++index) {
        const std::uint8_t flags = record.head().flags;
        if (record.isSelf() || record.isParent()) {
            if (index < 2) continue;
            return VolumeFault{TextId::FolderDamaged, folder.name, {}};
        }
        if ((flags & kAssociated) != 0) continue;
        if (hasNextSection && BytesOf(record.name()) == sectionName) {
            entry.sizeBytes += record.head().dataLength;
        } else {
            if (hasNextSection && !visit(entry)) return fault;
            hasNextSection = false;
            if (isRockRidge()) {
                ReadRockRidge(entriesOf(record), cache_, blockSize_, entries);
                if (entries.isRelocated) continue;
            }
            std::optional<VolumeFault> entryFault = fill(entry, record, entries);
            if (entryFault && !fault) fault = std::move(entryFault);
            if (isRoot && isRockRidge() && isRelocationFolder(entry)) continue;
        }
        hasNextSection = (flags & kHasNextSection) != 0 && entry.kind == EntryKind::File;
        if (hasNextSection) {
            sectionName = BytesOf(record.name());
        } else if (!visit(entry)) {
            return fault;
        }
    }
    if (hasNextSection && !visit(entry)) return fault;
    if (record.isBroken()) {
        const TextId text = record.isBeyondSource() ? TextId::FolderBeyondEnd : TextId::FolderDamaged;
        return VolumeFault{text, folder.name, record.error()};
    }
    return fault;
}

std::optional<VolumeFault> IsoVolume::locate(const VolumeEntry& file, std::vector<DataExtent>& extents) {
    extents.clear();
    if (file.kind == EntryKind::Folder) {
        if (file.place == 0) return VolumeFault{TextId::FolderDamaged, file.name, {}};
        const std::uint64_t heldBytes = cache_.source().sizeBytes - std::min(file.place, cache_.source().sizeBytes);
        if (const std::uint64_t size = std::min(file.sizeBytes, heldBytes); size > 0)
            extents.push_back({file.place, size});
        if (heldBytes < file.sizeBytes) return VolumeFault{TextId::FolderBeyondEnd, file.name, {}};
        return std::nullopt;
    }
    if (file.kind != EntryKind::File || file.sizeBytes == 0) return std::nullopt;
    // The sections stand one after another, maybe with records of an associated file between them.
    RecordReader record(cache_, file.place,
                        cache_.source().sizeBytes - std::min(file.place, cache_.source().sizeBytes));
    RockRidgeEntries entries;
    std::uint64_t rest = file.sizeBytes;
    for (std::size_t count = 0; rest > 0 && count < kMostSections && record.next(); ++count) {
        const DirectoryRecordHead& head = record.head();
        if ((head.flags & kAssociated) != 0) continue;
        const std::uint64_t length = head.dataLength;
        if (length > rest) break;
        if (count == 0 && isRockRidge()) ReadRockRidge(entriesOf(record), cache_, blockSize_, entries);
        const bool isInterleaved = head.unitSize != 0 || head.gapSize != 0;
        if (isInterleaved || entries.isUnsupported) return VolumeFault{TextId::FileUnsupported, file.name, {}};
        if (!cache_.holds(dataOffset(head), length)) return VolumeFault{TextId::FileBeyondEnd, file.name, {}};
        if (length > 0) extents.push_back({dataOffset(head), length});
        rest -= length;
    }
    if (rest == 0) return std::nullopt;
    extents.clear();
    return VolumeFault{TextId::FileDamaged, file.name, record.error()};
}

}  // namespace

std::unique_ptr<Volume> OpenIso(const ByteSource& source, VolumeKind kind, const IsoVolumeFacts& facts) {
    const std::optional<IsoTreeFacts>& tree = kind == VolumeKind::Joliet ? facts.joliet : facts.iso;
    if (!tree || kind == VolumeKind::Udf || (kind == VolumeKind::RockRidge && !facts.hasRockRidge)) return nullptr;
    return std::make_unique<IsoVolume>(source, kind, *tree, facts.rockRidgeSkip);
}

}  // namespace tovlark
