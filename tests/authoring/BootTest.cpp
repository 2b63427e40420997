#include <gmock/gmock.h>

#include "authoring/BootDescription.h"
#include "authoring/WriterFixture.h"

namespace tovlark {

namespace {

using testing::HasSubstr;

class BootTest : public WriterFixture {
protected:
    static std::string text(std::span<const std::byte> bytes) {
        std::string characters(bytes.size(), '\0');
        std::memcpy(characters.data(), bytes.data(), bytes.size());
        return characters;
    }
};

std::vector<std::byte> Zeros(std::size_t count) { return std::vector<std::byte>(count); }

std::vector<std::byte> Disk(std::uint8_t type, std::uint8_t firstSector, std::uint8_t sectorCount) {
    std::vector<std::byte> bytes = Zeros(20 * 512);
    bytes[446 + 4] = std::byte{type};
    bytes[446 + 8] = std::byte{firstSector};
    bytes[446 + 12] = std::byte{sectorCount};
    bytes[510] = std::byte{0x55};
    bytes[511] = std::byte{0xAA};
    return bytes;
}

TEST_F(BootTest, LoaderAndUefiImageStandInTheCatalog) {
    CompilationNode& isolinux = folder(*context_.root, u"IsoLinux");
    const std::string loader(5001, 'L');
    file(isolinux, u"ISOLINUX.BIN", loader);
    CompilationNode& images = folder(*context_.root, u"images");
    file(images, u"efiboot.img", "not this one");
    CompilationNode& grub = folder(folder(*context_.root, u"boot"), u"grub");
    const CompilationNode& uefi = file(grub, u"efi.img", std::string(1'474'560, 'E'));
    ASSERT_EQ(write(), Status::Ok);
    readIso();
    IsoReader(image_).read(18, false);
    const IsoReader image(image_);
    EXPECT_EQ(image.bytes(17 * 2048, 34), std::string("\0CD001\1EL TORITO SPECIFICATION\0\0\0\0", 34));
    EXPECT_EQ(image.u8(18 * 2048), 2u);
    EXPECT_EQ(image.u8(19 * 2048), 255u);
    EXPECT_EQ(image.bytes(20 * 2048, 7), "TOVLARK");

    const std::uint64_t catalog = image.little(17 * 2048 + 71, 4) * 2048ull;
    std::uint32_t sum = 0;
    for (int word = 0; word < 16; ++word) sum += image.little(catalog + 2 * word, 2);
    EXPECT_EQ(sum & 0xFFFF, 0u);
    EXPECT_EQ(image.bytes(catalog + 30, 2), "\x55\xAA");
    const std::uint32_t slot = image.little(catalog + 32 + 8, 4);
    EXPECT_EQ(slot * 2048ull, catalog + 2048);
    EXPECT_EQ(image.bytes(catalog + 32, 8), std::string("\x88\0\0\0\0\0\4\0", 8));
    EXPECT_EQ(image.bytes(catalog + 64, 4), std::string("\x91\xEF\1\0", 4));
    EXPECT_EQ(image.bytes(catalog + 96, 2), std::string("\x88\0", 2));
    EXPECT_EQ(image.little(catalog + 96 + 6, 2), 2880u);
    EXPECT_EQ(image.little(catalog + 96 + 8, 4), uefi.extent);
    EXPECT_EQ(image.bytes(catalog + 128, 1920), std::string(1920, '\0'));

    const std::uint64_t at = slot * 2048ull;
    std::uint32_t checksum = 0;
    for (std::size_t index = 64; index < loader.size(); ++index) checksum += std::uint32_t{'L'} << (8 * (index % 4));
    EXPECT_EQ(image.little(at + 8, 4), 16u);
    EXPECT_EQ(image.little(at + 12, 4), slot);
    EXPECT_EQ(image.little(at + 16, 4), loader.size());
    EXPECT_EQ(image.little(at + 20, 4), checksum);
    EXPECT_EQ(image.bytes(at + 64, 5001 - 64), loader.substr(64));
    EXPECT_TRUE(HasBootInfoTable(context_.boot->images[0].bytes));
}

TEST_F(BootTest, MediaTypeIsFoundFromTheImage) {
    struct Case {
        const char* what;
        std::vector<std::byte> bytes;
        BootMedia media;
        unsigned systemType, sectorCount;
    };
    const Case cases[] = {
        {"1.2 MB", Zeros(1'228'800), BootMedia::Floppy1200, 0, 1},
        {"1.44 MB", Zeros(1'474'560), BootMedia::Floppy1440, 0, 1},
        {"2.88 MB", Zeros(2'949'120), BootMedia::Floppy2880, 0, 1},
        {"hard disk", Disk(6, 1, 19), BootMedia::HardDisk, 6, 1},
        {"partition beyond the image", Disk(6, 1, 20), BootMedia::None, 0, 20},
        {"partition over its own table", Disk(6, 0, 19), BootMedia::None, 0, 20},
        {"whole image loaded", Zeros(4096), BootMedia::None, 0, 8},
        {"largest that is counted", Zeros(65535 * 512), BootMedia::None, 0, 65535},
        {"32 MB", Zeros(65536 * 512), BootMedia::None, 0, 0},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.what);
        const BootImage image = ExamineBootImage(each.bytes);
        EXPECT_EQ(image.media, each.media);
        EXPECT_EQ(image.systemType, each.systemType);
        EXPECT_EQ(image.sectorCount, each.sectorCount);
    }
}

TEST_F(BootTest, BootInformationFileIsReadAndLeftOut) {
    BootDescription boot;
    for (const BootPlatform platform : {BootPlatform::Bios, BootPlatform::Uefi}) {
        BootImage image = ExamineBootImage(Zeros(3000));
        image.platform = platform;
        boot.images.push_back(image);
    }
    const std::string good = text(ToBootFile(boot));
    for (std::size_t index = 0; index < good.size(); index += 97) {
        std::string bad = good;
        bad[index] = static_cast<char>(bad[index] ^ 1);
        BootDescription read;
        EXPECT_FALSE(FromBootFile(std::as_bytes(std::span(bad)), read)) << index;
        EXPECT_FALSE(FromBootFile(std::as_bytes(std::span(good)).first(index), read)) << index;
    }
    file(*context_.root, u"Setting.BIF", good);
    ASSERT_EQ(write(), Status::Ok);
    EXPECT_EQ(readIso().size(), 1u);
    const IsoReader image(image_);
    const std::uint64_t catalog = image.little(17 * 2048 + 71, 4) * 2048ull;
    EXPECT_EQ(image.bytes(catalog + 64, 4), std::string("\x91\xEF\1\0", 4));
    EXPECT_EQ(image.little(catalog + 96 + 8, 4), catalog / 2048 + 3);
}

TEST_F(BootTest, ASettingForUefiGetsNoSecondEntryForIt) {
    BootDescription boot;
    boot.images.push_back(ExamineBootImage(Zeros(3000)));
    boot.images[0].platform = BootPlatform::Uefi;
    file(*context_.root, u"uefi.bif", text(ToBootFile(boot)));
    file(folder(folder(*context_.root, u"boot"), u"grub"), u"efi.img", "another");
    ASSERT_EQ(write(), Status::Ok);
    const IsoReader image(image_);
    const std::uint64_t catalog = image.little(17 * 2048 + 71, 4) * 2048ull;
    EXPECT_EQ(image.u8(catalog + 1), 0xEFu);
    EXPECT_EQ(image.little(catalog + 32 + 6, 2), 6u);
    EXPECT_EQ(image.bytes(catalog + 64, 32), std::string(32, '\0'));
}

TEST_F(BootTest, WhatCannotBootIsSaid) {
    file(folder(*context_.root, u"isolinux"), u"isolinux.bin", "short");
    ASSERT_EQ(write(), Status::Ok);
    EXPECT_FALSE(context_.boot);
    EXPECT_THAT(fake_.streams.output, HasSubstr("/isolinux/isolinux.bin cannot be used: Invalid boot image file."));
    EXPECT_FALSE(fake_.flags.error);
    file(*context_.root, u"x.bif", "nonsense");
    EXPECT_EQ(write(), Status::Failed);
    EXPECT_EQ(context_.error, BuildError::InvalidBootFile);
}

}  // namespace

}  // namespace tovlark
