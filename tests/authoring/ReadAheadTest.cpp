#include <atomic>
#include <gtest/gtest.h>
#include <stdexcept>
#include <vector>

#include "authoring/ReadAhead.h"

namespace tovlark {
namespace {

TEST(ReadAhead, BatchesComeInOrderAndStayWhileTheyAreUsed) {
    for (const std::size_t count : {0U, 1U, 2U, 7U, 8U, 9U, 500U}) {
        ReadAhead<std::vector<std::size_t>> ahead(
            count, [](std::size_t number, std::vector<std::size_t>& batch) { batch.assign(1000, number); });
        for (std::size_t number = 0; number < count; ++number) {
            const std::vector<std::size_t>& batch = ahead.take();
            // Read again and again: a thread that filled the next batch over this one would show.
            for (int repeat = 0; repeat < 20; ++repeat) ASSERT_EQ(batch, std::vector<std::size_t>(1000, number));
        }
    }
}

TEST(ReadAhead, TheReadersStayCloseAndEndWithTheirOwner) {
    std::atomic<std::size_t> begun = 0;
    {
        ReadAhead<int> ahead(1000, [&](std::size_t, int&) { ++begun; });
        for (int count = 0; count < 20; ++count) ahead.take();
    }
    EXPECT_GE(begun, 20U);
    EXPECT_LT(begun, 40U);
}

TEST(ReadAhead, AFailureReachesTheTakerInItsTurn) {
    for (const std::size_t failing : {0U, 5U, 99U}) {
        ReadAhead<int> ahead(100, [&](std::size_t number, int& batch) {
            if (number == failing) throw std::runtime_error("no more");
            batch = static_cast<int>(number);
        });
        for (std::size_t number = 0; number < failing; ++number) EXPECT_EQ(ahead.take(), static_cast<int>(number));
        EXPECT_THROW(ahead.take(), std::runtime_error) << failing;
    }
}

}  // namespace
}  // namespace tovlark
