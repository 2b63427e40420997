#include <filesystem>

#include "simdrive/BluRay.h"
#include "simdrive/DriveFixture.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kOk = 0,
                        kBlocks = 381856 / 8 * 32;  // an eighth of a disc: spares of 1536, 512 and 25088 clusters

/// Letters of the disc information and the number of layers.
std::string Information(LoadedDrive& on) {
    const Bytes data = on.receive({0xAD, 1, 0, 0, 0, 0, 0, 0, 0x10, 4}, 4100);
    EXPECT_EQ(LoadedDrive::be(data, 0, 4), 4098u << 16);
    std::string text;
    for (const std::size_t at : {4, 5, 12, 13, 14}) text += std::to_integer<char>(data.at(at));
    return text + std::to_string(LoadedDrive::be(data, 16, 1) >> 4);
}

bool IsCurrent(LoadedDrive& on, int feature) {
    return (LoadedDrive::be(on.receive({0x46, 2, 0, feature, 0, 0, 0, 0, 16}, 16), 10, 1) & 1) != 0;
}

TEST(BluRay, EveryMediumTellsWhatItIs) {
    struct Case {
        Medium medium;
        std::uint32_t profile;
        const char* information;
        int feature;  // that is current
    };
    const Case cases[] = {{Medium::BdR, 0x41, "DIBDR1", 0x21},         {Medium::BdRPseudo, 0x41, "DIBDR1", 0x38},
                          {Medium::BdRRandom, 0x42, "DIBDR1", 0x24},   {Medium::BdRDlPseudo, 0x41, "DIBDR2", 0x38},
                          {Medium::BdRTlRandom, 0x42, "DIBDR3", 0x25}, {Medium::BdRQl, 0x41, "DIBDR4", 0x41},
                          {Medium::BdRe, 0x43, "DIBDW1", 0x24},        {Medium::BdReDl, 0x43, "DIBDW2", 0x23},
                          {Medium::BdReQl, 0x43, "DIBDW4", 0x40}};
    for (const Case& one : cases) {
        SCOPED_TRACE(static_cast<int>(one.medium));
        LoadedDrive on(one.medium, kBlocks);
        EXPECT_EQ(on.profile(), one.profile);
        EXPECT_EQ(Information(on), one.information);
        EXPECT_TRUE(IsCurrent(on, one.feature));
        EXPECT_EQ(IsCurrent(on, 0x38), FindRules(one.medium)->hasPseudoOverwrite());
    }
}

TEST(BluRay, ALargeImageIsAPressedDisc) {
    LoadedDrive on(Medium::BdR);
    std::filesystem::resize_file(on.folder.write("x.iso", ""), 14'648'438ull * 2048);
    on.load((on.folder / "x.iso").u16string());
    EXPECT_EQ(on.profile(), 0x40u);
    EXPECT_EQ(Information(on), "DIBDO2");
    EXPECT_EQ(on.read(14'000'000), 0u);
    EXPECT_EQ(on.write(0, 32, 'x'), 0x053005u);
}

TEST(BluRay, SubTypesSayHowADiscIsFormatted) {
    const struct {
        int type, subtype;
        Medium becomes;
    } recordings[] = {{0x00, 0, Medium::BdRPseudo}, {0x00, 1, Medium::BdR},       {0x00, 2, Medium::BdRRandom},
                      {0x32, 0, Medium::BdRPseudo}, {0x32, 2, Medium::BdRRandom}, {0x32, 1, Medium::BdR}};
    for (const auto& one : recordings) {
        LoadedDrive on(Medium::BdR, kBlocks);
        ASSERT_EQ(on.format(0xFFFFFFFF, one.type, 0, one.subtype), kOk);
        EXPECT_EQ(on.drive.rules().medium, one.becomes) << one.type << "." << one.subtype;
    }
    const auto time = [](int type, int subtype) {
        LoadedDrive on(Medium::BdRe, kBlocks);
        on.drive.isRealTime = true;
        EXPECT_EQ(on.format(0xFFFFFFFF, type, 0, subtype), kOk);
        const std::uint64_t begin = on.time.now;
        while (on.send({0x00}) != kOk && on.time.now < begin + 10'000'000) on.time.now += 1000;
        return on.time.now - begin;
    };
    for (const int type : {0x30, 0x31})
        EXPECT_GT(time(type, 2), 3 * time(type, 1)) << "full certification reads the whole disc";
}

