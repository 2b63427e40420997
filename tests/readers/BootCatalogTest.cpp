#include <gtest/gtest.h>

#include "readers/BootCatalog.h"
#include "readers/IsoImage.h"

namespace tovlark {
namespace {

constexpr std::uint32_t kCatalog = IsoImage::kData;

std::string Validation(std::uint8_t platform) {
    std::string record(32, '\0');
    record[0] = 1;
    record[1] = static_cast<char>(platform);
    record.replace(4, 2, "ID");
    record[30] = '\x55';
    record[31] = '\xAA';
    std::uint32_t sum = 0;
    for (std::size_t index = 0; index < 32; index += 2)
        sum += static_cast<std::uint8_t>(record[index]) | static_cast<std::uint8_t>(record[index + 1]) << 8;
    record[28] = static_cast<char>(-sum);
    record[29] = static_cast<char>(-sum >> 8);
    return record;
}

std::string Image(std::uint8_t indicator, std::uint8_t media, std::uint32_t sector) {
    std::string record(32, '\0');
    record[0] = static_cast<char>(indicator);
    record[1] = static_cast<char>(media);
    record[2] = '\x07';  // segment 0x107
    record[3] = 1;
    record[4] = 0x0C;
    record[6] = 4;
    for (std::size_t index = 0; index < 4; ++index) record[8 + index] = static_cast<char>(sector >> (8 * index));
    return record;
}

std::string Section(std::uint8_t header, std::uint8_t platform, std::uint16_t count) {
    std::string record(32, '\0');
    record[0] = static_cast<char>(header);
    record[1] = static_cast<char>(platform);
    record[2] = static_cast<char>(count);
    record[3] = static_cast<char>(count >> 8);
    return record;
}

std::string Extension(std::uint8_t flags) {
    return "\x44" + std::string(1, static_cast<char>(flags)) + std::string(30, 'x');
}

TEST(BootCatalog, GivesWhatStandsBeforeTheDamage) {
    struct Case {
        const char* what;
        std::string records, expected;  // "platform:media:sector" of each; "!" damaged
    };
    std::string wrongSum = Validation(0);
    wrongSum[5] = '?';
    const std::string first = Validation(0) + Image(0x88, 0, 25);
    const Case cases[] = {
        {"default entry only", first, "0:0:25 "},
        {"wrong checksum", wrongSum + Image(0x88, 0, 25), "!"},
        {"zeros", "", "!"},
        {"sections",
         first + Section(0x90, 1, 2) + Image(0x88, 4, 26) + Image(0, 2, 27) + Section(0x91, 0xEF, 1) +
             Image(0x88, 0, 24),
         "0:0:25 1:4:26 1:2:27 239:0:24 "},
        {"extensions",
         first + Section(0x91, 0, 2) + Image(0x88, 0x21, 26) + Extension(0x20) + Extension(0) + Image(0x88, 3, 27),
         "0:0:25 0:1:26 0:3:27 "},
        {"image out of the image", first + Section(0x91, 0, 1) + Image(0x88, 0, 999), "0:0:25 !"},
        {"more entries claimed than there are", first + Section(0x91, 0, 0xFFFF) + Image(0x88, 0, 26),
         "0:0:25 0:0:26 !"},
        {"wrong indicator", first + Section(0x91, 0, 1) + Image(0x77, 0, 26), "0:0:25 !"},
    };
    for (const Case& row : cases) {
        IsoImage image;
        std::string boot(2048, '\0');
        boot.replace(0, 30, std::string("\0CD001\1EL TORITO SPECIFICATION", 30));
        boot[71] = static_cast<char>(kCatalog);
        VolumeDescriptor end;
        end.type = VolumeDescriptor::kTerminator;
        image.put(19 * 2048, end);
        image.putText(18 * 2048, boot);
        image.putText(kCatalog * 2048, row.records);
        std::optional<VolumeFault> fault;
        const auto catalog = ReadBootCatalog(image.source(), fault);
        ASSERT_TRUE(catalog) << row.what;
        std::string told;
        for (const BootCatalogEntry& entry : catalog->entries)
            told += std::to_string(entry.platform) + ":" + std::to_string(entry.mediaType) + ":" +
                    std::to_string(entry.firstSector) + " ";
        EXPECT_EQ(told + (fault ? "!" : ""), row.expected) << row.what;
        if (catalog->entries.empty()) continue;
        const BootCatalogEntry& entry = catalog->entries[0];
        EXPECT_EQ(entry.identifier, "ID");
        EXPECT_TRUE(entry.isBootable && entry.loadSegment == 0x107 && entry.systemType == 0x0C &&
                    entry.sectorCount == 4);
    }
    IsoImage plain;
    std::optional<VolumeFault> fault;
    EXPECT_FALSE(ReadBootCatalog(plain.source(), fault) || fault);
}

}  // namespace
}  // namespace tovlark
