#include "readers/BootCatalog.h"

#include <string_view>

#include "base/Sectors.h"
#include "base/Stored.h"
#include "readers/CachedSource.h"
#include "readers/IsoVolume.h"

namespace tovlark {

namespace {

// Records of a boot catalog, 32 bytes each.

/// The first one (2.1).
struct ValidationRecord {
    static constexpr std::uint8_t kHeader = 1;

    std::uint8_t header, platform;
    std::uint8_t reserved[2];
    char identifier[24];
    Little16 checksum;    // makes the sum of all words 0
    std::uint8_t key[2];  // 0x55, 0xAA
};

/// A default or section entry (2.2, 2.4).
struct ImageRecord {
    static constexpr std::uint8_t kBootable = 0x88, kNotBootable = 0, kTypeMask = 0x0F, kHasExtension = 0x20;

    std::uint8_t indicator, mediaType;
    Little16 loadSegment;
    std::uint8_t systemType, unused;
    Little16 sectorCount;
    Little32 firstSector;
    std::array<std::byte, 20> selection;
};

struct SectionHead {
    static constexpr std::uint8_t kMore = 0x90, kLast = 0x91;

    std::uint8_t header, platform;
    Little16 entryCount;
    char identifier[28];
};

struct ExtensionRecord {
    static constexpr std::uint8_t kHeader = 0x44;

    std::uint8_t header, flags;
    std::uint8_t criteria[30];
};

constexpr std::uint64_t kRecordSize = 32;
static_assert(sizeof(ValidationRecord) == kRecordSize && sizeof(ImageRecord) == kRecordSize);
static_assert(sizeof(SectionHead) == kRecordSize && sizeof(ExtensionRecord) == kRecordSize);

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
        ValidationRecord validation;
        if (!next(validation) || !isValid(validation)) return false;
        const std::string identifier = WithoutFilling({validation.identifier, sizeof(validation.identifier)});
        if (!takeImage(validation.platform, identifier)) return false;
        SectionHead section;
        do {
            if (!next(section)) return false;
            if (section.header != SectionHead::kMore && section.header != SectionHead::kLast)
                return section.header == 0;
            const std::string name = WithoutFilling({section.identifier, sizeof(section.identifier)});
            for (std::uint32_t index = 0; index < section.entryCount; ++index) {
                if (!takeImage(section.platform, name)) return false;
            }
        } while (section.header == SectionHead::kMore);
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

    static bool isValid(const ValidationRecord& record) {
        std::uint32_t sum = 0;
        const auto bytes = std::as_bytes(std::span(&record, 1));
        for (std::size_t index = 0; index < bytes.size(); index += 2)
            sum += static_cast<std::uint32_t>(bytes[index]) | static_cast<std::uint32_t>(bytes[index + 1]) << 8;
        return record.header == ValidationRecord::kHeader && record.key[0] == 0x55 && record.key[1] == 0xAA &&
               (sum & 0xFFFF) == 0;
    }

    bool takeImage(std::uint8_t platform, const std::string& identifier) {
        ImageRecord record;
        if (!next(record)) return false;
        if (record.indicator != ImageRecord::kBootable && record.indicator != ImageRecord::kNotBootable) return false;
        if ((record.mediaType & ImageRecord::kHasExtension) != 0) {
            ExtensionRecord extension{ExtensionRecord::kHeader, ImageRecord::kHasExtension, {}};
            while (extension.header == ExtensionRecord::kHeader &&
                   (extension.flags & ImageRecord::kHasExtension) != 0) {
                if (!next(extension)) return false;
            }
        }
        if (record.firstSector == 0 || !cache_.holds(std::uint64_t{record.firstSector} * kSectorSize, 1)) return false;
        catalog_.entries.push_back({platform, identifier, record.indicator == ImageRecord::kBootable,
                                    static_cast<std::uint8_t>(record.mediaType & ImageRecord::kTypeMask),
                                    record.loadSegment, record.systemType, record.sectorCount, record.firstSector,
                                    record.selection});
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
