#include "burn/BurnerDrive.h"
#include "burn/CueSource.h"
#include "image/CueSheet.h"

namespace tovlark {
namespace {

constexpr std::size_t kSector = 2352;
constexpr std::uint32_t kTrack = 400;  // sectors

const char kAudioSheet[] =
    "CATALOG 1234567890123\nTITLE \"Disc\"\nPERFORMER \"All\"\nFILE \"a.bin\" BINARY\n"
    "  TRACK 01 AUDIO\n    TITLE \"One\"\n    ISRC ABCDE1234567\n    FLAGS DCP\n    INDEX 01 00:00:00\n"
    "  TRACK 02 AUDIO\n    TITLE \"Two\"\n    PREGAP 00:02:00\n    INDEX 01 00:05:25\n    INDEX 02 00:07:00\n"
    "  TRACK 03 AUDIO\n    INDEX 00 00:10:50\n    INDEX 01 00:11:00\n";
const char kMixedSheet[] =
    "FILE \"a.bin\" BINARY\n  TRACK 01 MODE1/2352\n    INDEX 01 00:00:00\n"
    "  TRACK 02 AUDIO\n    INDEX 00 00:05:25\n    INDEX 01 00:06:00\n";
const char kRawDataSheet[] = "FILE \"a.bin\" BINARY\n  TRACK 01 MODE1/2352\n    INDEX 01 00:00:00\n";

/// A CUE sheet with a file of 1200 sectors, burned on a CD.
struct SheetBurn {
    BurnerDrive burner{Medium::CdR, 20000, 16};
    std::string samples;
    DiscLayout layout;
    CdContent content;
    std::unique_ptr<FileSource> source;

