#include <filesystem>
#include <gtest/gtest.h>

#include "simdrive/Disc.h"
#include "support/TempFolder.h"

namespace tovlark {

namespace {

Text PathOf(const TempFolder& folder, const char* name) { return (folder / name).u16string(); }

DiscFault OpenFault(const Text& path, Disc& disc) {
    SystemError ignored;
    return disc.open(path, ignored);
}

TEST(DiscFile, IsLockedWhileOpen) {
    const TempFolder folder;
    const Text path = PathOf(folder, "a.tvdisc");
    ASSERT_FALSE(Disc::create(path, *FindRules(Medium::CdR), 1000).failed());
    EXPECT_TRUE(Disc::create(path, *FindRules(Medium::CdR), 1000).failed()) << "overwrites a disc";
    Disc first, second;
    SystemError error;
    ASSERT_EQ(first.open(path, error), DiscFault::None);
    EXPECT_EQ(second.open(path, error), DiscFault::System);
    EXPECT_TRUE(IsLockedElsewhere(error));
    first = Disc();
    EXPECT_EQ(second.open(path, error), DiscFault::None);
}

TEST(DiscFile, FallsBackToTheStateBeforeADamagedOne) {
    const TempFolder folder;
    const Text path = PathOf(folder, "a.tvdisc");
    ASSERT_FALSE(Disc::create(path, *FindRules(Medium::DvdPlusRw), 2000).failed());
    {
        Disc disc;
        ASSERT_EQ(OpenFault(path, disc), DiscFault::None);
        for (disc.state.formattedBlocks = 16; disc.state.formattedBlocks <= 48; disc.state.formattedBlocks += 16)
            ASSERT_FALSE(disc.save().failed());
    }
    std::string bytes = folder.read("a.tvdisc");
    const auto formatted = [&](const std::string& changed) -> int {
        folder.write("b.tvdisc", changed);
        Disc disc;
        return OpenFault(PathOf(folder, "b.tvdisc"), disc) == DiscFault::None
                   ? static_cast<int>(disc.state.formattedBlocks)
                   : -1;
    };
    EXPECT_EQ(formatted(bytes), 48);
    bytes[0x20000 + 30] ^= 1;  // the newest state: number 4 lies in the first slot
    EXPECT_EQ(formatted(bytes), 32);
    EXPECT_EQ(formatted(bytes.substr(0, 0x40000 + 20)), -1);
}

TEST(DiscFile, OnlyImagesOfWholeSectorsAreDiscs) {
    const TempFolder folder;
    folder.write("empty.iso", "");
    folder.write("a.iso", std::string(6144, 'x'));
    folder.write("odd.iso", std::string(5000, 'x'));
    folder.write("none.cue", "FILE \"gone.bin\" BINARY\nTRACK 01 MODE1/2352\nINDEX 01 00:00:00\n");
    folder.write("a.bin", std::string(2352 * 300, 'y'));
    folder.write("a.cue",
                 "FILE \"a.bin\" BINARY\nTRACK 01 MODE1/2352\nINDEX 01 00:00:00\nTRACK 02 AUDIO\nPREGAP 00:02:00\n"
                 "INDEX 01 00:02:00\n");
    Disc disc;
    EXPECT_EQ(OpenFault(PathOf(folder, "empty.iso"), disc), DiscFault::NotADisc);
    EXPECT_EQ(OpenFault(PathOf(folder, "odd.iso"), disc), DiscFault::NotADisc);
    EXPECT_EQ(OpenFault(PathOf(folder, "gone.iso"), disc), DiscFault::System);
    EXPECT_NE(OpenFault(PathOf(folder, "none.cue"), disc), DiscFault::None);
    Disc iso, sheet;
    ASSERT_EQ(OpenFault(PathOf(folder, "a.iso"), iso), DiscFault::None);
    EXPECT_EQ(iso.state.blocks, 3u);
    ASSERT_EQ(OpenFault(PathOf(folder, "a.cue"), sheet), DiscFault::None);
    ASSERT_EQ(sheet.state.tracks.size(), 2u);
    EXPECT_EQ(sheet.state.tracks[1].first, 300) << "150 blocks of data, 150 of silence";
    EXPECT_EQ(sheet.state.blocks, 450u);
}

}  // namespace

}  // namespace tovlark
