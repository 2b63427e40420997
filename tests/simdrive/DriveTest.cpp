#include "simdrive/DriveFixture.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kOk = 0;

struct Walk {
    Medium medium;
    int profile;
    bool isCd, isOverwrite;
    int format;      // FORMAT UNIT type before the first write, or -1
    int closeTrack;  // functions of CLOSE TRACK/SESSION after it, or -1
    int closeSession;
};

class EveryMedium : public testing::TestWithParam<Walk> {};

// Blank, written, closed, and read by a drive that opens the disc file anew.
TEST_P(EveryMedium, IsWrittenClosedAndReadBack) {
    const Walk& walk = GetParam();
    LoadedDrive on(walk.medium);
    EXPECT_EQ(on.profile(), static_cast<std::uint32_t>(walk.profile));
    if (walk.medium != Medium::DvdRam) {
        EXPECT_EQ(on.discStatus() & 3, 0u);
    }
    if (walk.isOverwrite) {
        EXPECT_EQ(on.write(0, 16, 'a'), 0x033100u) << "not formatted";
    }
    if (walk.format >= 0) {
        ASSERT_EQ(on.format(on.drive.state().blocks, walk.format, walk.format == 0 ? 2048 : 0), kOk);
    }
    ASSERT_EQ(on.write(0, 16, 'a'), kOk);
    ASSERT_EQ(on.write(16, 16, 'b'), kOk);
    if (walk.isOverwrite) {
        EXPECT_EQ(on.write(3, 1, 'c'), kOk);
        EXPECT_EQ(on.read(3), std::uint32_t{'c'});
        EXPECT_EQ(on.write(19999, 2, 'x'), 0x052100u);
    } else {
        EXPECT_EQ(on.write(48, 16, 'x'), 0x052102u) << "not the next writable address";
        EXPECT_EQ(on.write(0, 16, 'x'), 0x052102u) << "written already";
    }
    ASSERT_EQ(on.synchronize(), kOk);
    if (walk.closeTrack >= 0) {
        ASSERT_EQ(on.close(walk.closeTrack), kOk);
    }
    if (walk.closeSession >= 0) {
        ASSERT_EQ(on.close(walk.closeSession), kOk);
    }
    on.load(on.path());
    EXPECT_EQ(on.read(0), std::uint32_t{'a'});
    EXPECT_EQ(on.read(31), std::uint32_t{'b'});
    if (walk.isCd) {
        EXPECT_EQ(on.read(32), 0u) << "filled up to 4 seconds";
        EXPECT_EQ(on.read(300), 0x031105u) << "run-out";
    }
    if (walk.medium != Medium::DvdRam) {
        EXPECT_EQ(on.discStatus() & 0x0F, 0x0Eu) << "finalised";
    }
    if (!walk.isOverwrite) {
        EXPECT_EQ(on.write(32, 16, 'x'), 0x053005u);
    }
    const Bytes toc = on.receive({0x43, 0, 0, 0, 0, 0, 0, 0, 20}, 20);
    EXPECT_EQ(LoadedDrive::be(toc, 2, 2), 0x0101u);
    if (!walk.isOverwrite) {
        EXPECT_EQ(LoadedDrive::be(toc, 16, 4), walk.isCd ? 302u : 32u) << "lead-out";
    }
}

INSTANTIATE_TEST_SUITE_P(, EveryMedium,
                         testing::Values(Walk{Medium::CdR, 0x09, true, false, -1, 1, 2},
                                         Walk{Medium::CdRw, 0x0A, true, false, -1, -1, 2},
                                         Walk{Medium::DvdR, 0x11, false, false, -1, 1, 2},
                                         Walk{Medium::DvdRwSequential, 0x14, false, false, -1, 1, 2},
                                         Walk{Medium::DvdRDl, 0x15, false, false, -1, 1, 2},
                                         Walk{Medium::DvdPlusR, 0x1B, false, false, -1, 1, 5},
                                         Walk{Medium::DvdPlusRDl, 0x2B, false, false, -1, 1, 6},
                                         Walk{Medium::DvdPlusRw, 0x1A, false, true, 0x26, -1, 2},
                                         Walk{Medium::DvdPlusRwDl, 0x2A, false, true, 0x26, -1, 0},
                                         Walk{Medium::DvdRam, 0x12, false, true, 0x00, -1, -1}));

