#include <cstring>
#include <gtest/gtest.h>

#include "optical/DiscSummary.h"
#include "optical/ScriptedDisc.h"

namespace tovlark {
namespace {

void Put32(ByteList& bytes, std::size_t offset, std::uint32_t value) {
    for (std::size_t index = 0; index < 4; ++index)
        bytes[offset + index] = static_cast<std::uint8_t>(value >> (24 - 8 * index));
}

/// A reply to READ TRACK INFORMATION.
ByteList Track(std::uint32_t start, std::uint32_t next, std::uint32_t free, std::uint32_t size) {
    ByteList track(48);
    track[7] = 1;
    Put32(track, 8, start);
    Put32(track, 12, next);
    Put32(track, 16, free);
    Put32(track, 24, size);
    return track;
}

ByteList DiscInformation(std::uint16_t lastTrack) {
    ByteList information(34);
    information[6] = static_cast<std::uint8_t>(lastTrack);
    information[11] = static_cast<std::uint8_t>(lastTrack >> 8);
    return information;
}

/// A reply to READ FORMAT CAPACITIES: the current capacity and others to choose from.
ByteList Capacities(std::uint8_t kind, std::vector<std::pair<std::uint32_t, std::uint8_t>> formats) {
    ByteList list(4 + 8 * formats.size());
    list[3] = static_cast<std::uint8_t>(8 * formats.size());
    for (std::size_t index = 0; index < formats.size(); ++index) {
        Put32(list, 4 + 8 * index, formats[index].first);
        list[8 + 8 * index] = index == 0 ? kind : static_cast<std::uint8_t>(formats[index].second << 2);
    }
    return list;
}

ByteList Volume(std::uint32_t blocks) {
    VolumeDescriptor volume;
    volume.spaceSize = blocks;
    std::memcpy(volume.volumeIdentifier, "HOLIDAY\n2026            ", 24);
    ByteList bytes(sizeof volume);
    std::memcpy(bytes.data(), &volume, sizeof volume);
    return bytes;
}

struct SummaryCase {
    const char* fault;
    ScriptedDisc disc;
    Text name, summary;
    std::uint32_t total, used, free;
};

TEST(ReadDiscSummary, CountsByTheKindOfMedium) {
    const SummaryCase cases[] = {
        {"no disc", {.profile = 0}, u"No disc", u"", 0, 0, 0},
        {"no answer at all", {}, u"Unknown Disc Type", u"", 0, 0, 0},
        {"layout unreadable", {.profile = 9}, u"Invalid or blank disc", u"", 0, 0, 0},
        {"appendable CD-R, rounded down",
         {.profile = 9, .discInformation = DiscInformation(3), .tracks = {{3, Track(2000, 2000, 1023, 1500)}}},
         u"CD-R",
         u"Total 6MB, Free 1MB",
         3500,
         2477,
         1023},
        {"1000 tracks",
         {.profile = 0x1B, .discInformation = DiscInformation(1000), .tracks = {{1000, Track(512, 0, 0, 512)}}},
         u"DVD+R",
         u"Total 2MB, Free 0MB",
         1024,
         1024,
         0},
        {"more free than the track has",
         {.profile = 9, .discInformation = DiscInformation(1), .tracks = {{1, Track(0, 0, 0xFFFFFFFF, 512)}}},
         u"CD-R",
         u"Total 1MB, Free 1MB",
         512,
         0,
         512},
        {"end beyond 32 bits",
         {.profile = 9, .discInformation = DiscInformation(1), .tracks = {{1, Track(0xFFFFFFFF, 0, 0, 0xFFFFFFFF)}}},
         u"CD-R",
         u"Total 8388607MB, Free 0MB",
         0xFFFFFFFF,
         0xFFFFFFFF,
         0},
        {"track 0", {.profile = 9, .discInformation = DiscInformation(0)}, u"Invalid or blank disc", u"", 0, 0, 0},
        {"empty overwritable",
         {.profile = 0x1A, .formatCapacities = Capacities(1, {{2295104, 0}})},
         u"DVD+RW",
         u"Total 4482MB, Free 4482MB",
         2295104,
         0,
         2295104},
        {"overwritable with a file system",
         {.profile = 0x43, .formatCapacities = Capacities(2, {{51200, 0}, {99999, 0}}), .volume = Volume(512)},
         u"BD-RE",
         u"Total 100MB, Free 99MB",
         51200,
         512,
         50688},
        {"file system larger than the medium",
         {.profile = 0x12, .formatCapacities = Capacities(2, {{1024, 0}}), .volume = Volume(0xFFFFFFFF)},
         u"DVD-RAM",
         u"Total 2MB, Free 0MB",
         1024,
         1024,
         0},
        {"restricted overwrite takes the full format",
         {.profile = 0x13, .formatCapacities = Capacities(2, {{16, 0}, {2297888, 0x10}, {3000000, 0x15}})},
         u"DVD-RW",
         u"Total 4488MB, Free 4488MB",
         2297888,
         0,
         2297888},
        {"no medium in the list",
         {.profile = 0x1A, .formatCapacities = Capacities(3, {{1, 0}})},
         u"Invalid or blank disc",
         u"",
         0,
         0,
         0},
        {"an empty list", {.profile = 0x1A, .formatCapacities = {0, 0, 0, 0}}, u"Invalid or blank disc", u"", 0, 0, 0},
        {"a list that claims more than it has",
         {.profile = 0x13, .formatCapacities = {0, 0, 0, 252, 0, 0, 4, 0, 2, 0, 8, 0, 0xFF, 0xFF}},
         u"DVD-RW",
         u"Total 2MB, Free 2MB",
         1024,
         0,
         1024},
    };
    for (const SummaryCase& each : cases) {
        FakeDrive fake;
        fake.answer = each.disc;
        DriveEntry entry;
        entry.totalBlocks = entry.usedBlocks = entry.freeBlocks = 1;
        ReadDiscSummary({}, entry, fake.drive, SummaryParts::Everything);
        EXPECT_EQ(ToUtf8(entry.mediaName), ToUtf8(each.name)) << each.fault;
        EXPECT_EQ(ToUtf8(entry.summary), ToUtf8(each.summary)) << each.fault;
        EXPECT_EQ(entry.totalBlocks, each.total) << each.fault;
        EXPECT_EQ(entry.usedBlocks, each.used) << each.fault;
        EXPECT_EQ(entry.freeBlocks, each.free) << each.fault;
    }
}

TEST(DriveDisplayName, TakesTheLabelElseTheIdentification) {
    FakeDrive fake;
    fake.drive.record->letter = u'G';
    fake.answer = ScriptedDisc{.volume = Volume(1)};
    EXPECT_EQ(ToUtf8(DriveDisplayName({}, fake.drive)), "(G:) HOLIDAY 2026");
    ByteList inquiry(36, ' ');
    std::memcpy(inquiry.data() + 8, "ACME    Burner 2        ", 24);
    fake.answer = [&](const auto& sent) {
        return sent.cdb[0] == 0x12 ? DriveAnswer{.data = inquiry} : Refused({2, 0x3A, 0});
    };
    EXPECT_EQ(ToUtf8(DriveDisplayName({}, fake.drive)), "(G:) ACME Burner 2");
    inquiry.resize(20);
    EXPECT_EQ(ToUtf8(DriveDisplayName({}, fake.drive)), "(G:) Optical drive");
}

TEST(CheckNextWritableAddress, ReportsTheFirstThingThatIsWrong) {
    ByteList invalid = Track(0, 0, 100, 100);
    invalid[7] = 0;
    const struct {
        ByteList track;
        std::string line;
    } cases[] = {
        {Track(0, 4096, 1000, 1000), ""},
        {{}, "Reading next writable address failed(3c7e3908)."},
        {invalid, "Reading next writable address failed(00000000)."},
        {Track(0, 0xFFFFFF6A, 1000, 1000), "Reading next writable address failed(4096 needed, -150 available)."},
        {Track(0, 4096, 800, 1000), "There are not enough free blocks on media (1.953M needed, 1.562M available)."},
        {Track(0, 4096, 799, 1000), "There are not enough free blocks on media (2.0M needed, 1.6M available)."},
    };
    for (const auto& each : cases) {
        FakeDrive fake;
        fake.answer = ScriptedDisc{.tracks = {{2, each.track}}};
        EXPECT_EQ(CheckNextWritableAddress(fake.around.task, fake.drive, 2, Lba{4096}, 1000), each.line.empty());
        EXPECT_EQ(fake.around.streams.output, each.line.empty() ? "" : each.line + "\r\n");
        EXPECT_EQ(fake.around.flags.error, !each.line.empty());
    }
}

}  // namespace
}  // namespace tovlark
