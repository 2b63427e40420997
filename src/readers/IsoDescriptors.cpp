#include <algorithm>
#include <string_view>

#include "base/BootBytes.h"
#include "base/IsoBytes.h"
#include "readers/IsoRecords.h"
#include "readers/IsoVolume.h"
#include "readers/RecordedDates.h"
#include "readers/RockRidgeEntries.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kFirstDescriptor = 16, kMostDescriptors = 64;
constexpr std::string_view kStandard = "CD001";
constexpr std::string_view kElTorito = "EL TORITO SPECIFICATION";

template <std::size_t size>
std::string_view View(const char (&field)[size]) {
    return {field, size};
}

Text NarrowText(std::string_view field) {
    const std::size_t end = field.find_last_not_of(std::string_view(" \0", 2));
    return FromUtf8(field.substr(0, end == field.npos ? 0 : end + 1));
}

Text JolietText(std::string_view field) {
    Text text = FromUcs2(std::as_bytes(std::span(field)));
    const std::size_t end = text.find_last_not_of(TextView(u" \0", 2));
    text.resize(end == text.npos ? 0 : end + 1);
    return text;
}

std::uint8_t JolietLevel(const VolumeDescriptor& descriptor) {
    const std::string_view escape = View(descriptor.escapeSequences).substr(0, 3);
    if (escape == "%/@") return 1;
    if (escape == "%/C") return 2;
    return escape == "%/E" ? 3 : 0;
}

class DescriptorReader {
public:
    explicit DescriptorReader(const ByteSource& source) : cache_(source) {}

    IsoVolumeFacts read() {
        bool hasPrimary = false, hasAny = false;
        for (std::uint32_t index = 0; index < kMostDescriptors; ++index) {
            VolumeDescriptor descriptor;
            SystemError error;
            if (!cache_.readStructure((kFirstDescriptor + index) * std::uint64_t{kSectorSize}, descriptor, error)) {
                if (!error.failed()) break;  // the source ends
                blame(u"ISO 9660", error);
                continue;
            }
            if (View(descriptor.identifier) != kStandard) continue;
            hasAny = true;
            if (descriptor.type == VolumeDescriptor::kTerminator) break;
            if (descriptor.type == VolumeDescriptor::kPrimary && !hasPrimary) {
                hasPrimary = true;
                facts_.iso = treeOf(descriptor, u"ISO 9660", NarrowText);
            }
            if (descriptor.type == VolumeDescriptor::kSupplementary && facts_.jolietLevel == 0 &&
                JolietLevel(descriptor) != 0) {
                facts_.joliet = treeOf(descriptor, u"Joliet", JolietText);
                facts_.jolietLevel = facts_.joliet ? JolietLevel(descriptor) : 0;
            }
            if (descriptor.type == BootRecord().type) takeBootRecord(descriptor);
        }
        if (hasAny && !hasPrimary) blame(u"ISO 9660", {});
        if (!hasAny) facts_.fault.reset();
        if (facts_.iso) findRockRidge();
        return std::move(facts_);
    }

private:
    void blame(TextView tree, SystemError error) {
        if (!facts_.fault) facts_.fault = VolumeFault{TextId::DescriptorDamaged, Text(tree), error};
    }

    std::optional<IsoTreeFacts> treeOf(const VolumeDescriptor& descriptor, TextView name,
                                       Text (*decode)(std::string_view)) {
        IsoTreeFacts tree;
        tree.blockSize = descriptor.blockSize;
        tree.rootOffset = (std::uint64_t{descriptor.root.extent} + descriptor.root.extendedLength) * tree.blockSize;
        tree.rootSizeBytes = descriptor.root.dataLength;
        tree.volumeSizeBytes = std::uint64_t{descriptor.spaceSize} * tree.blockSize;
        if (SystemError error; !isUsable(tree, error)) {
            blame(name, error);
            return std::nullopt;
        }
        const std::string_view fields[] = {
            View(descriptor.volumeIdentifier),       View(descriptor.systemIdentifier),
            View(descriptor.volumeSetIdentifier),    View(descriptor.publisherIdentifier),
            View(descriptor.dataPreparerIdentifier), View(descriptor.applicationIdentifier),
            View(descriptor.copyrightFile),          View(descriptor.abstractFile),
            View(descriptor.bibliographicFile)};
        static_assert(std::size(fields) == std::size(tree.fields));
        std::transform(std::begin(fields), std::end(fields), tree.fields.begin(), decode);
        const IsoVolumeDate dates[] = {descriptor.creation, descriptor.modification, descriptor.expiration,
                                       descriptor.effective};
        std::transform(std::begin(dates), std::end(dates), tree.dates.begin(), FromVolumeDate);
        return tree;
    }

    /// True when the root folder can be read and begins with the record of itself.
    bool isUsable(const IsoTreeFacts& tree, SystemError& error) {
        const bool isBlockSize = tree.blockSize == 512 || tree.blockSize == 1024 || tree.blockSize == kSectorSize;
        if (!isBlockSize || tree.rootOffset == 0 || tree.rootSizeBytes == 0) return false;
        RecordReader records(cache_, tree.rootOffset, tree.rootSizeBytes);
        if (records.next() && records.isSelf()) return true;
        error = records.error();
        return false;
    }

    void takeBootRecord(const VolumeDescriptor& descriptor) {
        BootRecord record;
        const auto bytes = std::as_bytes(std::span(&descriptor, 1));
        std::copy_n(bytes.begin(), sizeof(record), std::as_writable_bytes(std::span(&record, 1)).begin());
        if (View(record.system).starts_with(kElTorito) && !facts_.bootCatalogSector)
            facts_.bootCatalogSector = record.catalogSector;
    }

    /// Looks for "SP" and "ER" in the root's record of itself. CD-ROM XA puts 14 bytes of its own before them.
    void findRockRidge() {
        constexpr std::size_t kXaBytes = 14;
        RecordReader records(cache_, facts_.iso->rootOffset, facts_.iso->rootSizeBytes);
        if (!records.next()) return;
        const std::span<const std::byte> area = records.systemUse();
        RockRidgeEntries entries;
        for (const std::size_t skipped : {std::size_t{0}, kXaBytes}) {
            if (area.size() < skipped) return;
            ReadRockRidge(area.subspan(skipped), cache_, facts_.iso->blockSize, entries);
            if (!entries.isSharing) continue;
            facts_.hasRockRidge = entries.hasRockRidge;
            facts_.rockRidgeSkip = entries.skipBytes;
            return;
        }
    }

    CachedSource cache_;
    IsoVolumeFacts facts_;
};

}  // namespace

IsoVolumeFacts ReadIsoFacts(const ByteSource& source) { return DescriptorReader(source).read(); }

}  // namespace tovlark
