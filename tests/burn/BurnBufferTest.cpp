#include <atomic>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

#include "burn/BurnBuffer.h"
#include "support/FakeSession.h"

namespace tovlark {
namespace {

/// Sectors that begin with their number. It can be held back, and fail.
struct NumberedSource {
    std::atomic<std::uint32_t> allowed = 0xFFFFFFFF;  // sectors that may be read; the reader waits for more
    std::atomic<std::uint32_t> failsAt = 0xFFFFFFFF;
    std::atomic<std::uint32_t> largestRead = 0;

    SectorSource source(std::uint32_t count, std::uint32_t sectorSize = 2048) {
        return {.self = this, .sectorSize = sectorSize, .sectorCount = count, .read = read};
    }
    static bool read(void* self, std::uint32_t first, std::span<std::byte> target, SourceFault& fault) {
        auto& source = *static_cast<NumberedSource*>(self);
        const std::size_t size = target.size() % 2352 == 0 ? 2352 : 2048;
        const auto count = static_cast<std::uint32_t>(target.size() / size);
        source.largestRead = std::max(source.largestRead.load(), count);
        while (source.allowed < first + count) std::this_thread::yield();
        if (first + count > source.failsAt) {
            fault.details = u"gone";
            return false;
        }
        for (std::uint32_t index = 0; index < count; ++index) {
            const std::uint32_t number = first + index;
            std::memcpy(target.data() + index * size, &number, sizeof number);
        }
        return true;
    }
};

std::uint32_t NumberIn(std::span<const std::byte> sectors, std::size_t index) {
    std::uint32_t number = 0;
    std::memcpy(&number, sectors.data() + index * 2048, sizeof number);
    return number;
}

struct BurnBufferTest : testing::Test {
    FakeSession fake;
    NumberedSource numbers;
    std::vector<std::byte> scratch = std::vector<std::byte>(64 * 2048);

