// A burn on a drive in real time whose source stalls in the middle.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <gtest/gtest.h>
#include <thread>

#include "burn/BurnImage.h"
#include "simdrive/DriveFixture.h"
#include "support/FakeSession.h"

namespace tovlark {
namespace {

constexpr std::uint32_t kSectors = 10'000, kStallsAt = 8192;  // what the buffer holds at first

/// Time that passes when somebody waits, and a source that gives nothing for five seconds of it once the burn has run
/// out of data. From then on waiting for the source takes no time, so that nothing depends on threads.
struct StallingSource {
    std::atomic<std::uint64_t> now = 0;
    std::atomic<std::uint64_t> comesBackAt = 0;  // 0: the burn still has data
    MessageLog* log = nullptr;
    Clock clock{this, [](void* self) { return static_cast<StallingSource*>(self)->now.load(); }, pass,
                [](void*) { return UnixSeconds{0}; }, [](void*, UnixSeconds) { return std::int32_t{0}; }};

    bool isBack() const { return comesBackAt != 0 && now >= comesBackAt; }
    static void pass(void* self, std::uint32_t milliseconds) {
        constexpr std::uint32_t kBufferStep = 1;  // of waiting for the source; the drive is waited for longer
        auto& source = *static_cast<StallingSource*>(self);
        if (source.isBack() && milliseconds == kBufferStep) return std::this_thread::yield();
        source.now += milliseconds;
        if (source.comesBackAt == 0 && source.emptyLines() > 0) source.comesBackAt = source.now + 5000;
    }
    std::size_t emptyLines() const {
        std::size_t count = 0;
        for (const MessageLog::Line& line : log->lines()) count += line.text.starts_with(u"Buffer Empty[");
        return count;
    }
    static bool read(void* self, std::uint32_t first, std::span<std::byte> target, SourceFault&) {
        auto& source = *static_cast<StallingSource*>(self);
        while (first >= kStallsAt && !source.isBack()) std::this_thread::yield();
        for (std::size_t at = 0; at < target.size(); at += 2048)
            std::memset(target.data() + at, static_cast<int>('a' + (first + at / 2048) % 23), 2048);
        return true;
    }
};

TEST(RealTime, AStalledSourceMakesAnUnderrunInTheLogAndARightDisc) {
    FakeSession fake;
    StallingSource source;
    source.log = &fake.log;
    LoadedDrive loaded(Medium::DvdPlusR, 40'000);
    loaded.drive.clock = &source.clock;
    loaded.drive.isRealTime = true;
    ConsoleSession session(fake.streams.streams(), fake.texts, source.clock, fake.flags);
    Task task{session, fake.settings, fake.log, source.clock, fake.flags};
    const OpenedDrive opened{DriveRecord{
        .device = {&loaded.drive,
                   [](void* self, PassThrough& command) { return Execute(*static_cast<SimDrive*>(self), command); },
                   [](void*, VolumeControl) { return SystemError{}; }, nullptr},
        .clock = &source.clock}};
    const SectorSource sectors{
        .self = &source, .sectorSize = 2048, .sectorCount = kSectors, .read = StallingSource::read};
    EXPECT_EQ(BurnImage(task, {.drive = opened.get(), .source = sectors, .options = {.finalises = true}}), Status::Ok);

    EXPECT_EQ(loaded.drive.underruns, 1u);
    EXPECT_GE(source.emptyLines(), 5000u / 51);  // one for each attempt
    EXPECT_EQ(fake.streams.output.find("Buffer"), std::string::npos) << fake.streams.output;
    EXPECT_FALSE(fake.flags.error);
    EXPECT_TRUE(std::ranges::any_of(fake.log.lines(), [](const MessageLog::Line& line) {
        return line.text.find(u"KB/s, ") != Text::npos && line.text.ends_with(u" seconds remaining");
    }));
    loaded.drive.isRealTime = false;
    for (std::uint32_t block = 0; block < kSectors; ++block) ASSERT_EQ(loaded.read(block), 'a' + block % 23);
}

}  // namespace
}  // namespace tovlark
