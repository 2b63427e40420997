// What a drive in real time takes, on a clock that only waiting moves.
#include "simdrive/DriveFixture.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kOk = 0, kFull = 0x020408;

/// A drive in real time, which is used as a patient host uses it.
struct TimedDrive : LoadedDrive {
    TimedDrive(Medium medium, std::uint32_t blocks) : LoadedDrive(medium, blocks) { drive.isRealTime = true; }
    explicit TimedDrive(Medium medium) : TimedDrive(medium, FindRules(medium)->blocks) {}

    /// Waits 100 ms whenever the buffer is full.
    void fill(std::uint32_t first, std::uint32_t count) {
        for (std::uint32_t block = first; block < first + count; block += 32)
            while (const std::uint32_t sense = write(block, 32, 'a')) {
                if (sense != kFull) throw std::runtime_error("no write: " + std::to_string(sense));
                time.now += 100;
            }
    }
    /// Seconds until TEST UNIT READY answers well; every answer before is that the drive is at work.
    std::uint64_t waitUntilReady(std::uint32_t sense) {
        const std::uint64_t from = time.now;
        while (const std::uint32_t answer = send({0x00})) {
            EXPECT_EQ(answer, sense);
            time.now += 1000;
        }
        return (time.now - from) / 1000;
    }
    /// Milliseconds until the command ends.
    std::uint64_t took(std::initializer_list<int> cdb) {
        const std::uint64_t from = time.now;
        EXPECT_EQ(send(cdb), kOk);
        return time.now - from;
    }
};

TEST(DriveTime, ADriveTellsTheSpeedOfEachZone) {
    const auto zones = [](Medium medium, int isWrite) {
        LoadedDrive on(medium, FindRules(medium)->blocks);
        return on.receive({0xAC, 0x10 | isWrite << 2, 0, 0, 0, 0, 0, 0, 0, 100, 0, 0}, 8 + 100 * 16);
    };
    const Bytes constant = zones(Medium::BdRe, 1), rising = zones(Medium::DvdPlusR, 1),
                reading = zones(Medium::DvdRom, 0);
    EXPECT_EQ(LoadedDrive::be(constant, 0, 4), 4u + 16) << "2x all over";
    EXPECT_EQ(LoadedDrive::be(constant, 20, 4), 2u * 4495);
    EXPECT_EQ(LoadedDrive::be(rising, 0, 4), 4u + 16 * (rising.size() / 16));
    const std::size_t last = rising.size() - 16;
    EXPECT_EQ(LoadedDrive::be(rising, last + 8, 4), FindRules(Medium::DvdPlusR)->blocks - 1);
    EXPECT_NEAR(LoadedDrive::be(rising, last + 12, 4), 16 * 1385, 50);
    EXPECT_NEAR(LoadedDrive::be(rising, 12, 4), 16 * 1385 * 24 / 58, 50) << "CAV";
    EXPECT_GT(reading.size(), std::size_t{8 + 16});
}

TEST(DriveTime, AWholeDiscTakesWhatItTakesInADrive) {
    static constexpr struct {
        Medium medium;
        std::uint32_t speed;  // times; 0: the greatest
        std::uint64_t least, most;
    } kRows[] = {
        {Medium::CdR, 0, 130, 150},       // CAV
        {Medium::CdR, 16, 299, 301},      // CLV: 80 minutes / 16
        {Medium::CdRw, 0, 210, 240},      // Z-CLV 16x to 24x
        {Medium::DvdPlusR, 0, 295, 305},  // CAV
        {Medium::DvdPlusR, 4, 845, 850},  // CLV
        {Medium::DvdRwSequential, 0, 600, 640},
        {Medium::DvdPlusRDl, 0, 790, 860},
        {Medium::BdR, 4, 1385, 1400},
        {Medium::BdR, 0, 640, 680},
        {Medium::BdRe, 0, 2770, 2800},
        {Medium::HdDvdR, 0, 3280, 3300},
    };
    for (const auto& [medium, speed, least, most] : kRows) {
        const MediumRules& rules = *FindRules(medium);
        const std::uint32_t rate = (speed == 0 ? rules.maximumSpeed : speed) * rules.singleSpeed;
        const std::uint64_t seconds = PassTime(rules, Pass::Write, rate, 0, rules.blocks) / (1000 * kMillisecond);
        EXPECT_GE(seconds, least) << static_cast<int>(medium) << " at " << speed;
        EXPECT_LE(seconds, most) << static_cast<int>(medium) << " at " << speed;
    }
}