TEST(BluRay, CapacityFollowsTheSpareArea) {
    struct Case {
        const char* what;
        Medium medium;
        int type;
        std::uint32_t blocks, capacity, profile;
    };
    const Case cases[] = {
        {"BD-RE as usual", Medium::BdRe, 0x00, kBlocks, kBlocks - 1536 * 32, 0x43},
        {"BD-RE, least spare", Medium::BdRe, 0x30, 0xFFFFFFFF, kBlocks - 512 * 32, 0x43},
        {"BD-RE, most spare", Medium::BdRe, 0x30, kBlocks - 25088 * 32, kBlocks - 25088 * 32, 0x43},
        {"BD-RE, more than most", Medium::BdRe, 0x30, kBlocks - 25089 * 32, 0, 0x43},
        {"BD-RE without spare", Medium::BdRe, 0x31, kBlocks, kBlocks, 0x43},
        {"BD-R as usual", Medium::BdR, 0x00, kBlocks, kBlocks - 1536 * 32, 0x41},
        {"BD-R, random", Medium::BdR, 0x32, 0xFFFFFFFF, kBlocks - 512 * 32, 0x42},
        {"BD-R of a type of BD-RE", Medium::BdR, 0x31, kBlocks, 0, 0x41},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        LoadedDrive on(one.medium, kBlocks);
        const Bytes before = on.receive({0x23, 0, 0, 0, 0, 0, 0, 0, 252}, 252);
        EXPECT_EQ(LoadedDrive::be(before, 4, 5), kBlocks << 8 | 1u) << "unformatted";
        EXPECT_EQ(on.discStatus() & 3, 0u);
        const std::uint32_t answer = on.format(one.blocks, one.type, 0, one.profile == 0x42 ? 2 : 0);
        EXPECT_EQ(answer, one.capacity == 0 ? 0x052600u : kOk);
        EXPECT_EQ(on.profile(), one.profile);
        if (one.capacity == 0) continue;
        const Bytes after = on.receive({0x23, 0, 0, 0, 0, 0, 0, 0, 252}, 252);
        EXPECT_EQ(LoadedDrive::be(after, 4, 4), one.capacity);
        EXPECT_EQ(LoadedDrive::be(after, 8, 1), 2u) << "formatted";
        const Bytes spare = on.receive({0xAD, 1, 0, 0, 0, 0, 0, 10, 0, 16}, 16);
        EXPECT_EQ(LoadedDrive::be(spare, 8, 4), kBlocks - one.capacity);
        if (one.profile == 0x41) {
            EXPECT_EQ(on.trackField(1, 24), one.capacity);
            EXPECT_EQ(on.format(kBlocks, 0), 0x053006u) << "once only";
            continue;
        }
        EXPECT_EQ(LoadedDrive::be(on.receive({0x25}, 8), 0, 4), one.capacity - 1);
        EXPECT_EQ(on.write(one.capacity - 1, 2, 'z'), 0x052100u);
        EXPECT_EQ(on.write(one.capacity - 3, 3, 'z'), kOk) << "any number of blocks";
        on.load(on.path());
        EXPECT_EQ(on.read(one.capacity - 1), std::uint32_t{'z'});
    }
}

TEST(BluRay, SequentialDiscsAreWrittenInTurnAndFinalised) {
    LoadedDrive on(Medium::BdR, kBlocks);
    ASSERT_EQ(on.write(0, 20, 'a'), kOk);
    EXPECT_EQ(on.write(32, 32, 'x'), 0x052102u);
    ASSERT_EQ(on.synchronize(), kOk);
    EXPECT_EQ(on.nextWritable(1), 32u) << "a whole cluster";
    ASSERT_EQ(on.close(1), kOk);
    ASSERT_EQ(on.close(2), kOk);
    EXPECT_EQ(on.discStatus() & 3, 1u) << "appendable";
    EXPECT_EQ(on.nextWritable(2), 32u);
    ASSERT_EQ(on.write(32, 32, 'b'), kOk);
    ASSERT_EQ(on.close(1, 2), kOk);
    EXPECT_EQ(on.close(5), 0x052400u) << "a close function of DVD+R";
    ASSERT_EQ(on.close(6), kOk);
    on.load(on.path());
    EXPECT_EQ(on.discStatus() & 15, 14u);
    EXPECT_EQ(on.read(33), std::uint32_t{'b'});
    EXPECT_EQ(on.write(64, 32, 'x'), 0x053005u);
}

TEST(BluRay, APieceOfAClusterIsNoSpareArea) {
    LoadedDrive on(Medium::BdRe, 1001);
    const Bytes spare = on.receive({0xAD, 1, 0, 0, 0, 0, 0, 10, 0, 16}, 16);
    EXPECT_EQ(LoadedDrive::be(spare, 8, 4), 0u);
    EXPECT_EQ(LoadedDrive::be(spare, 12, 4), 0u);
}