TEST(DriveCommands, AreRefusedAsHardwareRefusesThem) {
    LoadedDrive on(Medium::DvdPlusR);
    struct Case {
        const char* name;
        std::initializer_list<int> cdb;
        std::uint32_t sense;
    };
    const Case cases[] = {{"unknown opcode", {0x2C}, 0x052000},
                          {"blanking of a write-once disc", {0xA1}, 0x053005},
                          {"sub-channels", {0xBE, 0, 0, 0, 0, 0, 0, 0, 1, 0xF8, 1}, 0x053002},
                          {"close function of another medium", {0x5B, 0, 3}, 0x052400},
                          {"track 9", {0x52, 1, 0, 0, 0, 9, 0, 0, 48}, 0x052400},
                          {"track by nothing known", {0x52, 3, 0, 0, 0, 1, 0, 0, 48}, 0x052400},
                          {"TOC of a blank disc", {0x43, 0, 0, 0, 0, 0, 0, 0, 20}, 0x052400},
                          {"reserve of more than there is", {0x53, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF}, 0x052400},
                          {"verify of nothing", {0x2F, 0, 0, 0, 0, 0, 0, 0, 1}, 0x052100},
                          {"sense data with descriptors", {0x03, 1, 0, 0, 18}, 0x052400}};
    for (const Case& one : cases) EXPECT_EQ(on.send(one.cdb), one.sense) << one.name;
    EXPECT_EQ(on.read(0), 0x052100u) << "blank";
    on.send({0x1E, 0, 0, 0, 1});
    EXPECT_EQ(on.send({0x1B, 0, 0, 0, 2}), 0x055302u) << "prevented";
    on.send({0x1E});
    EXPECT_EQ(on.send({0x1B, 0, 0, 0, 2}), kOk);
    EXPECT_EQ(on.send({0x00}), 0x023A02u);
    EXPECT_EQ(on.send({0x1B, 0, 0, 0, 3}), kOk);
    EXPECT_EQ(on.send({0x00}), 0x062800u) << "told once";
    EXPECT_EQ(on.send({0x00}), kOk);
    // Operational change and media, each once; the header alone is no answer.
    const auto event = [&](int bytes) {
        return on.receive({0x4A, 1, 0, 0, 0x12, 0, 0, 0, bytes}, static_cast<std::size_t>(bytes));
    };
    EXPECT_EQ(LoadedDrive::be(event(4), 0, 4), 0x00060156u);
    for (const auto& [head, body] :
         {std::pair{0x00060156u, 0x02000001u}, {0x00060456u, 0x02020000u}, {0x00060156u, 0u}}) {
        const Bytes told = event(8);
        EXPECT_EQ(LoadedDrive::be(told, 0, 4), head);
        EXPECT_EQ(LoadedDrive::be(told, 4, 4), body);
    }
}

TEST(Sequential, SessionsAndReservedTracksHaveTheirOwnNextAddresses) {
    LoadedDrive on(Medium::DvdPlusR, 40000);
    ASSERT_EQ(on.send({0x53, 0, 0, 0, 0, 0, 0, 0, 100}), kOk);
    EXPECT_EQ(on.trackField(1, 24), 112u) << "whole ECC blocks";
    EXPECT_EQ(on.nextWritable(2), 112u);
    ASSERT_EQ(on.write(112, 16, 'b'), kOk);
    EXPECT_EQ(on.close(2), 0x057203u) << "the reserved track is empty";
    ASSERT_EQ(on.write(0, 96, 'a'), kOk);
    EXPECT_EQ(on.write(96, 32, 'a'), 0x056300u) << "end of the reserved track";
    ASSERT_EQ(on.close(1, 1), kOk);
    ASSERT_EQ(on.close(1, 2), kOk);
    ASSERT_EQ(on.close(2), kOk);
    EXPECT_EQ(on.nextWritable(3), 128u + 4096u);
    EXPECT_EQ(on.discStatus(), 1u) << "appendable";
    EXPECT_EQ(on.read(200), 0x052100u);
    on.load(on.path());
    EXPECT_EQ(on.write(128 + 4096, 16, 'c'), kOk);
}

TEST(Sequential, ABorderIsClosedOnceItsTracksAre) {
    LoadedDrive on(Medium::DvdR);
    ASSERT_EQ(on.send({0x53, 0, 0, 0, 0, 0, 0, 0, 32}), kOk);
    ASSERT_EQ(on.write(0, 16, 'a'), kOk);
    ASSERT_EQ(on.write(32, 16, 'b'), kOk);
    EXPECT_EQ(on.close(2), 0x057204u) << "the reserved track is written in part";
    ASSERT_EQ(on.close(1, 1), kOk);
    EXPECT_EQ(on.close(2), 0x057203u) << "the other one is open";
    ASSERT_EQ(on.close(1, 2), kOk);
    EXPECT_EQ(on.close(2), kOk);
}