    explicit SheetBurn(const char* sheet) {
        for (std::uint32_t sector = 0; sector < 3 * kTrack; ++sector)
            samples += std::string(kSector, static_cast<char>(1 + sector % 100));
        std::ofstream(burner.loaded.folder / "a.bin", std::ios::binary) << samples;
        const auto path = burner.loaded.folder / "a.cue";
        std::ofstream(path, std::ios::binary) << sheet;
        EXPECT_FALSE(ReadCueSheet(path.u16string(), CodePage(1252), ShortPregaps::Keep, layout));
        source = std::make_unique<FileSource>(BurnSectorSize(layout));
        const auto problem = AddCueTracks(burner.fake.texts, path.u16string(), layout, *source, content);
        EXPECT_FALSE(problem) << ToUtf8(problem.value_or(u""));
    }
    Status burn(const BurnOptions& options) {
        return BurnImage(burner.fake.task,
                         {.drive = burner.opened.get(), .source = source->source(), .options = options, .cd = content});
    }
    const DiscState& disc() { return burner.loaded.drive.state(); }
    /// The whole sector, in which all bytes are alike.
    int sectorAt(int block) {
        const Bytes bytes =
            burner.loaded.receive({0xBE, 0, 0, 0, block >> 8 & 255, block & 255, 0, 0, 1, 0xF8, 0}, kSector);
        return bytes.size() == kSector ? std::to_integer<int>(bytes[2000]) : -1;
    }
    int sampleAt(std::uint32_t sector) const { return samples[sector * kSector]; }
};

TEST(BurnCd, AnAudioDiscHasItsPregapsIndexesCodesAndTexts) {
    SheetBurn audio(kAudioSheet);
    ASSERT_EQ(audio.burn({.finalises = true, .verifies = true}), Status::Ok) << audio.burner.fake.streams.output;
    EXPECT_EQ(audio.burner.commands, "mode cue write sync");
    EXPECT_TRUE(audio.burner.says("Writing Audio CD-Text...\r\n"));
    EXPECT_TRUE(audio.burner.says("Verifying media completed successfully.\r\n"));
    const std::vector<DiscTrack>& tracks = audio.disc().tracks;
    ASSERT_EQ(tracks.size(), 3u);
    EXPECT_TRUE(audio.disc().isFinal);
    EXPECT_EQ(std::string(audio.disc().catalog.data(), 13), "1234567890123");
    EXPECT_EQ(audio.disc().cdText.size() % 18, 0u);
    EXPECT_GT(audio.disc().cdText.size(), 18u * 3);
    EXPECT_EQ(std::string(tracks[0].isrc.data(), 12), "ABCDE1234567");
    EXPECT_EQ(tracks[0].control, 2);
    // Two seconds are made in front of the second track; the third one's pre-gap is in the file.
    EXPECT_EQ(tracks[1].first, 400 + 150);
    EXPECT_EQ(tracks[1].pregap, 150u);
    EXPECT_EQ(tracks[1].indexes, (std::vector<std::uint32_t>{125}));
    EXPECT_EQ(tracks[2].pregap, 25u);
    EXPECT_EQ(tracks[2].first, 825 + 150);
    EXPECT_EQ(audio.sectorAt(399), audio.sampleAt(399));
    EXPECT_EQ(audio.sectorAt(400), 0);
    EXPECT_EQ(audio.sectorAt(550), audio.sampleAt(400));
    EXPECT_EQ(audio.sectorAt(1349), audio.sampleAt(1199));
    EXPECT_EQ(audio.sectorAt(1351), 0) << "filled up to a whole chunk";
}

TEST(BurnCd, DataBesideAudioAndRawDataAlone) {
    SheetBurn mixed(kMixedSheet);
    ASSERT_EQ(mixed.burn({.verifies = true}), Status::Ok) << mixed.burner.fake.streams.output;
    EXPECT_EQ(mixed.disc().tracks[0].control, 4);
    EXPECT_EQ(mixed.disc().tracks[0].blockBytes, kSector);
    EXPECT_TRUE(mixed.disc().tracks[1].isAudio());
    EXPECT_FALSE(mixed.disc().isFinal);

    SheetBurn raw(kRawDataSheet);
    ASSERT_EQ(raw.burn({.finalises = true, .verifies = true}), Status::Ok) << raw.burner.fake.streams.output;
    EXPECT_EQ(raw.disc().tracks[0].blockBytes, 2048);
    EXPECT_EQ(raw.burner.loaded.read(700), static_cast<unsigned>(raw.sampleAt(700)));
}

TEST(BurnCd, WhatADriveRefuses) {
    SheetBurn noSheet(kAudioSheet);
    noSheet.burner.refuses = [](std::uint8_t opcode, int) { return opcode == 0x5D ? 0x052600u : 0u; };
    EXPECT_EQ(noSheet.burn({.finalises = true}), Status::Failed);
    EXPECT_EQ(noSheet.burner.commands, "mode cue");
    EXPECT_TRUE(noSheet.burner.says("Burning failed (7, ")) << noSheet.burner.fake.streams.output;

    SheetBurn noText(kAudioSheet);
    noText.burner.hasSent = [](PassThrough& command) {
        if (command.cdb[0] == std::byte{0x46} && command.cdb[3] == std::byte{0x2E}) command.data[12] &= std::byte{0xFE};
    };
    EXPECT_EQ(noText.burn({.finalises = true}), Status::Ok) << noText.burner.fake.streams.output;
    EXPECT_TRUE(
        noText.burner.says("The current drive does not support CD-Text.\r\n"
                           "Writing CD-Text shall be ignored.\r\n"));
    EXPECT_TRUE(noText.burner.says("Burning completed successfully with warnings.\r\n"));
    EXPECT_TRUE(noText.disc().cdText.empty());

    SheetBurn dvd(kAudioSheet);
    BurnerDrive other(Medium::DvdPlusR);
    EXPECT_EQ(BurnImage(other.fake.task, {.drive = other.opened.get(), .source = dvd.source->source(), .options = {}}),
              Status::Failed);
    EXPECT_TRUE(other.says("The selected files/tracks can only be burned to a CD."));
    EXPECT_EQ(other.commands, "");
}

TEST(BurnCd, SimulatingAndCancellingLeaveTheDriveUsable) {
    SheetBurn simulated(kAudioSheet);
    EXPECT_EQ(simulated.burn({.finalises = true, .simulates = true}), Status::Ok)
        << simulated.burner.fake.streams.output;
    EXPECT_EQ(simulated.burner.commands, "mode cue write sync mode");
    EXPECT_TRUE(simulated.disc().isBlank());

    SheetBurn cancelled(kAudioSheet);
    cancelled.burner.refuses = [&](std::uint8_t opcode, int) {
        if (opcode == 0x2A && cancelled.burner.fake.session.progress().done > 100000)
            cancelled.burner.fake.flags.cancel = true;
        return 0u;
    };
    EXPECT_EQ(cancelled.burn({.finalises = true}), Status::Failed);
    EXPECT_TRUE(cancelled.burner.says("What was written cannot be read")) << cancelled.burner.fake.streams.output;
}

}  // namespace
}  // namespace tovlark