TEST(BluRay, RandomRecordingTakesEachClusterOnce) {
    LoadedDrive on(Medium::BdR, kBlocks);
    ASSERT_EQ(on.format(0xFFFFFFFF, 0x32, 0, 2), kOk);
    ASSERT_EQ(on.write(320, 64, 'a'), kOk) << "anywhere";
    EXPECT_EQ(on.write(310, 20, 'x'), 0x052102u);
    ASSERT_EQ(on.write(0, 10, 'b'), kOk);
    ASSERT_EQ(on.write(10, 30, 'c'), kOk) << "on in a cluster that is begun, and into the next one";
    ASSERT_EQ(on.write(640, 1, 'd'), kOk);
    EXPECT_EQ(on.write(40, 1, 'x'), 0x052102u) << "not any more";
    ASSERT_EQ(on.write(641, 1, 'd'), kOk);
    ASSERT_EQ(on.synchronize(), kOk);
    EXPECT_EQ(on.write(642, 1, 'x'), 0x052102u) << "the cluster was filled up";
    on.load(on.path());
    EXPECT_EQ(on.write(383, 1, 'x'), 0x052102u) << "the disc keeps what is recorded";
    EXPECT_EQ(on.read(39), std::uint32_t{'c'});
    ASSERT_EQ(on.close(6), kOk);
    EXPECT_EQ(on.write(3200, 32, 'x'), 0x053005u);
}

TEST(BluRay, PseudoOverwriteConsumesTheNextBlocks) {
    LoadedDrive on(Medium::BdR, kBlocks);
    ASSERT_EQ(on.format(0xFFFFFFFF, 0x32), kOk);
    EXPECT_TRUE(IsCurrent(on, 0x38));
    ASSERT_EQ(on.write(0, 64, 'a'), kOk);
    EXPECT_EQ(on.write(96, 1, 'x'), 0x052102u) << "beyond what is recorded";
    ASSERT_EQ(on.write(31, 2, 'b'), kOk);
    EXPECT_EQ(on.nextWritable(1), 128u) << "two clusters";
    EXPECT_EQ(on.read(30), std::uint32_t{'a'});
    EXPECT_EQ(on.read(32), std::uint32_t{'b'});
    ASSERT_EQ(on.close(1), kOk);
    ASSERT_EQ(on.close(2), kOk);
    EXPECT_EQ(on.write(0, 32, 'c'), kOk) << "of a closed session too";
    ASSERT_EQ(on.close(6), kOk);
    EXPECT_EQ(on.write(0, 32, 'x'), 0x053005u);
}

TEST(BluRay, DefectManagementHalvesTheSpeedOfWriting) {
    const auto time = [](int type, bool isStreaming) {
        LoadedDrive on(Medium::BdRe, kBlocks);
        on.format(0xFFFFFFFF, type);
        on.drive.isRealTime = true;
        on.drive.motion.isSpinning = on.drive.motion.isCalibrated = true;
        for (std::uint32_t block = 0; block < 32 * 200; block += 32)
            for (;;) {
                Bytes data(std::size_t{32} * 2048);
                const int high = static_cast<int>(block >> 8), low = static_cast<int>(block & 255);
                const std::uint32_t answer = on.send({0xAA, 0, 0, 0, high, low, 0, 0, 0, 32, isStreaming ? 0x80 : 0, 0},
                                                     data, DataDirection::Out);
                if (answer == kOk) break;
                if (answer != 0x020408u) throw std::runtime_error("no write");
                on.time.now += 5;
            }
        on.synchronize();
        return on.time.now;
    };
    const std::uint64_t plain = time(0x31, false), managed = time(0x30, false);
    EXPECT_GT(managed, plain * 19 / 10);
    EXPECT_LT(time(0x30, true), plain * 11 / 10) << "streaming";
}

TEST(HdDvd, StructuresTellTheKind) {
    const struct {
        Medium medium;
        std::uint32_t profile, book;
    } cases[] = {{Medium::HdDvdR, 0x51, 6}, {Medium::HdDvdRam, 0x52, 5}};
    for (const auto& one : cases) {
        LoadedDrive on(one.medium);
        EXPECT_EQ(on.profile(), one.profile);
        EXPECT_EQ(LoadedDrive::be(on.receive({0xAD, 0, 0, 0, 0, 0, 0, 0, 8, 4}, 2052), 4, 1) >> 4, one.book);
        EXPECT_TRUE(IsCurrent(on, 0x50));
    }
}

}  // namespace

}  // namespace tovlark