TEST(Sequential, DiscAtOnceClosesItself) {
    LoadedDrive on(Medium::DvdRwSequential);
    EXPECT_EQ(on.select(1, 4), 0x052600u) << "track-at-once on a DVD";
    Bytes pages = on.receive({0x5A, 8, 0x1D, 0, 0, 0, 0, 0, 20}, 20);
    pages[12] = std::byte{1};
    pages.insert(pages.end(), {std::byte{5}, std::byte{0}});
    EXPECT_EQ(on.send({0x55, 0x10, 0, 0, 0, 0, 0, 0, 22}, pages, DataDirection::Out), 0x052600u);
    EXPECT_EQ(LoadedDrive::be(on.receive({0x5A, 8, 0x1D, 0, 0, 0, 0, 0, 20}, 20), 12, 1), 0u) << "all pages or none";
    ASSERT_EQ(on.select(2, 4), kOk);
    ASSERT_EQ(on.send({0x53, 0, 0, 0, 0, 0, 0, 0, 32}), kOk);
    ASSERT_EQ(on.write(0, 32, 'a'), kOk);
    ASSERT_EQ(on.select(0, 4), kOk);
    ASSERT_EQ(on.synchronize(), kOk);
    EXPECT_EQ(on.discStatus(), 0x1Eu) << "as it was begun";
    ASSERT_EQ(on.send({0xA1, 1}), kOk);
    EXPECT_EQ(on.discStatus(), 0x10u);
    EXPECT_EQ(on.read(0), 0x052100u);
    ASSERT_EQ(on.select(0, 5), kOk);
    EXPECT_EQ(on.write(0, 16, 'x'), 0x056400u) << "quick blanking leaves disc-at-once only";
    ASSERT_EQ(on.send({0xA1, 0}), kOk);
    EXPECT_EQ(on.write(0, 16, 'x'), kOk);
    ASSERT_EQ(on.select(2, 5), kOk);
    ASSERT_EQ(on.synchronize(), kOk);
    EXPECT_EQ(on.discStatus() & 3, 1u) << "begun incrementally";
}

TEST(Sequential, ATestLeavesTheDiscBlank) {
    LoadedDrive on(Medium::DvdR);
    EXPECT_EQ(on.trackField(1, 4) >> 8 & 0xFF, 0x6Fu) << "blank, to be written incrementally";
    ASSERT_EQ(on.select(0x12, 4), kOk);
    EXPECT_EQ(on.trackField(1, 4) >> 8 & 0xFF, 0x4Fu);
    ASSERT_EQ(on.send({0x53, 0, 0, 0, 0, 0, 0, 0, 32}), kOk);
    ASSERT_EQ(on.write(0, 32, 'a'), kOk);
    ASSERT_EQ(on.synchronize(), kOk);
    EXPECT_EQ(on.discStatus() & 3, 0u);
    EXPECT_EQ(on.nextWritable(1), 0u);
}

TEST(RestrictedOverwrite, TakesWholeEccBlocksOfTheFormattedArea) {
    LoadedDrive on(Medium::DvdRwSequential);
    ASSERT_EQ(on.format(64, 0x15), kOk);
    EXPECT_EQ(on.profile(), 0x13u);
    EXPECT_EQ(on.write(8, 16, 'x'), 0x052400u);
    EXPECT_EQ(on.write(0, 15, 'x'), 0x052400u);
    EXPECT_EQ(on.write(16, 16, 'x'), 0x052102u) << "intermediate: in order first";
    ASSERT_EQ(on.write(0, 32, 'a'), kOk);
    ASSERT_EQ(on.write(0, 16, 'b'), kOk);
    EXPECT_EQ(on.discStatus() & 15, 5u);
    ASSERT_EQ(on.close(2), kOk);
    EXPECT_EQ(on.discStatus() & 15, 14u);
    EXPECT_EQ(on.write(64, 16, 'x'), 0x052100u);
    EXPECT_EQ(on.format(20000, 0x13), 0x052600u) << "no such room left";
    ASSERT_EQ(on.format(17, 0x13), kOk) << "32 blocks are added";
    EXPECT_EQ(on.trackField(1, 24), 96u);
    EXPECT_EQ(on.format(32, 0x13), 0x052C00u) << "the border is not complete";
    EXPECT_EQ(on.write(64, 16, 'c'), kOk);
    EXPECT_EQ(on.read(0), std::uint32_t{'b'});
    ASSERT_EQ(on.send({0xA1, 0}), kOk);
    EXPECT_EQ(on.profile(), 0x14u);

    // Without a size the border is as long as what is written in order.
    const auto capacityKind = [&] { return LoadedDrive::be(on.receive({0x23, 0, 0, 0, 0, 0, 0, 0, 12}, 12), 8, 1); };
    ASSERT_EQ(on.format(0, 0x15), kOk);
    EXPECT_EQ(capacityKind(), 3u) << "unknown";
    EXPECT_NE(on.close(2), kOk) << "there is nothing to complete";
    ASSERT_EQ(on.write(0, 48, 'd'), kOk);
    ASSERT_EQ(on.close(2), kOk);
    EXPECT_EQ(capacityKind(), 2u);
    EXPECT_EQ(on.write(48, 16, 'x'), 0x052100u);
    ASSERT_EQ(on.format(0, 0x13), kOk);
    ASSERT_EQ(on.write(48, 16, 'e'), kOk);
    ASSERT_EQ(on.close(2), kOk);
    EXPECT_EQ(on.trackField(1, 24), 64u);
}