TEST(DriveTime, RatesRiseOutwardsInZonesOrSmoothlyAndFallOnTheSecondLayer) {
    static constexpr struct {
        Medium medium;
        double inner, middle, outer;  // times the single speed
    } kRows[] = {{Medium::CdR, 20.7, 36.9, 48},      {Medium::CdRw, 16, 24, 24}, {Medium::DvdR, 6.6, 12.2, 16},
                 {Medium::DvdRwSequential, 4, 6, 6}, {Medium::DvdRam, 3, 5, 5},  {Medium::DvdPlusRw, 6, 8, 8},
                 {Medium::DvdPlusRDl, 6, 8, 6},      {Medium::BdR, 5, 9.2, 12},  {Medium::BdRe, 2, 2, 2}};
    for (const auto& [medium, inner, middle, outer] : kRows) {
        const MediumRules& rules = *FindRules(medium);
        const auto factor = [&](std::uint32_t block) {
            return static_cast<double>(RateAt(rules, Pass::Write, rules.maximumSpeed * rules.singleSpeed, block)) /
                   (rules.singleSpeed * 1000.0);
        };
        EXPECT_NEAR(factor(0), inner, 0.1) << static_cast<int>(medium);
        EXPECT_NEAR(factor(rules.blocks / 2), middle, 0.1) << static_cast<int>(medium);
        EXPECT_NEAR(factor(rules.blocks - 1), outer, 0.1) << static_cast<int>(medium);
    }
}

// Requests of 64 KB take 3 ms at 16x: what a clock of milliseconds cuts off must not make the drive faster.
TEST(DriveTime, RequestsAddUpToTheRate) {
    constexpr std::uint32_t kCount = 32 * 1000;
    TimedDrive on(Medium::DvdPlusR);
    on.fill(0, kCount);
    const std::uint64_t began = on.time.now;
    on.took({0x35});
    EXPECT_GT(on.time.now, began);
    const auto expected = [&](Pass pass) {
        const MediumRules& rules = *FindRules(Medium::DvdPlusR);
        return PassTime(rules, pass, 16 * 1385, 0, kCount) / kMillisecond;
    };
    constexpr std::uint64_t kStart = 4000 + 5000 + 50;  // spin-up, calibration, seek
    EXPECT_NEAR(static_cast<double>(on.time.now), static_cast<double>(kStart + 2000 + expected(Pass::Write)), 10);
    const std::uint64_t from = on.time.now;
    for (std::uint32_t block = 0; block < kCount; block += 16) {
        Bytes data(std::size_t{16} * 2048);
        ASSERT_EQ(on.send({0x28, 0, 0, int(block >> 16), int(block >> 8 & 255), int(block & 255), 0, 0, 16}, data,
                          DataDirection::In),
                  kOk);
    }
    EXPECT_NEAR(static_cast<double>(on.time.now - from), static_cast<double>(50 + expected(Pass::Read)), 20);
}

