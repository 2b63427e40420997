#include "readers/BootCatalog.h"

#include <string_view>

#include "base/BootBytes.h"
#include "readers/CachedSource.h"
#include "readers/IsoVolume.h"

namespace tovlark {

namespace {

/// More selection criteria of the entry before it (El Torito 2.5).
struct ExtensionRecord {
    static constexpr std::uint8_t kHeader = 0x44;

    std::uint8_t header, flags;
    std::uint8_t criteria[30];
};

/// Of an entry's media byte: what it emulates, and whether extensions follow.
constexpr std::uint8_t kMediaMask = 0x0F, kHasExtension = 0x20;

constexpr std::uint64_t kRecordSize = 32;
static_assert(sizeof(ExtensionRecord) == kRecordSize);

constexpr std::size_t kMostRecords = 1024;  // far beyond what firmware reads

std::string WithoutFilling(std::string_view field) {
    const std::size_t end = field.find_last_not_of(std::string_view(" \0", 2));
    return std::string(field.substr(0, end == field.npos ? 0 : end + 1));
}

class CatalogReader {
public:
    CatalogReader(const ByteSource& source, std::uint32_t sector)
        : cache_(source), position_(std::uint64_t{sector} * kSectorSize) {
        catalog_.sector = sector;
    }

    /// False when something is wrong.
    bool read() {
        BootValidation validation;
        if (!next(validation) || !isValid(validation)) return false;
        const std::string identifier = WithoutFilling({validation.identifier, sizeof(validation.identifier)});
        if (!takeImage(validation.platform, identifier)) return false;
        BootSectionHeader section;
        do {
            if (!next(section)) return false;
            if (section.indicator != BootSectionHeader::kMoreFollow && section.indicator != BootSectionHeader::kFinal)
                return section.indicator == 0;
            const std::string name = WithoutFilling({section.identifier, sizeof(section.identifier)});
            for (std::uint32_t index = 0; index < section.entryCount; ++index) {
                if (!takeImage(section.platform, name)) return false;
            }
        } while (section.indicator == BootSectionHeader::kMoreFollow);
        return true;
    }

    BootCatalog take() { return std::move(catalog_); }
    SystemError error() const { return error_; }

private:
    template <typename Record>
    bool next(Record& record) {
        if (++recordCount_ > kMostRecords || !cache_.readStructure(position_, record, error_)) return false;
        position_ += kRecordSize;
        return true;
    }

    static bool isValid(const BootValidation& record) {
        std::uint32_t sum = 0;
        const auto bytes = std::as_bytes(std::span(&record, 1));
        for (std::size_t index = 0; index < bytes.size(); index += 2)
            sum += static_cast<std::uint32_t>(bytes[index]) | static_cast<std::uint32_t>(bytes[index + 1]) << 8;
        return record.header == BootValidation().header && record.key55 == 0x55 && record.keyAA == 0xAA &&
               (sum & 0xFFFF) == 0;
    }

    bool takeImage(std::uint8_t platform, const std::string& identifier) {
        BootEntry record;
        if (!next(record)) return false;
        if (record.indicator != BootEntry::kBootable && record.indicator != BootEntry::kNotBootable) return false;
        if ((record.media & kHasExtension) != 0) {
            ExtensionRecord extension{ExtensionRecord::kHeader, kHasExtension, {}};
            while (extension.header == ExtensionRecord::kHeader && (extension.flags & kHasExtension) != 0) {
                if (!next(extension)) return false;
            }
        }
        if (record.loadSector == 0 || !cache_.holds(std::uint64_t{record.loadSector} * kSectorSize, 1)) return false;
        catalog_.entries.push_back({platform, identifier, record.indicator == BootEntry::kBootable,
                                    static_cast<std::uint8_t>(record.media & kMediaMask), record.loadSegment,
                                    record.systemType, record.sectorCount, record.loadSector});
        return true;
    }

    CachedSource cache_;
    std::uint64_t position_;
    std::size_t recordCount_ = 0;
    BootCatalog catalog_;
    SystemError error_;
};

}  // namespace

std::optional<BootCatalog> ReadBootCatalog(const ByteSource& source, std::optional<VolumeFault>& fault) {
    fault.reset();
    const std::optional<std::uint32_t> sector = ReadIsoFacts(source).bootCatalogSector;
    if (!sector) return std::nullopt;
    CatalogReader reader(source, *sector);
    if (!reader.read()) fault = VolumeFault{TextId::BootCatalogDamaged, {}, reader.error()};
    return reader.take();
}

}  // namespace tovlark