    std::unique_ptr<BurnBuffer> make(std::uint32_t sectors) {
        return CreateBurnBuffer(fake.task, numbers.source(sectors));
    }
    bool take(BurnBuffer& buffer, std::uint32_t count) {
        return buffer.takeSectors(std::span(scratch).first(count * 2048));
    }
    std::size_t emptyLines() const {
        std::size_t count = 0;
        for (const MessageLog::Line& line : fake.log.lines()) count += line.text.starts_with(u"Buffer Empty[");
        return count;
    }
};

TEST_F(BurnBufferTest, SizeFollowsTheSetting) {
    static constexpr struct {
        std::uint32_t setting;
        bool isDisc;
        std::uint32_t sectors;
    } kCases[] = {{16, false, 8192}, {20, false, 10240}, {8, false, 8192}, {2000, false, 8192}, {16, true, 16384}};
    for (const auto& [setting, isDisc, sectors] : kCases) {
        fake.fakeSettings.put(u"BurnBuffer", setting);
        SectorSource source = numbers.source(20);
        source.isDisc = isDisc;
        const auto buffer = CreateBurnBuffer(fake.task, source);
        ASSERT_NE(buffer, nullptr);
        EXPECT_EQ(buffer->capacity(), sectors) << setting;
    }
}

TEST_F(BurnBufferTest, ShortMemoryMakesASmallerBufferAndNoneAMessage) {
    const auto small = CreateBurnBuffer(fake.task, numbers.source(20), [](std::size_t size) {
        return size > 4096 * 2048 ? nullptr : AllocateBuffer(size);
    });
    ASSERT_NE(small, nullptr);
    EXPECT_EQ(small->capacity(), 4096u);
    EXPECT_EQ(
        CreateBurnBuffer(fake.task, numbers.source(20), [](std::size_t) { return static_cast<std::byte*>(nullptr); }),
        nullptr);
    EXPECT_EQ(fake.streams.output, "Out of memory. Program abort.\r\n");
    EXPECT_TRUE(fake.flags.error);
}

TEST_F(BurnBufferTest, EverySectorComesOnceAndInOrderThroughManyWraps) {
    constexpr std::uint32_t kSectors = 100'003;  // the last chunk is short
    const auto buffer = make(kSectors);
    ASSERT_NE(buffer, nullptr);
    std::uint32_t taken = 0;
    while (taken < kSectors) {
        const std::uint32_t count = std::min(24u, kSectors - taken);  // no divisor of the capacity
        const auto sectors = buffer->lookAhead(scratch, count);
        ASSERT_EQ(sectors.size(), count * 2048u) << taken;
        for (std::uint32_t index = 0; index < count; ++index) ASSERT_EQ(NumberIn(sectors, index), taken + index);
        const bool wraps = taken % buffer->capacity() + count > buffer->capacity();
        ASSERT_EQ(sectors.data() == scratch.data(), wraps) << taken;
        buffer->consume(count);
        taken += count;
    }
    EXPECT_TRUE(buffer->lookAhead(scratch, 1).empty());
    EXPECT_TRUE(buffer->hasFinished());
}

TEST_F(BurnBufferTest, AWrappedRequestIsTheTailAndThenTheHead) {
    const auto buffer = make(9000);
    ASSERT_NE(buffer, nullptr);
    for (std::uint32_t taken = 0; taken < 8192 - 10; taken += 1) ASSERT_TRUE(take(*buffer, 1));
    const auto sectors = buffer->lookAhead(scratch, 32);
    ASSERT_EQ(sectors.data(), scratch.data());
    for (std::uint32_t index = 0; index < 32; ++index) EXPECT_EQ(NumberIn(sectors, index), 8182 + index);
}

TEST_F(BurnBufferTest, ASourceThatEndedGivesWhatIsLeft) {
    const auto buffer = make(5);
    ASSERT_NE(buffer, nullptr);
    EXPECT_FALSE(take(*buffer, 16));
    EXPECT_TRUE(take(*buffer, 5));
    EXPECT_EQ(emptyLines(), 0u);
}

TEST_F(BurnBufferTest, FailureEndsTheSourceShortAndIsTold) {
    numbers.failsAt = 8192 + 512;
    const auto buffer = make(50'000);
    ASSERT_NE(buffer, nullptr);
    std::uint32_t taken = 0;
    while (take(*buffer, 16)) taken += 16;
    EXPECT_EQ(taken, 8192u + 512);
    EXPECT_FALSE(buffer->hasFinished());
    ReportFault(fake.task, buffer->fault());
    EXPECT_EQ(fake.streams.output, "Error reading image data.\r\ngone\r\n");
}

TEST_F(BurnBufferTest, ASourceThatFailsBeforeTheBufferIsFullGivesNone) {
    numbers.failsAt = 100;
    EXPECT_EQ(make(50'000), nullptr);
    EXPECT_EQ(fake.streams.output, "Error reading image data.\r\ngone\r\n");
    EXPECT_TRUE(fake.flags.error);
}

/// A clock whose every wait lets something happen; it is the writer's alone.
struct BusyTime {
    std::function<void()> onSleep = [] {};
    std::uint64_t now = 0;
    Clock clock{this, [](void* self) { return static_cast<BusyTime*>(self)->now; },
                [](void* self, std::uint32_t milliseconds) {
                    auto& time = *static_cast<BusyTime*>(self);
                    time.now += milliseconds;
                    time.onSleep();
                },
                [](void*) { return UnixSeconds{0}; }, [](void*, UnixSeconds) { return std::int32_t{0}; }};
};

TEST_F(BurnBufferTest, AnUnderrunIsLoggedOncePerAttemptAndGoesOnWithWhatThereIs) {
    BusyTime time;
    Task task{fake.session, fake.settings, fake.log, time.clock, fake.flags};
    numbers.allowed = 8192;  // the first fill, and then it stalls
    const auto buffer = CreateBurnBuffer(task, numbers.source(20'000));
    ASSERT_NE(buffer, nullptr);
    for (std::uint32_t taken = 0; taken < 8192; taken += 16) ASSERT_TRUE(take(*buffer, 16));

    // Two attempts see nothing; in the third the source comes back.
    time.onSleep = [&] {
        if (time.now < 110) return;
        numbers.allowed = 20'000;
        while (buffer->filled() < 16) std::this_thread::yield();
    };
    const auto sectors = buffer->lookAhead(scratch, 16);
    ASSERT_EQ(sectors.size(), 16u * 2048);
    EXPECT_EQ(NumberIn(sectors, 0), 8192u);
    EXPECT_EQ(emptyLines(), 3u);
    EXPECT_LE(time.now, 153u);  // 1 + at most 50 a time
    EXPECT_EQ(fake.log.lines()[0].text, u"Buffer Empty[0-16] .");
    EXPECT_EQ(fake.streams.output, "");
}

TEST_F(BurnBufferTest, CancellingEndsAWaitForASourceThatStalls) {
    BusyTime time;
    Task task{fake.session, fake.settings, fake.log, time.clock, fake.flags};
    numbers.allowed = 8192;
    const auto buffer = CreateBurnBuffer(task, numbers.source(20'000));
    ASSERT_NE(buffer, nullptr);
    for (std::uint32_t taken = 0; taken < 8192; taken += 16) ASSERT_TRUE(take(*buffer, 16));
    time.onSleep = [&] { fake.flags.cancel = true; };
    EXPECT_FALSE(take(*buffer, 16));
    EXPECT_FALSE(buffer->hasFailed());
    const auto next = CreateBurnBuffer(task, numbers.source(20'000));
    ASSERT_NE(next, nullptr);
    EXPECT_FALSE(next->hasFailed());
    numbers.allowed = 20'000;
}

TEST_F(BurnBufferTest, TearingDownEarlyEndsTheProducer) {
    ASSERT_NE(make(1'000'000), nullptr);
    EXPECT_LE(numbers.largestRead, 512u);
}

/// Makes its sectors in pieces that fit nothing.
struct MadeSource {
    static constexpr std::uint32_t kPiece = 700;
    std::uint32_t made = 0;  // in all

    SectorSource source(std::uint32_t announced) {
        return {.self = this, .sectorSize = 2048, .sectorCount = announced, .make = make};
    }
    static bool make(void* self, const SectorIntake& intake, SourceFault&) {
        auto& source = *static_cast<MadeSource*>(self);
        std::vector<std::byte> piece(kPiece * 2048);
        for (std::uint32_t number = 0; number < source.made; number += kPiece) {
            for (std::uint32_t index = 0; index < kPiece; ++index) {
                const std::uint32_t value = number + index;
                std::memcpy(piece.data() + std::size_t{index} * 2048, &value, sizeof value);
            }
            if (!intake.put(intake.self, std::span(piece).first(std::min(kPiece, source.made - number) * 2048)))
                return false;
        }
        intake.warn(intake.self, u"odd");
        return true;
    }
};

TEST_F(BurnBufferTest, MadeSectorsComeOnceAndInOrder) {
    constexpr std::uint32_t kCount = 30'000;
    static constexpr struct {
        std::uint32_t announced;
        bool isWhole;
    } kCases[] = {{kCount, true}, {kCount + 16, false}, {kCount - 16, false}};
    for (const auto& [announced, isWhole] : kCases) {
        MadeSource made{kCount};
        const auto buffer = CreateBurnBuffer(fake.task, made.source(announced));
        ASSERT_NE(buffer, nullptr);
        for (std::uint32_t number = 0; number + 16 <= std::min(announced, kCount); number += 16) {
            ASSERT_TRUE(take(*buffer, 16));
            ASSERT_EQ(NumberIn(scratch, 5), number + 5);
        }
        EXPECT_FALSE(take(*buffer, 1));
        EXPECT_EQ(buffer->hasFinished(), isWhole);
        EXPECT_EQ(buffer->takeWarnings().size(), announced >= kCount);
        EXPECT_TRUE(buffer->takeWarnings().empty());
    }
    MadeSource endless{4'000'000'000};
    const auto buffer = CreateBurnBuffer(fake.task, endless.source(endless.made));
    ASSERT_NE(buffer, nullptr) << "and is torn down with sectors to come";
}

TEST_F(BurnBufferTest, ASourceDiscIsReadInSmallPieces) {
    SectorSource source = numbers.source(40'000);
    source.isDisc = true;
    const auto buffer = CreateBurnBuffer(fake.task, source);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(numbers.largestRead, 16u);
}

}  // namespace
}  // namespace tovlark
