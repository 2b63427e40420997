#include <gtest/gtest.h>

#include "base/Msf.h"
#include "image/CueSheet.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

constexpr std::string_view kFile = "FILE \"disc.bin\" BINARY\n";

struct Parsed {
    std::optional<CueFault> fault;
    DiscLayout layout;
};

Parsed Parse(std::string_view bytes, ShortPregaps shortPregaps = ShortPregaps::Drop) {
    Parsed parsed;
    parsed.fault = ParseCueSheet(bytes, u"folder", CodePage(1252), shortPregaps, parsed.layout);
    return parsed;
}

TEST(CueSheet, RefusesWhatBreaksARuleAndSaysWhere) {
    struct Case {
        std::string_view afterFile;
        TextId text;
        std::uint32_t line;
        TextView word;
    };
    const std::string first = "TRACK 01 AUDIO\nINDEX 01 00:00:00\n";
    const std::string gap = first + "TRACK 03 AUDIO\n", same = first + "INDEX 02 00:00:00\n",
                      twice = first + "INDEX 01 00:01:00\n", skipped = first + "INDEX 03 00:01:00\n",
                      session = first + "REM SESSION 02\n";
    const Case cases[] = {
        {"", TextId::CueNoTrack, 0, u""},
        {gap, TextId::CueTrackOrder, 4, u"03"},
        {"TRACK 1x AUDIO\n", TextId::CueTrackOrder, 2, u"1x"},
        {"TRACK 01 MODE3/2352\n", TextId::CueBadTrackType, 2, u"MODE3/2352"},
        {"TRACK 01 AUDIO PRE\n", TextId::CueTooManyWords, 2, u"PRE"},
        {"TRACK 01 AUDIO\n", TextId::CueNoStart, 0, u"01"},
        {"INDEX 01 00:00:00\n", TextId::CueIndexOrder, 2, u"01"},
        {same, TextId::CueBadPosition, 4, u"00:00:00"},
        {twice, TextId::CueIndexOrder, 4, u"01"},
        {skipped, TextId::CueIndexOrder, 4, u"03"},
        {"TRACK 01 AUDIO\nINDEX 01 100:00:00\n", TextId::CueBadPosition, 3, u"100:00:00"},
        {"TRACK 01 AUDIO\nINDEX 01 00:60:00\n", TextId::CueBadPosition, 3, u"00:60:00"},
        {"TRACK 01 AUDIO\nINDEX 01 00:00:75\n", TextId::CueBadPosition, 3, u"00:00:75"},
        {"TRACK 01 AUDIO\nINDEX 01 00:00:00:00\n", TextId::CueBadPosition, 3, u"00:00:00:00"},
        {"TRACK 01 AUDIO\nINDEX 01 0000:00:00\n", TextId::CueBadPosition, 3, u"0000:00:00"},
        {"TRACK 01 AUDIO\nINDEX 01 00:00:00 x\n", TextId::CueTooManyWords, 3, u"x"},
        {session, TextId::CueSessionOrder, 4, u"02"},
        {"FILE disc.img ZIP\n", TextId::CueBadFile, 2, u"ZIP"},
        {"FILE\n", TextId::CueBadFile, 2, u""},
    };
    for (const Case& row : cases) {
        const Parsed parsed = Parse(std::string(kFile) + std::string(row.afterFile));
        ASSERT_TRUE(parsed.fault) << row.afterFile;
        EXPECT_EQ(parsed.fault->text, row.text) << row.afterFile;
        EXPECT_EQ(parsed.fault->line, row.line) << row.afterFile;
        EXPECT_EQ(parsed.fault->word, row.word) << row.afterFile;
        EXPECT_TRUE(parsed.layout.tracks.empty());
    }
    EXPECT_EQ(Parse("TRACK 01 AUDIO\nINDEX 01 00:00:00\n").fault->text, TextId::CueNoFile);
}