TEST(DriveTime, ReadingSpinsUpSeeksAndIsFreeFromTheCache) {
    TimedDrive on(Medium::DvdPlusRw, 2'000'000);
    on.drive.isRealTime = false;
    ASSERT_EQ(on.format(0xFFFFFFFF, 0x26), kOk);
    on.drive.isRealTime = true;
    const auto read = [&](std::uint32_t block) {
        const std::uint64_t from = on.time.now;
        EXPECT_EQ(on.read(block), 0u);
        return on.time.now - from;
    };
    EXPECT_NEAR(static_cast<double>(read(0)), 4050, 2);
    EXPECT_EQ(read(0), 0u);
    EXPECT_NEAR(static_cast<double>(read(1'999'999)), 270, 10);
    EXPECT_NEAR(static_cast<double>(read(0)), 270, 10);
    EXPECT_EQ(on.read(2'000'000), 0x052100u);
    const std::uint64_t refused = on.time.now;
    EXPECT_EQ(on.read(2'000'000), 0x052100u);
    EXPECT_EQ(on.time.now, refused) << "a refused command takes no time";
    const std::uint64_t verify = on.took({0x2F, 0, 0, 0, 0, 0x64, 0, 0xFF, 0xFF});  // 128 MB at 6.6x
    EXPECT_NEAR(static_cast<double>(verify), 50 + 65535 * 2.048 / 9.3, 300);
    on.send({0x1B, 0, 0, 0, 0});
    EXPECT_NEAR(static_cast<double>(on.took({0x1B, 0, 0, 0, 1})), 4000, 1);
}

TEST(DriveTime, ABufferThatRunsEmptyIsCountedOnceAndMended) {
    TimedDrive on(Medium::DvdPlusR);
    on.fill(0, 4096);
    on.time.now += 60000;
    on.fill(4096, 8192);
    EXPECT_EQ(on.drive.underruns, 1u);
    on.time.now += 60000;
    on.fill(4096 + 8192, 8192);
    EXPECT_EQ(on.drive.underruns, 2u);
    on.synchronize();
    on.time.now += 60000;
    on.fill(4096 + 16384, 4096);
    EXPECT_EQ(on.drive.underruns, 2u) << "what was ended cannot run empty";
    EXPECT_EQ(on.nextWritable(1), 4096u + 16384 + 4096);
    EXPECT_EQ(on.read(4096), std::uint32_t{'a'});
}

// A write that is refused for another reason books nothing.
TEST(DriveTime, RefusedWritesLeaveTheBufferAlone) {
    TimedDrive on(Medium::DvdPlusR);
    on.drive.faults.writeErrors = {{0, 100}};
    EXPECT_EQ(on.write(0, 32, 'x'), 0x030C00u);
    EXPECT_EQ(on.write(96, 32, 'x'), 0x052102u);
    EXPECT_EQ(BufferedBytes(on.drive), 0u);
    EXPECT_EQ(on.drive.motion.writtenUntil, 0u);
}

TEST(DriveTime, WithoutProtectionAnEmptyBufferIsTheEndOfTheTrack) {
    TimedDrive on(Medium::CdR);
    Bytes page = on.receive({0x5A, 8, 5, 0, 0, 0, 0, 0, 60}, 60);
    page[8 + 2] = std::byte{1};  // track-at-once, BUFE off
    ASSERT_EQ(on.send({0x55, 0x10, 0, 0, 0, 0, 0, 0, 60}, page, DataDirection::Out), kOk);
    on.fill(0, 320);
    on.time.now += 60000;
    EXPECT_EQ(on.write(320, 32, 'x'), 0x030C09u);
    EXPECT_EQ(on.write(320, 32, 'x'), 0x030C09u);
    EXPECT_EQ(on.drive.underruns, 1u);
    EXPECT_EQ(on.synchronize(), kOk);
    EXPECT_EQ(on.nextWritable(2), 320u + 2 + 150);
}

