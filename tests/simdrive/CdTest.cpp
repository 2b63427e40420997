#include <algorithm>

#include "base/Checksum.h"
#include "simdrive/DriveFixture.h"

namespace tovlark {

namespace {

constexpr std::uint32_t kOk = 0;

void Append(Bytes& bytes, std::initializer_list<int> more) {
    for (const int byte : more) bytes.push_back(static_cast<std::byte>(byte));
}

std::uint32_t SendSheet(LoadedDrive& on, Bytes sheet) {
    const int bytes = static_cast<int>(sheet.size());
    return on.send({0x5D, 0, 0, 0, 0, 0, 0, bytes >> 8, bytes & 255}, sheet, DataDirection::Out);
}

/// Bytes of one block, selected by bytes 9 and 10 of READ CD.
Bytes ReadCdBlock(LoadedDrive& on, int block, int parts, int subchannel, std::size_t bytes) {
    return on.receive(
        {0xBE, 0, block >> 24 & 255, block >> 16 & 255, block >> 8 & 255, block & 255, 0, 0, 1, parts, subchannel},
        bytes);
}

std::string TextOf(const Bytes& bytes, std::size_t offset, std::size_t count) {
    std::string text;
    for (std::size_t at = offset; at < offset + count; ++at) text += static_cast<char>(bytes.at(at));
    return text;
}

TEST(CueSheet, WritesAWholeSession) {
    LoadedDrive on(Medium::CdR);
    Bytes sheet;
    const auto entry = [&](std::initializer_list<int> bytes) { Append(sheet, bytes); };
    entry({0x41, 0, 0, 0x14, 0, 0, 0, 0});
    entry({0x41, 1, 0, 0x10, 0, 0, 0, 0});
    entry({0x41, 1, 1, 0x10, 0, 0, 2, 0});
    entry({0x01, 2, 0, 0x00, 0, 0, 4, 0});
    entry({0x01, 2, 1, 0x00, 0, 0, 6, 0});
    entry({0x01, 0xAA, 1, 0x01, 0, 0, 8, 0});
    EXPECT_EQ(SendSheet(on, sheet), 0x052C00u) << "not in session-at-once";
    ASSERT_EQ(on.select(2, 0, 0), kOk);
    Bytes wrong = sheet;
    wrong[5 * 8 + 6] = std::byte{5};  // the lead-out before the last track
    EXPECT_EQ(SendSheet(on, wrong), 0x052600u);
    ASSERT_EQ(SendSheet(on, sheet), kOk);
    EXPECT_EQ(on.write(0, 16, 'x'), 0x052102u) << "the pre-gap comes first";
    EXPECT_EQ(on.nextWritable(255), static_cast<std::uint32_t>(-150));
    ASSERT_EQ(on.write(static_cast<std::uint32_t>(-150), 150, 0), kOk);
    ASSERT_EQ(on.write(0, 150, 'd'), kOk);
    EXPECT_EQ(on.discStatus() & 3, 1u);
    ASSERT_EQ(on.write(150, 150, 0, 2352), kOk);
    ASSERT_EQ(on.write(300, 150, 'm', 2352), kOk);
    EXPECT_EQ(on.discStatus() & 15, 14u);
    on.load(on.path());
    EXPECT_EQ(on.read(149), std::uint32_t{'d'}) << "no run-out blocks";
    EXPECT_EQ(on.read(300), 0x056400u) << "audio";
    EXPECT_EQ(on.send({0x2F, 0, 0, 0, 1, 44, 0, 0, 1}), 0x056400u) << "nor is it verified";
    const Bytes audio = on.receive({0xBE, 4, 0, 0, 1, 44, 0, 0, 1, 0x10}, 2352);
    EXPECT_EQ(LoadedDrive::be(audio, 2351, 1), std::uint32_t{'m'});
    const Bytes raw = on.receive({0xBE, 0, 0, 0, 0, 0, 0, 0, 1, 0xF8}, 2352);
    EXPECT_EQ(LoadedDrive::be(raw, 12, 4), 0x00020001u);
    EXPECT_EQ(LoadedDrive::be(on.receive({0x43, 2, 2, 0, 0, 0, 0, 0, 70}, 70), 0, 4), 68u << 16 | 0x0101u);
}

TEST(CueSheet, ASessionThatEndsEarlySpoilsTheDisc) {
    enum { Synchronized, WriteError, PowerLoss };
    for (const int end : {Synchronized, WriteError, PowerLoss}) {
        LoadedDrive on(Medium::CdRw);
        Bytes sheet;
        for (const auto& entry :
             {std::array{0x41, 0, 0, 0x14, 0, 0, 0, 0}, std::array{0x41, 1, 0, 0x10, 0, 0, 0, 0},
              std::array{0x41, 1, 1, 0x10, 0, 0, 2, 0}, std::array{0x41, 0xAA, 1, 0x14, 0, 0, 8, 0}})
            for (const int byte : entry) sheet.push_back(static_cast<std::byte>(byte));
        ASSERT_EQ(on.select(2, 0, 0), kOk);
        ASSERT_EQ(SendSheet(on, sheet), kOk);
        EXPECT_EQ(on.synchronize(), kOk) << "nothing is written: the sheet is forgotten";
        ASSERT_EQ(SendSheet(on, sheet), kOk);
        if (end == WriteError) on.drive.faults.writeErrors = {{20, 20}};
        if (end == PowerLoss) on.drive.faults.powerLoss = 3;
        on.drive.losePower = [](void*) { throw std::runtime_error("power"); };
        ASSERT_EQ(on.write(static_cast<std::uint32_t>(-150), 150, 0), kOk);
        ASSERT_EQ(on.write(0, 16, 'a'), kOk);
        if (end == PowerLoss)
            EXPECT_THROW(on.write(16, 16, 'b'), std::runtime_error);
        else
            EXPECT_EQ(on.write(16, 16, 'b'), end == WriteError ? 0x030C00u : kOk);
        if (end != PowerLoss) {
            EXPECT_EQ(on.synchronize(), kOk);
            EXPECT_EQ(on.write(32, 16, 'c'), 0x053005u);
            EXPECT_EQ(on.discStatus() & 3, 2u);
        }
        on.drive.disc.reset();
        on.load(on.path());
        EXPECT_EQ(on.discStatus() & 3, 2u);
        ASSERT_EQ(on.send({0xA1, 1}), kOk);
        EXPECT_EQ(on.discStatus() & 3, 0u);
    }
}

/// A pack of CD-Text, as the 24 symbols of six bits that lead-ins have.
Bytes PackSymbols(int type, int sequence, const char* text) {
    std::array<std::byte, 18> pack{std::byte(type), std::byte{0}, std::byte(sequence), std::byte{0}};
    for (std::size_t at = 0; at < 12 && text[at] != 0; ++at) pack[4 + at] = static_cast<std::byte>(text[at]);
    const auto crc = static_cast<std::uint16_t>(~Crc16(std::span(pack).first(16)));
    pack[16] = static_cast<std::byte>(crc >> 8);
    pack[17] = static_cast<std::byte>(crc & 255);
    Bytes symbols;
    for (std::size_t at = 0; at < pack.size(); at += 3) {
        const unsigned three = std::to_integer<unsigned>(pack[at]) << 16 |
                               std::to_integer<unsigned>(pack[at + 1]) << 8 | std::to_integer<unsigned>(pack[at + 2]);
        for (const int shift : {18, 12, 6, 0}) symbols.push_back(static_cast<std::byte>(three >> shift & 0x3F));
    }
    return symbols;
}

// An audio disc with everything that its sub-channels can say.
TEST(CueSheet, ItsCodesIndexesAndTextAreReadBack) {
    LoadedDrive on(Medium::CdR);
    ASSERT_EQ(on.select(2, 0, 0), kOk);
    Bytes sheet;
    Append(sheet, {0x02, '1', '2', '3', '4', '5', '6', '7', 0x02, '8', '9', '0', '1', '2', '3', 0});
    Append(sheet, {0x01, 0, 0, 0x41, 0, 0, 0, 0});
    Append(sheet, {0x03, 1, 'D', 'E', 'A', '0', '1', '2', 0x03, 1, '3', '4', '5', '6', '7', '8'});
    Append(sheet, {0x01, 1, 0, 0x00, 0, 0, 0, 0});
    Append(sheet, {0x01, 1, 1, 0x00, 0, 0, 2, 0});
    Append(sheet, {0x01, 1, 2, 0x00, 0, 0, 3, 0});
    Append(sheet, {0x01, 2, 0, 0x40, 0, 0, 4, 0});  // the host sends R to W of track 2
    Append(sheet, {0x01, 2, 1, 0x40, 0, 0, 6, 0});
    Append(sheet, {0x01, 0xAA, 1, 0x01, 0, 0, 8, 0});
    Bytes wrong = sheet;
    wrong[1] = std::byte{'x'};
    EXPECT_EQ(SendSheet(on, wrong), 0x052600u) << "no catalogue number";
    wrong = sheet;
    wrong[7 * 8 + 3] = std::byte{0x40};
    EXPECT_EQ(SendSheet(on, wrong), 0x052600u) << "R to W from index 2 on";
    ASSERT_EQ(SendSheet(on, sheet), kOk);

    const auto writeText = [&](std::int32_t block, std::int32_t count) {
        Bytes data;
        while (data.size() < static_cast<std::size_t>(count) * 96)
            for (const Bytes& pack : {PackSymbols(0x80, 0, "Disc"), PackSymbols(0x80, 1, "Track")})
                data.insert(data.end(), pack.begin(), pack.end());
        return on.send(
            {0x2A, 0, block >> 24 & 255, block >> 16 & 255, block >> 8 & 255, block & 255, 0, count >> 8, count & 255},
            data, DataDirection::Out);
    };
    const Bytes info = on.receive({0x51, 0, 0, 0, 0, 0, 0, 0, 34}, 34);
    EXPECT_EQ(LoadedDrive::be(info, 16, 4), 0x00613A46u) << "lead-in at 97:58:70";
    EXPECT_EQ(on.write(static_cast<std::uint32_t>(-150), 1, 0, 2352), 0x052102u) << "the lead-in comes first";
    ASSERT_EQ(writeText(-9230, 404), kOk);
    EXPECT_EQ(writeText(-9230, 404), 0x052102u);
    for (std::int32_t block = -8826; block < -150; block += 482) ASSERT_EQ(writeText(block, 482), kOk);
    ASSERT_EQ(on.write(static_cast<std::uint32_t>(-150), 300, 'a', 2352), kOk);
    EXPECT_EQ(on.write(150, 300, 'b', 2352), 0x0B4B00u) << "2448 bytes each";
    ASSERT_EQ(on.write(150, 300, 'b', 2448), kOk);
    EXPECT_EQ(on.discStatus() & 15, 14u);

    on.load(on.path());
    EXPECT_EQ(TextOf(on.receive({0x42, 0, 0x40, 2, 0, 0, 0, 0, 24}, 24), 8, 14),
              "\x80"
              "1234567890123");
    EXPECT_EQ(TextOf(on.receive({0x42, 0, 0x40, 3, 0, 0, 1, 0, 24}, 24), 8, 13),
              "\x80"
              "DEA012345678");
    EXPECT_EQ(LoadedDrive::be(on.receive({0x42, 0, 0x40, 3, 0, 0, 2, 0, 24}, 24), 8, 1), 0u) << "track 2 has none";
    const Bytes text = on.receive({0x43, 0, 5, 0, 0, 0, 0, 1, 0}, 256);
    EXPECT_EQ(text.size(), 4u + 2 * 18) << "each pack once";
    EXPECT_EQ(TextOf(text, 4 + 18 + 4, 5), "Track");

    struct Place {
        int block;
        const char* q;  // control and ADR, track, index, relative and absolute time
    };
    const Place places[] = {{0, "01 01 01 00 00 00 00 00 02 00"},   {74, "01 01 01 00 00 74 00 00 02 74"},
                            {76, "01 01 02 00 01 01 00 00 03 01"},  {150, "01 02 00 00 02 00 00 00 04 00"},
                            {299, "01 02 00 00 00 01 00 00 05 74"}, {449, "01 02 01 00 01 74 00 00 07 74"},
                            {125, "02 12 34 56 78 90 12 30 00 50"}, {75, "03 51 54 40 04 23 45 67 80 00"}};
    for (const Place& place : places) {
        const Bytes q = ReadCdBlock(on, place.block, 0, 2, 16);
        std::string words;
        for (std::size_t at = 0; at < 10; ++at) {
            char word[4];
            std::snprintf(word, sizeof word, at == 0 ? "%02X" : " %02X", std::to_integer<unsigned>(q.at(at)));
            words += word;
        }
        EXPECT_EQ(words, place.q) << place.block;
        EXPECT_EQ(static_cast<std::uint16_t>(~Crc16(std::span(q).first(10))), LoadedDrive::be(q, 10, 2));
        EXPECT_EQ(LoadedDrive::be(q, 15, 1), place.block >= 150 && place.block < 300 ? 0x80u : 0u) << "P";
        const Bytes raw = ReadCdBlock(on, place.block, 0xF8, 1, 2448);
        for (std::size_t bit = 0; bit < 96; ++bit)
            EXPECT_EQ(LoadedDrive::be(raw, 2352 + bit, 1) >> 6 & 1,
                      LoadedDrive::be(q, bit / 8, 1) >> (7 - bit % 8) & 1);
    }
    EXPECT_EQ(LoadedDrive::be(ReadCdBlock(on, 300, 0x10, 1, 2448), 2447, 1) & 0x3F, 'b' & 0x3Fu) << "R to W";
    EXPECT_EQ(LoadedDrive::be(ReadCdBlock(on, 0, 0x12, 1, 2742), 2352, 4), 0u) << "C2 pointers before sub-channels";
    EXPECT_EQ(on.send({0xBE, 0, 0, 0, 0, 0, 0, 0, 1, 0xF8, 4}), 0x052400u) << "corrected R to W";
    const Bytes position = on.receive({0x42, 2, 0x40, 1, 0, 0, 0, 0, 16}, 16);
    EXPECT_EQ(LoadedDrive::be(position, 4, 4), 0x01100101u) << "where it read last";
}

// Sessions of a CD-RW, one after the other, and taken away again from the end.
TEST(CdSessions, GrowAndShrinkByTheRules) {
    LoadedDrive on(Medium::CdRw, 60000);
    const auto blank = [&](int type, int track = 0) { return on.send({0xA1, type, 0, 0, 0, track}); };
    const auto status = [&] { return on.discStatus() & 15; };
    const auto info = [&](std::size_t offset, std::size_t count) {
        return LoadedDrive::be(on.receive({0x51, 0, 0, 0, 0, 0, 0, 0, 34}, 34), offset, count);
    };
    ASSERT_EQ(on.select(1, 0xC4, 10), kOk);
    ASSERT_EQ(on.write(0, 100, 'a'), kOk);
    ASSERT_EQ(on.synchronize(), kOk);
    EXPECT_EQ(on.nextWritable(2), 300u + 2 + 150) << "filled up to 4 seconds";
    EXPECT_EQ(on.read(299), 0u);
    ASSERT_EQ(on.send({0x53, 0, 0, 0, 0, 0, 0, 0, 200}), kOk);
    EXPECT_EQ(on.close(2), 0x057203u) << "a reserved track is empty";
    EXPECT_EQ(blank(3, 1), 0x052400u);
    ASSERT_EQ(blank(3, 2), kOk);
    EXPECT_EQ(status(), 5u);
    ASSERT_EQ(on.close(2), kOk);
    EXPECT_EQ(status(), 1u) << "appendable, the last session is empty";
    EXPECT_EQ(on.nextWritable(2), 302u + 11400);
    EXPECT_EQ(on.read(302 + 11400 - 1), 0x052100u) << "the pre-gap of a blank track";
    EXPECT_EQ(info(8, 1), 0x20u) << "the kind of the first session";
    ASSERT_EQ(on.write(302 + 11400, 300, 'b'), kOk);
    ASSERT_EQ(on.synchronize(), kOk);
    ASSERT_EQ(on.write(11702 + 452, 16, 'b'), kOk);
    EXPECT_EQ(on.close(2), 0x057203u) << "a track is open";
    ASSERT_EQ(on.close(1, 3), kOk);
    EXPECT_EQ(info(16, 4), 0x00012402u) << "the lead-in lies before the session's first track";
    ASSERT_EQ(on.close(2), kOk);
    EXPECT_EQ(on.nextWritable(4), 11702u + 452 + 302 + 6900);
    const Bytes toc = on.receive({0x43, 2, 2, 0, 0, 0, 0, 1, 0}, 256);
    EXPECT_EQ(LoadedDrive::be(toc, 2, 2), 0x0102u) << "sessions";
    EXPECT_EQ(LoadedDrive::be(on.receive({0x43, 0, 1, 0, 0, 0, 0, 0, 12}, 12), 8, 4), 11702u) << "last session";
    EXPECT_EQ(blank(2), 0x052400u) << "a track alone";
    ASSERT_EQ(blank(5), kOk);
    EXPECT_EQ(status(), 5u) << "session 2 is open again";
    EXPECT_EQ(on.read(11702), std::uint32_t{'b'});
    ASSERT_EQ(blank(6), kOk);
    EXPECT_EQ(on.nextWritable(2), 11702u);
    EXPECT_EQ(on.read(11702), 0x052100u);
    EXPECT_EQ(on.read(0), std::uint32_t{'a'});
    ASSERT_EQ(blank(6), kOk);
    EXPECT_EQ(status(), 0u);
    on.load(on.path());
    EXPECT_EQ(status(), 0u);
}

TEST(WriteParameters, OfCdsAreRefusedWhereNoDiscCanBeWrittenSo) {
    LoadedDrive on(Medium::CdR);
    struct Case {
        const char* name;
        int type, trackMode, blockType;
        std::uint32_t sense;
    };
    const Case cases[] = {{"packets", 0, 4, 8, 0x052600},         {"raw", 3, 4, 1, 0x052600},
                          {"raw with P to W", 1, 0, 3, 0x052600}, {"reserved multi-session", 1, 0x84, 8, 0x052600},
                          {"track-at-once", 1, 4, 8, kOk},        {"a test", 0x12, 4, 8, kOk}};
    for (const Case& one : cases) EXPECT_EQ(on.select(one.type, one.trackMode, one.blockType), one.sense) << one.name;
    EXPECT_EQ(on.write(0, 16, 'x'), 0x052C00u) << "session-at-once begins with a cue sheet";
    ASSERT_EQ(on.select(1, 4, 0), kOk);
    EXPECT_EQ(on.write(0, 16, 'x', 2352), 0x056400u) << "a data track of audio blocks";
    ASSERT_EQ(on.select(0x11, 0, 0), kOk);
    std::vector<std::uint8_t>& page = std::ranges::find(on.drive.pages, 5, &ModePage::code)->current;
    std::fill_n(page.begin() + 16, 14, std::uint8_t{0xB1});  // a valid catalogue number
    const DiscState before = on.drive.state();
    EXPECT_EQ(on.write(16, 16, 'x', 2352), 0x052102u);
    EXPECT_FALSE(on.drive.isTestWrite) << "nothing began";
    ASSERT_EQ(on.write(0, 16, 'x', 2352), kOk);
    ASSERT_EQ(on.synchronize(), kOk);
    EXPECT_TRUE(on.drive.state() == before) << "a test leaves nothing of the parameters";
}

TEST(Mode2, FormsAreToldApart) {
    LoadedDrive on(Medium::CdR);
    ASSERT_EQ(on.select(1, 4, 9), kOk);
    ASSERT_EQ(on.write(0, 16, 'A', 2336), kOk);
    ASSERT_EQ(on.write(16, 16, 'a', 2336), kOk);  // bit 5 of the sub-mode
    ASSERT_EQ(on.synchronize(), kOk);
    EXPECT_EQ(on.read(0), std::uint32_t{'A'});
    EXPECT_EQ(on.read(16), 0x056400u) << "form 2 has no 2048 bytes";
    struct Case {
        int type, block;
        std::uint32_t sense;
        std::size_t bytes;
    };
    for (const Case& one : {Case{0, 16, kOk, 2324}, Case{2, 0, 0x056400, 0}, Case{4, 0, kOk, 2048},
                            Case{4, 16, 0x056400, 0}, Case{5, 0, 0x056400, 0}, Case{5, 16, kOk, 2324}}) {
        Bytes data(2352);
        EXPECT_EQ(on.send({0xBE, one.type << 2, 0, 0, 0, one.block, 0, 0, 1, 0x10}, data, DataDirection::In), one.sense)
            << one.type;
        EXPECT_EQ(data.size(), one.bytes) << one.type;
    }
}

}  // namespace

}  // namespace tovlark