TEST(CueSheet, ReadsAMixedDisc) {
    const Parsed parsed = Parse(
        "\xEF\xBB\xBF"
        "REM GENRE Rock\r\nCATALOG 0123456789012\r\nTITLE \"The \"best\" of\"\r\nPERFORMER Some  body\r"
        "\r\nfile \"Some Disc.bin\" wave\r\n  track 01 MODE1/2048\n    INDEX 01 00:00:00\nREM LEAD-OUT 00:00:00\n"
        "  TRACK 02 AUDIO\n    FLAGS DCP SCMS PRE\n    TITLE \"K\xC3\xB6nig\"\n    ISRC \"DEABC1234567\"\n"
        "    PREGAP 00:02:00\n    INDEX 00 10:00:00\n    INDEX 01 10:03:00\n    INDEX 02 11:00:00\n"
        "    INDEX 03 12:00:00\n    POSTGAP 00:00:10\n"
        "  TRACK 03 AUDIO\n    INDEX 00 15:00:00\n    INDEX 01 15:00:33\nREM LEAD-OUT 20:00:00\nUNKNOWN word\n");
    ASSERT_FALSE(parsed.fault);
    const DiscLayout& disc = parsed.layout;
    EXPECT_EQ(disc.sectorSize, kRawSectorSize);
    EXPECT_EQ(disc.catalog, u"0123456789012");
    EXPECT_EQ(disc.text.title, u"The \"best\" of");
    EXPECT_EQ(disc.text.performer, u"Some  body");
    ASSERT_EQ(disc.files.size(), 1u);
    EXPECT_EQ(disc.files[0].kind, DataFileKind::Binary) << "the extension tells";
    EXPECT_EQ(ToUtf8(disc.files[0].path), (std::filesystem::path("folder") / "Some Disc.bin").string());
    ASSERT_EQ(disc.sessions.size(), 1u);
    EXPECT_EQ(disc.sessions[0].leadOut, JoinFrames({20, 0, 0}));
    ASSERT_EQ(disc.tracks.size(), 3u);
    const TrackLayout& song = disc.tracks[1];
    EXPECT_TRUE(song.copyPermitted && song.serialCopy && song.preEmphasis && !song.fourChannels);
    EXPECT_EQ(song.text.title, u"König");
    EXPECT_EQ(song.isrc, u"DEABC1234567");
    EXPECT_EQ(song.silenceBefore, 150u);
    EXPECT_EQ(song.silenceAfter, 10u);
    EXPECT_EQ(song.pregapStart, JoinFrames({10, 0, 0}));
    EXPECT_EQ(song.start, JoinFrames({10, 3, 0}));
    EXPECT_EQ(song.furtherIndexes, (std::vector{JoinFrames({11, 0, 0}), JoinFrames({12, 0, 0})}));
    EXPECT_FALSE(disc.tracks[2].pregapStart) << "too short to be one";
    EXPECT_EQ(disc.tracks[2].start, JoinFrames({15, 0, 33}));
    // The 2048-byte sectors of the first track reach to the second one's pre-gap.
    EXPECT_EQ(DataOffsetOf(disc, 1), (std::uint64_t{45000} * 2048) + (std::uint64_t{225} * 2352));
}

TEST(CueSheet, ReadsOneFileATrackWithItsPregapInTheFileBefore) {
    const std::string sheet =
        "FILE 01.wav WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\nTRACK 02 AUDIO\nINDEX 00 03:00:00\n"
        "FILE 02.wav WAVE\nINDEX 01 00:00:00\nTRACK 03 AUDIO\nINDEX 00 02:00:00\nINDEX 01 02:00:10\n";
    const Parsed parsed = Parse(sheet, ShortPregaps::Keep);
    ASSERT_FALSE(parsed.fault);
    const TrackLayout &second = parsed.layout.tracks[1], &third = parsed.layout.tracks[2];
    EXPECT_TRUE(second.pregapInFileBefore);
    EXPECT_EQ(second.pregapStart, JoinFrames({3, 0, 0}));
    EXPECT_EQ(second.file, 1);
    EXPECT_EQ(second.start, 0u);
    EXPECT_FALSE(third.pregapInFileBefore);
    EXPECT_EQ(third.pregapStart, JoinFrames({2, 0, 0})) << "kept on demand";
    EXPECT_EQ(DataOffsetOf(parsed.layout, 2), std::uint64_t{JoinFrames({2, 0, 10})} * 2352);
}

