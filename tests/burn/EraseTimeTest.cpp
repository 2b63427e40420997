#include <gtest/gtest.h>

#include "burn/EraseTime.h"
#include "support/FakeSession.h"

namespace tovlark {
namespace {

TEST(EraseTimeTest, EstimatesByKindMethodAndWhatWasMeasured) {
    struct Row {
        EraseKind kind;
        EraseMethod method;
        std::size_t offset;
        std::uint32_t usual, least;
    };
    constexpr EraseMethod kQuick = EraseMethod::Quick, kFull = EraseMethod::Full;
    constexpr Row kRows[] = {
        {EraseKind::CdRw, kQuick, 0, 25, 10},       {EraseKind::CdRw, kFull, 2, 540, 120},
        {EraseKind::DvdPlusRw, kQuick, 4, 120, 40}, {EraseKind::DvdPlusRw, kFull, 6, 1800, 600},
        {EraseKind::DvdMinusRw, kQuick, 8, 30, 10}, {EraseKind::DvdMinusRw, kFull, 10, 900, 120},
        {EraseKind::DvdRam, kQuick, 12, 10, 4},     {EraseKind::DvdRam, kFull, 14, 2400, 300},
        {EraseKind::BdRe, kQuick, 16, 30, 4},       {EraseKind::BdRe, kFull, 18, 3600, 300},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.offset);
        EraseTimes times;
        EXPECT_EQ(times.estimate(row.kind, row.method), row.usual);
        times.record[row.offset + 1] = std::byte{1};
        EXPECT_EQ(times.estimate(row.kind, row.method), row.least);
        times.record[row.offset] = std::byte{0x80};
        EXPECT_EQ(times.estimate(row.kind, row.method), 0x8001u);
    }
}

TEST(EraseTimeTest, KeepsSecondsInTheirPlaceAndTheRestAsItWas) {
    FakeSession around;
    std::vector<std::byte> record(64, std::byte{0xAA});
    around.fakeSettings.put(u"EraseTime", record);
    EraseTimes times = EraseTimes::load(around.settings);
    times.store(EraseKind::CdRw, EraseMethod::Quick, 75);
    times.store(EraseKind::BdRe, EraseMethod::Full, 70000);
    ASSERT_TRUE(times.save(around.settings));
    record[0] = std::byte{0x00};
    record[1] = std::byte{0x4B};
    record[18] = record[19] = std::byte{0xFF};  // the most that fits
    EXPECT_EQ(std::get<std::vector<std::byte>>(*around.fakeSettings.find(u"EraseTime")), record);
}

}  // namespace
}  // namespace tovlark