TEST(DriveTime, ClosingTakesItsTimeAndTellsSo) {
    static constexpr struct {
        Medium medium;
        int function;
        std::uint64_t least, most;  // seconds
    } kRows[] = {{Medium::CdR, 1, 3, 3},
                 {Medium::CdR, 2, 12, 20},
                 {Medium::DvdPlusR, 1, 3, 3},
                 {Medium::DvdPlusR, 2, 17, 20},
                 {Medium::DvdPlusR, 6, 100, 125},  // filled up to 35 mm
                 {Medium::DvdPlusRDl, 6, 200, 280},
                 {Medium::BdR, 2, 15, 15}};
    for (const auto& [medium, function, least, most] : kRows) {
        TimedDrive on(medium);
        on.drive.isRealTime = false;
        ASSERT_EQ(on.write(0, 32, 'a'), kOk);
        if (function != 1) {
            ASSERT_EQ(on.close(1), kOk);
        }
        on.drive.isRealTime = true;
        ASSERT_EQ(on.send({0x5B, 1, function, 0, 0, 1}), kOk);
        const std::uint64_t seconds = on.waitUntilReady(0x020407);
        EXPECT_GE(seconds, least) << static_cast<int>(medium) << " function " << function;
        EXPECT_LE(seconds, most) << static_cast<int>(medium) << " function " << function;
    }
}

TEST(DriveTime, DiscAtOnceBeginsWithTheLeadInAndEndsWithTheLeadOut) {
    TimedDrive on(Medium::DvdR);
    ASSERT_EQ(on.select(2, 4), kOk);
    ASSERT_EQ(on.took({0x54, 1}), 5000u);
    on.fill(0, 320);
    ASSERT_EQ(on.send({0x35, 2}), kOk);
    const std::uint64_t seconds = on.waitUntilReady(kFull);
    EXPECT_GE(seconds, 12u + 100);  // to 24 mm, then filled up to 35 mm
    EXPECT_LE(seconds, 12u + 130);
    EXPECT_EQ(on.discStatus() & 15, 14u);

    // What is written in test mode takes the same time.
    TimedDrive test(Medium::DvdR);
    ASSERT_EQ(test.select(0x12, 4), kOk);
    ASSERT_EQ(test.took({0x54, 1}), 5000u);
    test.fill(0, 320);
    ASSERT_EQ(test.send({0x35, 2}), kOk);
    EXPECT_EQ(test.waitUntilReady(kFull), seconds);
}

TEST(DriveTime, ASessionByCueSheetEndsWithItsLeadOut) {
    TimedDrive on(Medium::CdR, 20000);
    ASSERT_EQ(on.select(2, 0, 0), kOk);
    Bytes sheet;
    for (const auto& entry : {std::array{1, 0, 0, 1, 0, 0, 0, 0}, std::array{1, 1, 0, 0, 0, 0, 0, 0},
                              std::array{1, 1, 1, 0, 0, 0, 2, 0}, std::array{1, 0xAA, 1, 1, 0, 0, 10, 0}})
        for (const int byte : entry) sheet.push_back(static_cast<std::byte>(byte));
    ASSERT_EQ(on.send({0x5D, 0, 0, 0, 0, 0, 0, 0, 32}, sheet, DataDirection::Out), kOk);
    for (std::int32_t block = -150; block < 600; block += 25)
        ASSERT_EQ(on.write(static_cast<std::uint32_t>(block), 25, 'a', 2352), kOk);
    EXPECT_EQ(on.discStatus() & 15, 14u);
    ASSERT_EQ(on.send({0x35, 2}), kOk);
    const std::uint64_t seconds = on.waitUntilReady(kFull);
    EXPECT_GE(seconds, 3u + 4 + 7 + 7);  // spin-up, calibration, lead-in, closing and lead-out
    EXPECT_LE(seconds, 25u);
    EXPECT_EQ(on.drive.underruns, 0u);
}

TEST(DriveTime, ALoadedDiscBecomesReadyAndIsThenTold) {
    TimedDrive on(Medium::BdR);
    ASSERT_EQ(on.send({0x1B, 0, 0, 0, 2}), kOk);
    ASSERT_EQ(on.send({0x1B, 1, 0, 0, 3}), kOk);
    EXPECT_EQ(on.send({0x00}), 0x020401u);
    on.time.now += 15000;
    EXPECT_EQ(on.send({0x00}), 0x062800u);
    EXPECT_EQ(on.send({0x00}), kOk);
}

}  // namespace

}  // namespace tovlark