TEST(CueSheet, ReadsTheCodePagesOfTheWorld) {
    const std::string_view head = "FILE a.bin BINARY\nTRACK 01 AUDIO\nINDEX 01 00:00:00\nTITLE ";
    const std::u16string_view wide = u"FILE a.bin BINARY\nTRACK 01 AUDIO\nINDEX 01 00:00:00\nTITLE 日本";
    std::string utf16 = "\xFF\xFE";
    for (const char16_t unit : wide) {
        utf16 += static_cast<char>(unit & 0xFF);
        utf16 += static_cast<char>(unit >> 8);
    }
    struct Case {
        std::string bytes;
        TextView title;
    };
    const Case cases[] = {
        {std::string(head) + "\xE6\x97\xA5", u"日"}, {std::string(head) + "K\xF6nig", u"König"}, {utf16, u"日本"}};
    for (const Case& row : cases) {
        const Parsed parsed = Parse(row.bytes);
        ASSERT_FALSE(parsed.fault);
        EXPECT_EQ(parsed.layout.tracks[0].text.title, row.title);
    }
}

std::string Little32Bytes(std::uint32_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift);
    return bytes;
}

TEST(CueSheet, MeasuresItsDataFiles) {
    const TempFolder folder;
    const std::string samples(2352 * 3, 's');
    const auto waveOf = [&](std::uint32_t rate) {
        return "RIFF" + Little32Bytes(0) + "WAVEfmt " + Little32Bytes(17) + Little32Bytes(0x00020001) +
               Little32Bytes(rate) + Little32Bytes(rate * 4) + Little32Bytes(0x00100004) + "xx" + "data" +
               Little32Bytes(0xFFFFFFFF) + samples;
    };
    const std::string wave = waveOf(44100);
    std::string ssnd = "SSND";
    for (const int byte : {0, 0, (8 + 100) >> 8, 8 + 100}) ssnd += static_cast<char>(byte);
    std::string comm = "COMM";
    for (const int byte : {0, 0, 0, 18, 0, 2, 0, 0, 0, 25, 0, 16, 0x40, 0x0E, 0xAC, 0x44, 0, 0, 0, 0, 0, 0})
        comm += static_cast<char>(byte);
    const std::string aiff = "FORM" + std::string(4, '\0') + "AIFF" + comm + ssnd + std::string(8, '\0') + samples;
    folder.write("sub/raw.bin", samples);
    folder.write("wave.wav", wave);
    folder.write("named.wav", aiff);
    folder.write("song.mp3", "ID3...");
    folder.write("tape.wav", waveOf(48000));  // would play at the wrong speed
    const auto sheet = folder.write("disc.cue",
                                    "FILE sub\\raw.bin BINARY\nTRACK 01 AUDIO\nINDEX 01 00:00:00\n"
                                    "FILE C:\\music\\wave.wav WAVE\nTRACK 02 AUDIO\nINDEX 01 00:00:00\n"
                                    "FILE named.wav WAVE\nTRACK 03 AUDIO\nINDEX 01 00:00:00\n"
                                    "FILE song.mp3 WAVE\nTRACK 04 AUDIO\nINDEX 01 00:00:00\n"
                                    "FILE missing.wav WAVE\nTRACK 05 AUDIO\nINDEX 01 00:00:00\n"
                                    "FILE tape.wav WAVE\nTRACK 06 AUDIO\nINDEX 01 00:00:00\n");
    DiscLayout layout;
    ASSERT_FALSE(ReadCueSheet(FromUtf8(sheet.string()), CodePage(1252), ShortPregaps::Drop, layout));
    struct Case {
        DataFileKind kind;
        std::uint64_t offset;
        std::optional<std::uint64_t> bytes;
    };
    const Case cases[] = {{DataFileKind::Binary, 0, samples.size()},
                          {DataFileKind::Wave, wave.size() - samples.size(), samples.size()},
                          {DataFileKind::Aiff, aiff.size() - samples.size(), 100},
                          {DataFileKind::Compressed, 0, std::nullopt},
                          {DataFileKind::Wave, 0, std::nullopt},
                          {DataFileKind::Compressed, 0, std::nullopt}};
    for (std::size_t index = 0; index < std::size(cases); ++index) {
        EXPECT_EQ(layout.files[index].kind, cases[index].kind) << index;
        EXPECT_EQ(layout.files[index].dataOffset, cases[index].offset) << index;
        EXPECT_EQ(layout.files[index].dataBytes, cases[index].bytes) << index;
    }
    EXPECT_EQ(ReadCueSheet(u"nowhere.cue", CodePage(1252), ShortPregaps::Drop, layout)->text, TextId::CueUnreadable);
}