TEST(LayerBoundary, IsMovedOnceWhileTheDiscIsBlank) {
    LoadedDrive on(Medium::DvdPlusRDl, FindRules(Medium::DvdPlusRDl)->blocks);
    const auto boundary = [&] { return on.receive({0xAD, 0, 0, 0, 0, 0, 0, 0x20, 0, 12}, 12); };
    const auto move = [&](std::uint32_t layer) {
        Bytes list(12);
        list[1] = std::byte{10};
        for (std::size_t at = 0; at < 4; ++at) list[8 + at] = static_cast<std::byte>(layer >> (24 - 8 * at));
        return on.send({0xBF, 0, 0, 0, 0, 0, 0, 0x20, 0, 12}, list, DataDirection::Out);
    };
    EXPECT_EQ(LoadedDrive::be(boundary(), 4, 1), 0u);
    EXPECT_EQ(LoadedDrive::be(boundary(), 8, 4), 2086912u);
    EXPECT_EQ(move(2086928), 0x052600u);
    EXPECT_EQ(move(1000), 0x052600u) << "no whole ECC block";
    ASSERT_EQ(move(160), kOk);
    EXPECT_EQ(LoadedDrive::be(boundary(), 4, 1), 0x80u);
    EXPECT_EQ(on.trackField(1, 24), 320u);
    EXPECT_EQ(move(320), 0x052C00u);
}

TEST(BackgroundFormat, GoesOnIsStoppedAndRestarted) {
    LoadedDrive on(Medium::DvdPlusRw, 200000);
    on.drive.isRealTime = true;
    const auto status = [&] { return LoadedDrive::be(on.receive({0x51, 0, 0, 0, 0, 0, 0, 0, 34}, 34), 7, 1) & 3; };
    ASSERT_EQ(on.format(0xFFFFFFFF, 0x26), kOk);
    EXPECT_EQ(on.send({0x00}), 0x020404u) << "until it can be written";
    on.time.now += 41000;
    EXPECT_EQ(status(), 2u);
    EXPECT_EQ(on.write(1000, 16, 'a'), kOk);
    ASSERT_EQ(on.close(2), kOk);
    EXPECT_EQ(status(), 1u);
    ASSERT_EQ(on.format(0xFFFFFFFF, 0x26, 1), kOk);
    on.time.now += 4000;
    EXPECT_EQ(on.format(0xFFFFFFFF, 0x26, 1), 0x052600u) << "it runs";
    EXPECT_EQ(on.format(0xFFFFFFFF, 0x26, 2), 0x052600u) << "quick start";
    EXPECT_EQ(on.read(1000), std::uint32_t{'a'});
    ASSERT_EQ(on.send({0x1B, 0, 0, 0, 2}), kOk);
    on.time.now += 600000;
    ASSERT_EQ(on.send({0x1B, 0, 0, 0, 3}), kOk);
    EXPECT_EQ(on.send({0x00}), 0x062800u);
    EXPECT_EQ(status(), 1u) << "nothing is formatted while the tray is open";
    const auto mediaEvent = [&] { return LoadedDrive::be(on.receive({0x4A, 1, 0, 0, 0x10, 0, 0, 0, 8}, 8), 4, 2); };
    EXPECT_EQ(mediaEvent(), 0x0202u) << "the disc is new";
    ASSERT_EQ(on.format(0xFFFFFFFF, 0x26, 1), kOk);
    on.time.now += 600000;
    EXPECT_EQ(mediaEvent(), 0x0502u) << "formatted";
    EXPECT_EQ(status(), 3u);
}

TEST(LongOperations, TellTheirProgressUntilTheyAreDone) {
    LoadedDrive on(Medium::CdRw);
    on.drive.isRealTime = true;
    ASSERT_EQ(on.send({0xA1, 0x11}), kOk);
    on.time.now += 12500;
    EXPECT_EQ(on.send({0x00}), 0x020407u);
    const Bytes sense = on.receive({0x03, 0, 0, 0, 18}, 18);
    EXPECT_EQ(LoadedDrive::be(sense, 15, 1), 0x80u);
    EXPECT_EQ(LoadedDrive::be(sense, 16, 2), 32767u);
    on.time.now += 12500;
    EXPECT_EQ(on.send({0x00}), kOk);
    std::uint32_t answer = kOk;
    for (std::uint32_t block = 0; answer == kOk && block < 8192; block += 32) answer = on.write(block, 32, 'a');
    EXPECT_EQ(answer, 0x020408u) << "the buffer is full";
}

}  // namespace

}  // namespace tovlark
