#include <fstream>
#include <gtest/gtest.h>

#include "burn/SectorSource.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

struct SectorSourceTest : testing::Test {
    TempFolder folder;

    Text write(const char* name, const std::string& bytes) {
        std::ofstream(folder / name, std::ios::binary) << bytes;
        return (folder / name).u16string();
    }
    static std::string read(FileSource& files, std::uint32_t first, std::uint32_t count) {
        const SectorSource source = files.source();
        std::vector<std::byte> bytes(std::size_t{count} * source.sectorSize);
        SourceFault fault;
        if (!source.read(source.self, first, bytes, fault)) return "failed";
        std::string text;
        for (const std::byte byte : bytes) text += std::to_integer<char>(byte);
        return text;
    }
};

std::string Sectors(std::string_view letters, std::size_t size = 2048) {
    std::string bytes;
    for (const char letter : letters) bytes += std::string(size, letter);
    return bytes;
}

TEST_F(SectorSourceTest, TheLastSectorOfAnImageIsFilledUp) {
    FileSource files(2048);
    ASSERT_FALSE(AddImageFile(files, write("a.iso", Sectors("ab") + "c"), 2048, 2048).failed());
    EXPECT_EQ(files.sectorCount(), 3u);
    EXPECT_EQ(read(files, 1, 2), Sectors("b") + "c" + std::string(2047, '\0'));
}

TEST_F(SectorSourceTest, OfARawImageTheDataAreTaken) {
    const std::string head(16, 'h'), tail(288, 't');
    FileSource files(2048);
    const Text path = write("a.img", head + Sectors("a") + tail + head + Sectors("b") + tail);
    ASSERT_FALSE(AddImageFile(files, path, 2352, 2048).failed());
    EXPECT_EQ(read(files, 0, 2), Sectors("ab"));
    EXPECT_EQ(read(files, 1, 1), Sectors("b"));
}

TEST_F(SectorSourceTest, ExtentsFollowOneAnother) {
    FileSource files(2352);
    const InputFile* file = nullptr;
    ASSERT_FALSE(files.open(write("a.bin", Sectors("abcd", 2352)), file).failed());
    files.add({.sectorCount = 2});
    files.add({.sectorCount = 2, .file = file, .offset = 2352, .end = 4 * 2352, .stride = 2352, .taken = 2352});
    files.add({.sectorCount = 1});
    files.add({.sectorCount = 1, .file = file, .offset = 0, .end = 4 * 2352, .stride = 2352, .taken = 2352});
    EXPECT_EQ(read(files, 1, 5),
              std::string(2352, '\0') + Sectors("bc", 2352) + std::string(2352, '\0') + Sectors("a", 2352));
    EXPECT_EQ(read(files, 3, 1), Sectors("c", 2352));
}

TEST_F(SectorSourceTest, SectorsThatNoMediumHasDoNotMakeItShort) {
    FileSource source(2048);
    for (int count = 0; count < 3; ++count) source.add({.sectorCount = 0x80000010});
    EXPECT_EQ(source.sectorCount(), 0xFFFFFFE0);
}

TEST_F(SectorSourceTest, BigEndianSamplesAreSwapped) {
    FileSource files(2352);
    const InputFile* file = nullptr;
    std::string bytes;
    for (int index = 0; index < 2352 / 2; ++index) bytes += "ab";
    ASSERT_FALSE(files.open(write("a.aiff", bytes), file).failed());
    files.add({.sectorCount = 1, .file = file, .end = 2352, .stride = 2352, .taken = 2352, .swapsBytes = true});
    EXPECT_EQ(read(files, 0, 1).substr(0, 4), "baba");
}

TEST_F(SectorSourceTest, AFileThatShrinksIsAFaultThatNamesIt) {
    FileSource files(2048);
    const Text path = write("a.iso", Sectors("abc"));
    ASSERT_FALSE(AddImageFile(files, path, 2048, 2048).failed());
    std::filesystem::resize_file(folder / "a.iso", 4096);
    const SectorSource source = files.source();
    std::vector<std::byte> bytes(3 * 2048);
    SourceFault fault;
    EXPECT_FALSE(source.read(source.self, 0, bytes, fault));
    EXPECT_EQ(fault.text, TextId::ErrorReadingImageData);
    EXPECT_EQ(fault.details, path);
}

}  // namespace
}  // namespace tovlark