TEST(CueSheet, WritesWhatItReadsBack) {
    DiscLayout disc;
    disc.catalog = u"0123456789012";
    disc.text = {u"Greatest \"hits\"", u"Somebody", u"Writer", u"Composer"};
    disc.files.push_back({u"Ünicode disc.bin", {}, DataFileKind::Binary, 0, {}});
    disc.sessions = {{9000}, {}};
    disc.sectorSize = kRawSectorSize;
    TrackLayout song;
    song.number = 1;
    song.text.title = u"Song\r\nTRACK 02 AUDIO";
    song.isrc = u"DEABC1234567";
    song.pregapStart = 0;
    song.start = 151;
    song.furtherIndexes = {4000};
    TrackLayout data;
    data.number = 2;
    data.type = TrackType::Mode1;
    data.sectorSize = kMode2SectorSize;
    data.session = 1;
    data.start = 20000;
    disc.tracks = {song, data};

    const TempFolder folder;
    const Text path = FromUtf8((folder / "disc.cue").string());
    ASSERT_FALSE(WriteCueSheet(path, disc, CueFileType::Binary).failed());
    EXPECT_EQ(
        folder.read("disc.cue"),
        "CATALOG \"0123456789012\"\r\nPERFORMER \"Somebody\"\r\nSONGWRITER \"Writer\"\r\nCOMPOSER \"Composer\"\r\n"
        "TITLE \"Greatest 'hits'\"\r\nFILE \"\xC3\x9Cnicode disc.bin\" BINARY\r\nREM SESSION 01\r\n"
        "  TRACK 01 AUDIO\r\n    TITLE \"Song  TRACK 02 AUDIO\"\r\n    ISRC \"DEABC1234567\"\r\n"
        "    INDEX 00 00:00:00\r\n    INDEX 01 00:02:01\r\n    INDEX 02 00:53:25\r\n  REM LEAD-OUT 02:00:00\r\n"
        "REM SESSION 02\r\n  TRACK 02 MODE1/2336\r\n    INDEX 01 04:26:50\r\n");

    DiscLayout back;
    ASSERT_FALSE(ReadCueSheet(path, CodePage(1252), ShortPregaps::Drop, back));
    disc.text.title = u"Greatest 'hits'";
    disc.tracks[0].text.title = u"Song  TRACK 02 AUDIO";
    disc.files = back.files;
    EXPECT_EQ(back, disc);

    ASSERT_FALSE(WriteCueSheet(path, disc, CueFileType::Wave, 2352).failed());
    EXPECT_NE(folder.read("disc.cue").find("disc.bin\" WAVE\r\n"), std::string::npos);
    EXPECT_NE(folder.read("disc.cue").find("TRACK 02 MODE1/2352\r\n"), std::string::npos);
    ASSERT_FALSE(WriteRawImageSheet(path, u"raw.img").failed());
    EXPECT_EQ(folder.read("disc.cue"), "FILE \"raw.img\" BINARY\r\n  TRACK 01 MODE1/2352\r\n    INDEX 01 00:00:00\r\n");
}

}  // namespace
}  // namespace tovlark
