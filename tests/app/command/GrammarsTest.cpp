#include <gtest/gtest.h>
#include <limits>

#include "app/command/Grammars.h"
#include "base/IniText.h"
#include "platform/Paths.h"

namespace tovlark {
namespace {

constexpr std::uint64_t kKib = 1024, kMib = kKib * 1024, kGib = kMib * 1024;

TEST(ParseSpeed, TakesTheLeadingDecimalNumber) {
    const struct {
        TextView word;
        Speed speed;
    } accepted[] = {
        {u"cd10x", {SpeedMedia::Cd, 10}},     {u"DVD8X", {SpeedMedia::Dvd, 8}},    {u"bd2x", {SpeedMedia::Bd, 2}},
        {u"Cd2.4x", {SpeedMedia::Cd, 2.4}},   {u"cd.5x", {SpeedMedia::Cd, 0.5}},   {u"dvd8.x", {SpeedMedia::Dvd, 8}},
        {u"cd1.5.9x", {SpeedMedia::Cd, 1.5}}, {u"cd10abcx", {SpeedMedia::Cd, 10}}, {u"cd1e3x", {SpeedMedia::Cd, 1}},
        {u"cd16,5x", {SpeedMedia::Cd, 16}},
    };
    for (const auto& row : accepted) EXPECT_EQ(ParseSpeed(row.word), row.speed) << ToUtf8(row.word);
    const Text endless = u"cd" + Text(400, u'9') + u"x", tiny = u"cd0." + Text(400, u'0') + u"1x";
    for (const TextView word :
         {TextView(u""), TextView(u"10x"), TextView(u"cdx"), TextView(u"cd0x"), TextView(u"dvd8"), TextView(u"cd0x10x"),
          TextView(u"cdinfx"), TextView(u"cdnanx"), TextView(u"cd-4x"), TextView(u"cd+4x"), TextView(u"cd 4x"),
          TextView(u"cd..x"), TextView(u"hd4x"), TextView(u"dvdx"), TextView(endless), TextView(tiny)})
        EXPECT_EQ(ParseSpeed(word), std::nullopt) << ToUtf8(word);
}

TEST(ParseVolumeSize, TakesDigitsCommasBlanksAndOneUnit) {
    const struct {
        TextView word;
        std::uint64_t sizeBytes;
    } accepted[] = {
        {u"131072", 131072},
        {u"128K", 128 * kKib},
        {u"128 k", 128 * kKib},
        {u"  700M  ", 700 * kMib},
        {u"1,440,000", 1'440'000},
        {u"650000,", 650'000},
        {u"4g", 4 * kGib},
        {u"8192G", 8192 * kGib},
        {u"700M-old", 700 * kMib},
        {u"00000000000000000000000700M", 700 * kMib},
        {u"18446744073709551615", std::numeric_limits<std::uint64_t>::max()},
    };
    for (const auto& row : accepted) EXPECT_EQ(ParseVolumeSize(row.word), row.sizeBytes) << ToUtf8(row.word);
    for (const TextView word : {u"",
                                u" ",
                                u"131071",
                                u"127K",
                                u"8193G",
                                u"8796093022209",
                                u"4.7G",
                                u"M",
                                u",",
                                u", ,K",
                                u"-700M",
                                u"700 -M",
                                u"7M00M",
                                u"700MB",
                                u"700T",
                                u"0x700M",
                                u"18446744073709551616",
                                u"18014398509481984K",
                                u"99999999999999999999999G",
                                u"+700M"})
        EXPECT_EQ(ParseVolumeSize(word), std::nullopt) << ToUtf8(word);
}

TEST(ParseWindowHandle, TakesFourPairsLowestFirst) {
    EXPECT_EQ(ParseWindowHandle(u"78563412"), 0x12345678u);
    EXPECT_EQ(ParseWindowHandle(u"efcdab90"), 0x90ABCDEFu);
    EXPECT_EQ(ParseWindowHandle(u"ffffffff"), 0xFFFFFFFFu);
    EXPECT_NE(ParseWindowHandle(u"EFCDAB90"), 0x90ABCDEFu) << "callers write lower case";
    EXPECT_NE(ParseWindowHandle(u"EFCDAB90"), std::nullopt);
    for (const TextView word : {u"", u"1234567", u"123456789", u"1234567g", u"0x123456", u"12 45678"})
        EXPECT_EQ(ParseWindowHandle(word), std::nullopt) << ToUtf8(word);
}

TEST(ParseNumbers, WholeWordsAndLeadingDigits) {
    const struct {
        TextView word;
        std::optional<std::uint32_t> whole;
        std::uint32_t leading;
    } rows[] = {
        {u"0", 0, 0},
        {u"012", 12, 12},
        {u"4294967295", 4294967295u, 4294967295u},
        {u"4294967296", std::nullopt, 4294967295u},
        {u"99999999999999999999999999", std::nullopt, 4294967295u},
        {u"12abc", std::nullopt, 12},
        {u"-1", std::nullopt, 0},
        {u"", std::nullopt, 0},
        {u"x9", std::nullopt, 0},
        {u"\u0663", std::nullopt, 0},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ParseWholeNumber(ToUtf8(row.word)), row.whole) << ToUtf8(row.word);
        EXPECT_EQ(ParseLeadingNumber(row.word), row.leading) << ToUtf8(row.word);
    }
}

TEST(OutputTypes, AreFoundByWordAndBySuffix) {
    EXPECT_EQ(ParseOutputType(u"ISO"), OutputType::Iso);
    EXPECT_EQ(ParseOutputType(u"Ogg"), OutputType::Ogg);
    EXPECT_EQ(ParseOutputType(u".iso"), std::nullopt);
    EXPECT_EQ(ParseOutputType(u""), std::nullopt);
    EXPECT_EQ(OutputTypeOfSuffix(u"a.iso.PSA"), OutputType::Psa);
    EXPECT_EQ(OutputTypeOfSuffix(u"folder.mp3/image"), std::nullopt);
    EXPECT_EQ(OutputTypeOfSuffix(u"image.xyz"), std::nullopt);
}

TEST(BootMode, RawLeavesStyleAndFileSystemAlone) {
    UsbBootOptions options{BootMode::Bios, PartitionStyle::Gpt, BootSystem::MsDos, PartitionType::Ntfs};
    ASSERT_TRUE(ApplyBootMode(u"raw", options));
    EXPECT_EQ(options, (UsbBootOptions{BootMode::Raw, PartitionStyle::Gpt, BootSystem::None, PartitionType::Ntfs}));
    ASSERT_TRUE(ApplyBootMode(u"FreeDos", options));
    EXPECT_EQ(options,
              (UsbBootOptions{BootMode::Bios, PartitionStyle::Mbr, BootSystem::FreeDos, PartitionType::Fat32}));
    EXPECT_FALSE(ApplyBootMode(u"CSM", options));
}

TEST(Paths, OfImagesAreMadeLocalAndInnerOnesSlashed) {
    const Text here = Text(u".") + kPathSeparator;
    EXPECT_EQ(ToLocalSource(u"disc.iso"), here + u"disc.iso");
    EXPECT_EQ(ToLocalSource(u"f:"), u"f:");
    EXPECT_EQ(ToLocalSource(u"a/b.iso"), Text(u"a") + kPathSeparator + u"b.iso");
    EXPECT_EQ(ToLocalSource(u""), u"");
    EXPECT_EQ(ToPathInImage(u"\\a\\b/c"), u"/a/b/c");
}

}  // namespace
}  // namespace tovlark
