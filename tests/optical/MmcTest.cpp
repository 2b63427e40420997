#include <gtest/gtest.h>

#include "optical/Commands.h"
#include "optical/Mmc.h"
#include "optical/ReplyView.h"

namespace tovlark {
namespace {

template <std::size_t count>
constexpr bool Is(const Cdb& cdb, const std::uint8_t (&bytes)[count]) {
    if (cdb.length != count) return false;
    for (std::size_t index = 0; index < count; ++index)
        if (cdb.bytes[index] != bytes[index]) return false;
    return true;
}

// Every command block as the standards lay it out.
static_assert(Is(TestUnitReady(), {0x00, 0, 0, 0, 0, 0}));
static_assert(Is(FormatUnit(), {0x04, 0x11, 0, 0, 0, 0}));
static_assert(Is(Inquiry(0x0124), {0x12, 0, 0, 1, 0x24, 0}));
static_assert(Is(StartStopUnit(UnitAction::Eject, Immed::Yes), {0x1B, 1, 0, 0, 2, 0}));
static_assert(Is(StartStopUnit(UnitAction::Load, Immed::No), {0x1B, 0, 0, 0, 3, 0}));
static_assert(Is(PreventAllowRemoval(true), {0x1E, 0, 0, 0, 1, 0}));
static_assert(Is(ReadFormatCapacities(), {0x23, 0, 0, 0, 0, 0, 0, 0, 252, 0}));
static_assert(Is(ReadCapacity(), {0x25, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
static_assert(Is(Read10(Lba{0x01020304}, 0x0506), {0x28, 0, 1, 2, 3, 4, 0, 5, 6, 0}));
static_assert(Is(Write10(Lba{-150}, 26), {0x2A, 0, 0xFF, 0xFF, 0xFF, 0x6A, 0, 0, 26, 0}));
static_assert(Is(SynchronizeCache(Immed::Yes), {0x35, 2, 0, 0, 0, 0, 0, 0, 0, 0}));
static_assert(Is(ReadToc(TocFormat::Atip, 0, 32), {0x43, 0, 4, 0, 0, 0, 0, 0, 32, 0}));
static_assert(Is(ReadToc(TocFormat::Tracks, 0xAA, 0x324), {0x43, 0, 0, 0, 0, 0, 0xAA, 3, 0x24, 0}));
static_assert(Is(GetConfiguration(FeatureScope::One, 0x0138, 16), {0x46, 2, 1, 0x38, 0, 0, 0, 0, 16, 0}));
static_assert(Is(GetEventStatus(0x10, 8), {0x4A, 1, 0, 0, 0x10, 0, 0, 0, 8, 0}));
static_assert(Is(ReadDiscInformation(42), {0x51, 0, 0, 0, 0, 0, 0, 0, 42, 0}));
static_assert(Is(ReadTrackInformation(TrackAddress::Track, 0xFF, 48), {0x52, 1, 0, 0, 0, 0xFF, 0, 0, 48, 0}));
static_assert(Is(ReserveTrack(0x01020304), {0x53, 0, 0, 0, 0, 1, 2, 3, 4, 0}));
static_assert(Is(SendOpcInformation(), {0x54, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
static_assert(Is(ModeSelect10(0x0102), {0x55, 0x10, 0, 0, 0, 0, 0, 1, 2, 0}));
static_assert(Is(ModeSense10(0x2A, 256, 1), {0x5A, 8, 0x6A, 0, 0, 0, 0, 1, 0, 0}));
static_assert(Is(CloseTrackSession(2, 0x0102, Immed::Yes), {0x5B, 1, 2, 0, 1, 2, 0, 0, 0, 0}));
static_assert(Is(ReadBufferCapacity(), {0x5C, 0, 0, 0, 0, 0, 0, 0, 12, 0}));
static_assert(Is(SendCueSheet(0x010203), {0x5D, 0, 0, 0, 0, 0, 1, 2, 3, 0}));
static_assert(Is(Blank(1, 0x01020304, Immed::Yes), {0xA1, 0x11, 1, 2, 3, 4, 0, 0, 0, 0, 0, 0}));
static_assert(Is(GetPerformance(3, 0, Lba{0}, 64), {0xAC, 0, 0, 0, 0, 0, 0, 0, 0, 64, 3, 0}));
static_assert(Is(ReadDiscStructure(1, 2, 3, 4100), {0xAD, 1, 0, 0, 0, 0, 2, 3, 0x10, 4, 0, 0}));
static_assert(Is(SetStreaming(28), {0xB6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 28, 0}));
static_assert(Is(SetCdSpeed(0x0102, 0x0304), {0xBB, 0, 1, 2, 3, 4, 0, 0, 0, 0, 0, 0}));
static_assert(Is(ReadCd(Lba{1}, 0x010203, CdSectorType::Mode2Form1, 0xF8, SubChannel::Q),
                 {0xBE, 0x10, 0, 0, 0, 1, 1, 2, 3, 0xF8, 2, 0}));
static_assert(Is(SendDiscStructure(0x32, 20), {0xBF, 0, 0, 0, 0, 0, 0, 0x32, 0, 20, 0, 0}));

TEST(ReplyView, NeverReadsPastTheEnd) {
    const std::byte bytes[] = {std::byte{1}, std::byte{2}, std::byte{3}};
    const ReplyView reply(bytes);
    EXPECT_EQ(reply.be16(1), 0x0203);
    EXPECT_EQ(reply.be16(2), 0);
    EXPECT_EQ(reply.be32(SIZE_MAX), 0u);
    EXPECT_EQ(reply.part(2, SIZE_MAX).size(), 1u);
    EXPECT_EQ(reply.part(SIZE_MAX, 1).size(), 0u);
}

}  // namespace
}  // namespace tovlark
