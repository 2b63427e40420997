#include "base/RawSector.h"
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
    "  TRACK 02 AUDIO\n    INDEX 00 00:05:20\n    INDEX 01 00:06:00\n";
const char kPlainAudioSheet[] = "FILE \"a.bin\" BINARY\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n";
const char kRawDataSheet[] = "FILE \"a.bin\" BINARY\n  TRACK 01 MODE1/2352\n    INDEX 01 00:00:00\n";

std::string Blocks(std::size_t count, std::size_t size) {
    std::string bytes;
    for (std::size_t index = 0; index < count; ++index) bytes += std::string(size, static_cast<char>('a' + index % 23));
    return bytes;
}

/// A CUE sheet with a file of 1200 sectors, burned on a CD.
struct SheetBurn {
    BurnerDrive burner;
    std::string samples;
    DiscLayout layout;
    CdContent content;
    std::unique_ptr<FileSource> source;

    explicit SheetBurn(const char* sheet, Medium medium = Medium::CdR,
                       const std::map<std::string, std::string>& moreFiles = {})
        : burner(medium, 20000, 16) {
        for (const auto& [name, bytes] : moreFiles)
            std::ofstream(burner.loaded.folder / name, std::ios::binary) << bytes;
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
    Bytes wholeSectorAt(int block) {
        return burner.loaded.receive({0xBE, 0, 0, 0, block >> 8 & 255, block & 255, 0, 0, 1, 0xF8, 0}, kSector);
    }
    /// The whole sector, in which all bytes are alike.
    int sectorAt(int block) {
        const Bytes bytes = wholeSectorAt(block);
        return bytes.size() == kSector ? std::to_integer<int>(bytes[2000]) : -1;
    }
    /// What comes after a burn with faults.
    void refuseNone() {
        burner.refuses = [](std::uint8_t, int) { return 0u; };
        burner.fake.flags.cancel = burner.fake.flags.error = false;
        burner.fake.streams.output.clear();
        burner.commands.clear();
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
    constexpr std::uint32_t kAudio = 395;
    bool endsAtTrack = false;
    mixed.burner.hasSent = [&](PassThrough& command) {
        if (command.cdb[0] != std::byte{0xBE}) return;
        const auto at = [&](std::size_t index) { return std::to_integer<std::uint32_t>(command.cdb[index]); };
        const std::uint32_t first = at(4) << 8 | at(5), end = first + at(8);
        EXPECT_FALSE(first < kAudio && end > kAudio) << "drives end a read where data and audio meet";
        endsAtTrack = endsAtTrack || end == kAudio;
    };
    ASSERT_EQ(mixed.burn({.verifies = true}), Status::Ok) << mixed.burner.fake.streams.output;
    EXPECT_TRUE(endsAtTrack);
    EXPECT_EQ(mixed.disc().tracks[0].control, 4);
    EXPECT_EQ(mixed.disc().tracks[0].blockBytes, kSector);
    EXPECT_TRUE(mixed.disc().tracks[1].isAudio());
    EXPECT_FALSE(mixed.disc().isFinal);

    SheetBurn raw(kRawDataSheet);
    ASSERT_EQ(raw.burn({.finalises = true, .verifies = true}), Status::Ok) << raw.burner.fake.streams.output;
    EXPECT_EQ(raw.disc().tracks[0].blockBytes, 2048);
    EXPECT_EQ(raw.burner.loaded.read(700), static_cast<unsigned>(raw.sampleAt(700)));
}

TEST(BurnCd, DataOfAnySizeBesideAudioGoWholeAndSoDoesWhatFillsThem) {
    SheetBurn mixed(
        "FILE \"i.iso\" BINARY\n  TRACK 01 MODE1/2048\n    INDEX 01 00:00:00\n"
        "FILE \"a.bin\" BINARY\n  TRACK 02 AUDIO\n    PREGAP 00:02:00\n    INDEX 01 00:00:00\n"
        "FILE \"b.bin\" BINARY\n  TRACK 03 MODE2/2336\n    PREGAP 00:02:00\n    INDEX 01 00:00:00\n"
        "FILE \"j.iso\" BINARY\n  TRACK 04 MODE1/2048\n    PREGAP 00:02:00\n    INDEX 01 00:00:00\n",
        Medium::CdR,
        {{"i.iso", std::string(300 * 2048, 'i')},
         {"b.bin", std::string(300 * 2336, 'b')},
         {"j.iso", std::string(301 * 2048, 'j')}});
    ASSERT_EQ(mixed.burn({.finalises = true, .verifies = true}), Status::Ok) << mixed.burner.fake.streams.output;
    const std::vector<DiscTrack>& tracks = mixed.disc().tracks;
    ASSERT_EQ(tracks.size(), 4u);
    const int form2 = tracks[2].first, last = tracks[3].first;
    EXPECT_EQ((static_cast<std::uint32_t>(last) + tracks[3].size) % 16, 0u) << "the last chunk is filled up";
    ASSERT_GT(tracks[3].size, 301u);
    const struct {
        int block, mode, fill;
    } kCases[] = {{0, 1, 'i'},        {299, 1, 'i'},  {form2 - 1, 2, 0},    {form2, 2, 'b'},   {form2 + 299, 2, 'b'},
                  {last - 150, 1, 0}, {last, 1, 'j'}, {last + 300, 1, 'j'}, {last + 301, 1, 0}};
    for (const auto& [block, mode, fill] : kCases) {
        RawSector expected{};
        const auto data = std::span(expected).subspan(16, mode == 1 ? 2048 : 2336);
        std::ranges::fill(data, static_cast<std::byte>(fill));
        CompleteSector(expected, block, static_cast<std::uint8_t>(mode), mode == 1);
        EXPECT_TRUE(std::ranges::equal(mixed.wholeSectorAt(block), expected)) << block;
    }
    EXPECT_EQ(mixed.burner.loaded.read(static_cast<std::uint32_t>(last) + 7), unsigned{'j'});
}

TEST(BurnCd, DataAloneGoWithoutWhatLiesAroundThem) {
    for (const std::string size : {"2048", "2336"}) {
        SheetBurn data(("FILE \"d.bin\" BINARY\nTRACK 01 MODE1/" + size + "\nINDEX 01 00:00:00\n").c_str(), Medium::CdR,
                       {{"d.bin", Blocks(300, std::stoul(size))}});
        ASSERT_EQ(data.burn({.finalises = true, .verifies = true}), Status::Ok) << data.burner.fake.streams.output;
        EXPECT_EQ(data.disc().tracks[0].blockBytes, 2048);
        EXPECT_EQ(data.burner.loaded.read(299), unsigned{'a' + 299 % 23});
    }
}

TEST(BurnCd, AnAudioDiscThatIsRewritableIsErasedForTheNext) {
    SheetBurn audio(kAudioSheet, Medium::CdRw);
    ASSERT_EQ(audio.burn({.finalises = true, .verifies = true}), Status::Ok) << audio.burner.fake.streams.output;
    audio.burner.fake.streams.input = "Yes\n";
    EXPECT_EQ(audio.burner.burn({.finalises = true}), Status::Ok) << audio.burner.fake.streams.output;
    EXPECT_TRUE(audio.burner.says("Do you want to erase it now?"));
    EXPECT_EQ(audio.disc().tracks.size(), 1u);
    EXPECT_TRUE(audio.disc().cdText.empty());
    EXPECT_EQ(audio.burner.loaded.read(15), static_cast<unsigned>(audio.burner.image[15 * 2048]));
}

// Where INDEX 01 of the first track comes to lie, burned and as an image that counts as a disc.
TEST(BurnCd, TheFirstTwoSecondsAreCountedOnce) {
    static constexpr struct {
        const char* lines;
        int first;
    } kCases[] = {{"INDEX 00 00:00:00\nINDEX 01 00:02:00\n", 0},  {"PREGAP 00:02:00\nINDEX 01 00:00:00\n", 0},
                  {"PREGAP 00:01:00\nINDEX 01 00:00:00\n", 0},    {"PREGAP 00:03:00\nINDEX 01 00:00:00\n", 75},
                  {"INDEX 00 00:00:00\nINDEX 01 00:00:32\n", 32}, {"INDEX 00 00:00:00\nINDEX 01 00:04:00\n", 300}};
    for (const auto& [lines, first] : kCases) {
        SheetBurn burn(("FILE \"a.bin\" BINARY\nTRACK 01 MODE1/2352\n" + std::string(lines)).c_str());
        ASSERT_EQ(burn.burn({.finalises = true, .verifies = true}), Status::Ok) << burn.burner.fake.streams.output;
        EXPECT_EQ(burn.disc().tracks[0].first, first) << lines;
        EXPECT_EQ(burn.disc().tracks[0].pregap, 150u + static_cast<unsigned>(first)) << lines;
        const auto begin = burn.layout.tracks[0].start;
        EXPECT_EQ(burn.burner.loaded.read(static_cast<std::uint32_t>(first)),
                  static_cast<unsigned>(burn.sampleAt(begin)));
        Disc image;
        SystemError error;
        ASSERT_EQ(image.open((burn.burner.loaded.folder / "a.cue").u16string(), error), DiscFault::None);
        EXPECT_EQ(image.state.tracks[0].first, first) << lines;
    }
}

TEST(BurnCd, WithoutCdTextWhereTheDriveTakesNone) {
    static constexpr struct {
        std::uint8_t opcode;
        int turns;
        std::uint32_t sense;
        const char *commands, *says;
    } kCases[] = {
        {0x5D, 1, 0x052600, "mode cue write sync", "The current drive does not support CD-Text.\r\nWriting CD-Text"},
        {0x5D, 1, 0x052400, "mode cue write sync", "The current drive does not support CD-Text.\r\nWriting CD-Text"},
        {0x2A, 1, 0x052400, "mode cue write cue write sync", "Writing Audio CD-Text...\r\nWriting CD-Text shall be"},
        {0, 0, 0, "mode cue write sync", "The current drive does not support CD-Text.\r\nWriting CD-Text"}};
    for (const auto& [refused, turns, sense, commands, says] : kCases) {
        SheetBurn audio(kAudioSheet);
        audio.burner.refuses = [&](std::uint8_t opcode, int turn) {
            return opcode == refused && turn <= turns ? sense : 0u;
        };
        if (refused == 0)
            audio.burner.hasSent = [](PassThrough& command) {
                if (command.cdb[0] == std::byte{0x46} && command.cdb[3] == std::byte{0x2E})
                    command.data[12] &= std::byte{0xFE};
            };
        EXPECT_EQ(audio.burn({.finalises = true, .verifies = true}), Status::Ok) << audio.burner.fake.streams.output;
        EXPECT_EQ(audio.burner.commands, commands);
        EXPECT_TRUE(audio.burner.says(says)) << audio.burner.fake.streams.output;
        EXPECT_TRUE(audio.burner.says("Burning completed successfully with warnings.\r\n"));
        EXPECT_TRUE(audio.disc().cdText.empty());
        EXPECT_EQ(audio.disc().tracks.size(), 3u);
    }
}

TEST(BurnCd, WhatADriveRefuses) {
    SheetBurn noSheet(kAudioSheet);
    noSheet.burner.refuses = [](std::uint8_t opcode, int) { return opcode == 0x5D ? 0x052600u : 0u; };
    EXPECT_EQ(noSheet.burn({.finalises = true}), Status::Failed);
    EXPECT_EQ(noSheet.burner.commands, "mode cue");
    EXPECT_TRUE(noSheet.burner.says("Burning failed (7, ")) << noSheet.burner.fake.streams.output;
    noSheet.refuseNone();
    EXPECT_EQ(noSheet.burn({.finalises = true}), Status::Ok) << "nothing was begun";

    SheetBurn unprotected(kPlainAudioSheet);
    unprotected.burner.refuses = [](std::uint8_t opcode, int turn) {
        return opcode == 0x55 && turn == 1 ? 0x052600u : 0u;
    };
    EXPECT_EQ(unprotected.burn({.finalises = true}), Status::Ok) << unprotected.burner.fake.streams.output;
    EXPECT_FALSE(CurrentWriteParameters(unprotected.burner.loaded.drive).isGapFree);

    SheetBurn dvd(kAudioSheet);
    BurnerDrive other(Medium::DvdPlusR);
    EXPECT_EQ(BurnImage(other.fake.task, {.drive = other.opened.get(), .source = dvd.source->source(), .options = {}}),
              Status::Failed);
    EXPECT_TRUE(other.says("The selected files/tracks can only be burned to a CD."));
    EXPECT_EQ(other.commands, "");
}

TEST(BurnCd, WhatADriveSaysOfItselfAndTheDisc) {
    static constexpr struct {
        std::uint8_t opcode;
        std::uint32_t sense;  // 0: another block size
        const char* says;
    } kCases[] = {{0x25, 0, "Error reading capacity information.\r\n"},
                  {0x25, 0x031100, "Error reading capacity information.\r\n"},
                  {0x25, 0x023002, "Burning completed successfully.\r\n"},
                  {0x46, 0x052400, "Error reading drive information.\r\n"}};
    for (const auto& [opcode, sense, says] : kCases) {
        SheetBurn audio(kPlainAudioSheet);
        audio.burner.hasSent = [&](PassThrough& command) {
            const bool isFeature = command.cdb[0] == std::byte{0x46};
            if (command.cdb[0] != std::byte{opcode} || (isFeature && command.cdb[3] != std::byte{0x2E})) return;
            if (sense == 0)
                command.data[6] = std::byte{9};
            else
                BurnerDrive::refuse(command, sense);
        };
        static_cast<void>(audio.burn({.finalises = true}));
        EXPECT_TRUE(audio.burner.says(says)) << audio.burner.fake.streams.output;
    }
}

TEST(BurnCd, SimulatingAndBreakingOffLeaveTheDriveUsable) {
    constexpr std::uint32_t kCancel = ~0u, kNoSense = 5;  // an error of the transport
    static constexpr struct {
        const char* name;
        const char* sheet;
        bool simulates;
        std::uint8_t opcode;
        int turn;
        std::uint32_t happens;
        const char* commands;
        bool isLost;  // the disc
    } kCases[] = {
        {"simulated", kAudioSheet, true, 0, 0, 0, "mode cue write sync mode", false},
        {"simulated, cancelled in the lead-in", kAudioSheet, true, 0x2A, 5, kCancel, "mode cue write sync mode", false},
        {"simulated, cancelled in the data", kAudioSheet, true, 0x2A, 340, kCancel, "mode cue write sync mode", false},
        {"cancelled before the lead-in", kAudioSheet, false, 0x5D, 1, kCancel, "mode cue sync", false},
        {"cancelled in the lead-in", kAudioSheet, false, 0x2A, 5, kCancel, "mode cue write sync", true},
        {"cancelled in the pre-gap", kPlainAudioSheet, false, 0x2A, 5, kCancel, "mode cue write sync", true},
        {"cancelled in the data", kAudioSheet, false, 0x2A, 340, kCancel, "mode cue write sync", true},
        {"write error in the lead-in", kAudioSheet, false, 0x2A, 5, 0x030C00, "mode cue write sync", true},
        {"write error in the pre-gap", kPlainAudioSheet, false, 0x2A, 3, 0x030C00, "mode cue write sync", true},
        {"write error in the first block", kPlainAudioSheet, false, 0x2A, 11, 0x030C00, "mode cue write sync", true},
        {"the sheet is lost on its way", kPlainAudioSheet, false, 0x5D, 1, kNoSense, "mode cue sync", false},
    };
    for (const auto& [name, sheet, simulates, wanted, at, happens, commands, isLost] : kCases) {
        SCOPED_TRACE(name);
        SheetBurn burn(sheet);
        burn.burner.refuses = [&](std::uint8_t opcode, int turn) {
            if (opcode != wanted || turn != at) return 0u;
            if (happens == kCancel) burn.burner.fake.flags.cancel = true;
            return happens == kCancel ? 0u : happens;
        };
        const Status expected = happens == 0 ? Status::Ok : Status::Failed;
        EXPECT_EQ(burn.burn({.finalises = true, .simulates = simulates}), expected);
        EXPECT_EQ(burn.burner.commands, commands);
        EXPECT_EQ(burn.burner.says("What was written cannot be read"), isLost) << burn.burner.fake.streams.output;
        EXPECT_FALSE(CurrentWriteParameters(burn.burner.loaded.drive).isTest);
        burn.refuseNone();
        EXPECT_EQ(burn.burn({.finalises = true}), isLost ? Status::Failed : Status::Ok)
            << burn.burner.fake.streams.output;
    }
}

}  // namespace
}  // namespace tovlark
