#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "authoring/Naming.h"
#include "support/FakeSession.h"

namespace tovlark {
namespace {

constexpr NodeKind kFile = NodeKind::File, kFolder = NodeKind::Folder;

Text Repeated(TextView part, std::size_t count) {
    Text text;
    for (std::size_t index = 0; index < count; ++index) text += part;
    return text;
}

struct IsoCase {
    const char* fault;
    Text longName;
    NodeKind kind;
    std::uint8_t limit;
    std::int32_t number;
    std::string expected;
    bool keepsCase = false;
    std::uint32_t codePage = 1252;
};

TEST(IsoNames, AreDerivedByTheRules) {
    const std::string long221 = std::string(221, 'A');
    const IsoCase cases[] = {
        {"fits", u"readme.txt", kFile, 30, kNoNumber, "README.TXT"},
        {"keeps case when allowed", u"ReadMe.txt", kFile, 30, kNoNumber, "ReadMe.txt", true},
        {"dots map to themselves", u"..", kFolder, 12, kNoNumber, ".."},
        {"8.3 fits", u"abc.txt", kFile, 12, kNoNumber, "ABC.TXT"},
        {"8.3 at its longest", u"abcdefgh.txt", kFile, 12, kNoNumber, "ABCDEFGH.TXT"},
        {"extension cut, numbered, space replaced", u"my file.html", kFile, 12, kNoNumber, "MY_FIL~0.HTM"},
        {"short extension counts 4", u"abcdefghi.c", kFile, 12, kNoNumber, "ABCDEF~0.C"},
        {"no extension counts 4", u"abcdefghi", kFile, 12, kNoNumber, "ABCDEF~0"},
        {"no extension counts 4 when numbered", u"abcdefgh", kFile, 12, 3, "ABCDEF~3"},
        {"folder loses its extension", u"a.b", kFolder, 12, kNoNumber, "A~0"},
        {"folder keeps it at 30", u"a.b", kFolder, 30, kNoNumber, "A.B"},
        {"folder without extension", u"photos", kFolder, 12, kNoNumber, "PHOTOS"},
        {"base cut at its first dot", u"a.tar.gz", kFile, 12, kNoNumber, "A~0.GZ"},
        {"dots in base stay at 30", u"a.tar.gz", kFile, 30, kNoNumber, "A.TAR.GZ"},
        {"only an extension", u".profile", kFile, 12, kNoNumber, "~0.PRO"},
        {"trailing dot", u"abc.", kFile, 12, kNoNumber, "ABC."},
        {"two digits", u"abcdefghi.txt", kFile, 12, 10, "ABCDE~10.TXT"},
        {"five digits cut the extension, which still counts 4", u"abcdefgh.txt", kFile, 12, 12345, "AB~12345.TX"},
        {"six digits", u"abcdefgh.txt", kFile, 12, 123456, "A~123456.T"},
        {"31 characters", u"abcdefghijklmnopqrstuvwxyz1.txt", kFile, 30, kNoNumber, "ABCDEFGHIJKLMNOPQRSTUVWX~0.TXT"},
        {"long extension cut to 25", u"a." + Repeated(u"x", 40), kFile, 30, kNoNumber, "A~0." + std::string(24, 'X')},
        {"221 fits", Repeated(u"a", 221), kFile, 221, kNoNumber, long221},
        {"222 does not", Repeated(u"a", 222), kFile, 221, kNoNumber, std::string(219, 'A') + "~0"},
        {"space stays at 30", u"my file", kFile, 30, kNoNumber, "MY FILE"},
        {"unsafe characters",
         u"a;b/c\\d\x01"
         u"e\x7F"
         u"f",
         kFile, 30, kNoNumber, "A_B_C_D_E_F"},
        {"nul", Text(u"a\0b", 3), kFile, 30, kNoNumber, "A_B"},
        {"upper case in the page", u"\u00E4\u00FF", kFile, 30, kNoNumber, "\xC4\x9F"},
        {"no upper case in the page", u"\u00B5\u00DF", kFile, 30, kNoNumber, "\xB5\xDF"},
        {"not in the page, though its upper case is", u"\u0131", kFile, 30, kNoNumber, "_"},
        {"one '_' for a pair", u"\U0001F600x", kFile, 30, kNoNumber, "_X"},
        {"broken name",
         u"a\xDC80"
         u"b",
         kFile, 30, kNoNumber, "A_B"},
        {"double-byte base is not split", u"\u65E5\u672C\u8A9E\u65E5\u672C.txt", kFile, 12, kNoNumber,
         "\x93\xFA\x96\x7B\x8C\xEA~0.TXT", false, 932},
        {"nor at an odd place", u"a\u65E5\u672C\u8A9E\u65E5.txt", kFile, 12, kNoNumber, "A\x93\xFA\x96\x7B~0.TXT",
         false, 932},
        {"nor in the extension", u"a.\u65E5\u672C", kFile, 12, kNoNumber, "A~0.\x93\xFA", false, 932},
        {"trail bytes keep their case", u"\u30A2", kFile, 30, kNoNumber, "\x83\x41", false, 932},
    };
    std::map<std::uint32_t, CodePage> pages;
    for (const IsoCase& one : cases) {
        const CodePage& page = pages.try_emplace(one.codePage, one.codePage).first->second;
        EXPECT_EQ(DeriveIsoName(one.longName, one.kind, {one.limit, one.keepsCase}, one.number, page), one.expected)
            << one.fault;
    }
}

TEST(JolietNames, AreDerivedByTheRules) {
    const struct {
        const char* fault;
        Text longName;
        std::uint8_t limit;
        std::int32_t number;
        Text expected;
    } cases[] = {
        {"fits with case and dots", u"Read me.First.txt", 64, kNoNumber, u"Read me.First.txt"},
        {"64 fit", Repeated(u"a", 64), 64, kNoNumber, Repeated(u"a", 64)},
        {"65 do not", Repeated(u"a", 65), 64, kNoNumber, Repeated(u"a", 62) + u"~0"},
        {"extension stays", Repeated(u"a", 65) + u".txt", 64, 12, Repeated(u"a", 57) + u"~12.txt"},
        {"long extension", u"ab." + Repeated(u"x", 70), 64, kNoNumber, u"ab~0." + Repeated(u"x", 58)},
        {"110", Repeated(u"a", 111), 110, kNoNumber, Repeated(u"a", 108) + u"~0"},
        {"semicolon numbers at once", u"a;1", 64, kNoNumber, u"a_1~0"},
        {"unsafe characters", u"a/b\\c\x1F", 64, kNoNumber, u"a_b_c_"},
        {"pair at the cut", Repeated(u"a", 61) + u"\U0001F600xx", 64, kNoNumber, Repeated(u"a", 61) + u"~0"},
        {"pair that just fits", Repeated(u"a", 60) + u"\U0001F600xxx", 64, kNoNumber,
         Repeated(u"a", 60) + u"\U0001F600~0"},
        {"lone surrogate", u"a\xD800", 64, kNoNumber, u"a_"},
    };
    for (const auto& one : cases)
        EXPECT_EQ(DeriveJolietName(one.longName, one.limit, one.number), one.expected) << one.fault;
}

struct Named {
    FakeSession fake;
    ImageBuildContext context;

    void add(TextView longName, NodeKind kind = kFile) { context.newNode(kind, *context.root, longName); }
    void resolve() { ResolveNames(fake.task, context); }
    std::string iso(TextView longName) { return std::string(FindChild(*context.root, longName)->isoName); }
    Text joliet(TextView longName) { return Text(FindChild(*context.root, longName)->jolietName); }
};

TEST(UniqueNames, NumberClashesFromZeroInTheOrderOfLongNames) {
    Named named;
    for (const TextView name : {u"abcdefghij3.txt", u"abcdefghij1.txt", u"abcdefghij2.txt"}) named.add(name);
    named.resolve();
    EXPECT_EQ(named.iso(u"abcdefghij1.txt"), "ABCDEF~0.TXT");
    EXPECT_EQ(named.iso(u"abcdefghij2.txt"), "ABCDEF~1.TXT");
    EXPECT_EQ(named.iso(u"abcdefghij3.txt"), "ABCDEF~2.TXT");
}

TEST(UniqueNames, ANameThatIsASiblingsLongNameIsLeftToIt) {
    Named named;
    for (const TextView name : {u"readme.txt", u"README.TXT", u"a.b", u"A~0"}) named.add(name, kFile);
    named.add(u"longer name", kFolder);
    named.add(u"LONGER~0", kFile);
    named.resolve();
    EXPECT_EQ(named.iso(u"README.TXT"), "README.TXT");
    EXPECT_EQ(named.iso(u"readme.txt"), "README~0.TXT");
    EXPECT_EQ(named.iso(u"LONGER~0"), "LONGER~0");
    EXPECT_EQ(named.iso(u"longer name"), "LONGER~1");
}

TEST(UniqueNames, RecordLengthsAreEvenAndFitAByte) {
    Named named;
    named.context.rockRidge = RockRidgeChoice::Off;
    named.context.isoNameLength = 221;
    named.context.jolietNameLength = 110;
    named.add(Repeated(u"x", 255));
    named.add(u"ab");
    named.add(u"abc");
    named.resolve();
    const auto lengths = [&](TextView name) {
        const CompilationNode& node = *FindChild(*named.context.root, name);
        return std::pair<int, int>(node.isoRecordLength, node.jolietRecordLength);
    };
    EXPECT_EQ(lengths(Repeated(u"x", 255)), (std::pair{254, 254}));
    EXPECT_EQ(lengths(u"ab"), (std::pair{36, 38}));
    EXPECT_EQ(lengths(u"abc"), (std::pair{36, 40}));
}

/// The rules as they are told: every number tried in turn.
template <typename Name, typename Derive, typename IsFree>
Name FirstFree(std::set<Name>& taken, const Derive& derive, const IsFree& isFree) {
    for (std::int32_t number = kNoNumber; number < kNumberLimit; ++number)
        if (const Name name = derive(number); !taken.contains(name) && isFree(name)) {
            taken.insert(name);
            return name;
        }
    return {};
}

Text RandomName(std::mt19937& random) {
    constexpr TextView kParts[] = {u"a",    u"A",      u"b",      u".",      u"~",         u"0",  u"1",
                                   u"12",   u" ",      u";",      u"_",      u"abcdef",    u"~0", u"~1.b",
                                   u".txt", u"\u00E4", u"\u00C4", u"\u65E5", u"\U0001F600"};
    Text name;
    do {
        for (std::size_t count = 1 + random() % 6; count > 0; --count) name += kParts[random() % std::size(kParts)];
    } while (name == u"." || name == u"..");
    return name;
}

TEST(UniqueNames, AreThoseOfTryingEveryNumberInTurn) {
    std::mt19937 random(20240229);
    for (int round = 0; round < 120; ++round) {
        Named named;
        ImageBuildContext& context = named.context;
        context.codePage = CodePage(round % 3 == 0 ? 932 : 1252);
        context.rockRidge = round % 2 == 0 ? RockRidgeChoice::On : RockRidgeChoice::Off;
        context.lowerCaseAllowed = round % 5 == 0;
        const bool isShort = context.rockRidgeEnabled();
        std::set<Text> longNames;
        while (longNames.size() < 300) {
            Text name = RandomName(random);
            if (!isShort) name = Repeated(u"x", 25 + random() % 3) + name;
            if (round % 4 == 1) name = Repeated(u"y", 60 + random() % 3) + name;
            if (longNames.insert(name).second) named.add(name, random() % 4 == 0 ? kFolder : kFile);
        }
        named.resolve();
        ASSERT_EQ(context.error, BuildError::None);

        std::set<std::string> isoTaken;
        std::set<Text> jolietTaken;
        const IsoNameRules rules{static_cast<std::uint8_t>(isShort ? 12 : 30), context.lowerCaseAllowed};
        for (const Text& longName : longNames) {
            const NodeKind kind = FindChild(*context.root, longName)->kind;
            const auto deriveIso = [&](std::int32_t number) {
                return DeriveIsoName(longName, kind, rules, number, context.codePage);
            };
            const auto isIsoFree = [&](const std::string& name) {
                const Text wide = context.codePage.decode(name);
                return wide == longName || !longNames.contains(wide);
            };
            ASSERT_EQ(named.iso(longName), FirstFree(isoTaken, deriveIso, isIsoFree)) << ToUtf8(longName);
            const auto deriveJoliet = [&](std::int32_t number) { return DeriveJolietName(longName, 64, number); };
            ASSERT_EQ(named.joliet(longName), FirstFree(jolietTaken, deriveJoliet, [](const Text&) { return true; }))
                << ToUtf8(longName);
        }
    }
}

// Trying every number in turn takes 5,000,000,000 tries here, far beyond the time limit of a test.
TEST(UniqueNames, AHundredThousandClashesTakeLinearTime) {
    Named named;
    for (std::size_t number = 0; number < 100'000; ++number)
        named.add(Repeated(u"same beginning ", 8) + FromUtf8(std::to_string(number)) + u".text");
    named.resolve();
    ASSERT_EQ(named.context.error, BuildError::None);
    const std::vector<CompilationNode*>& children = named.context.root->folder->children;
    EXPECT_EQ(children[9]->isoName, "SAME_B~9.TEX");
    EXPECT_EQ(children[10]->isoName, "SAME_~10.TEX");
    EXPECT_EQ(children[99'999]->isoName, "SA~99999.TE");
    EXPECT_EQ(children[99'999]->jolietName, Repeated(u"same beginning ", 8).substr(0, 53) + u"~99999.text");
}

TEST(UniqueNames, ChangesAreCountedInOneLineAndNamedInTheLog) {
    Named named;
    named.context.udfEnabled = true;
    named.add(u"KEPT.TXT");
    named.resolve();
    EXPECT_EQ(named.fake.streams.output, "") << "nothing to tell";
    for (int number = 0; number < 1500; ++number) named.add(Repeated(u"x", 70) + FromUtf8(std::to_string(number)));
    named.add(Repeated(u"\u6C34", 200));
    named.resolve();
    EXPECT_EQ(named.fake.streams.output,
              "Names cut or numbered: ISO 9660 1,501, Joliet 1,501, UDF 1. Rock Ridge has them in full.\r\n");
    const std::string log = named.fake.log.render();
    EXPECT_NE(log.find("ISO 9660: /" + std::string(70, 'x') + "0 -> XXXXXX~0"), log.npos) << log.substr(0, 500);
    EXPECT_NE(log.find("Joliet: 501 more names will be changed."), log.npos);
}

TEST(UniqueNames, ChangedNamesAreAskedAboutOnceWhenNothingElseHoldsThem) {
    const struct {
        const char* fault;
        const char* typed;
        bool hasJoliet;
        BuildError expected;
        bool isAsked;
    } cases[] = {
        {"agreed", "y\r\n", false, BuildError::None, true},
        {"refused", "n\r\n", false, BuildError::NamesRefused, true},
        {"input ended", "", false, BuildError::Cancelled, true},
        {"Joliet holds the names", "", true, BuildError::None, false},
    };
    for (const auto& one : cases) {
        Named named;
        named.context.rockRidge = RockRidgeChoice::Off;
        named.context.jolietEnabled = one.hasJoliet;
        named.fake.streams.input = one.typed;
        for (char16_t letter = u'a'; letter <= u'z'; ++letter) named.add(Text(1, letter) + Repeated(u"x", 40));
        named.add(u"KEPT.TXT");
        named.add(u"folder", kFolder);
        named.resolve();
        EXPECT_EQ(named.context.error, one.expected) << one.fault;
        const std::string& output = named.fake.streams.output;
        EXPECT_EQ(output.find("will be truncated") != output.npos, one.isAsked) << one.fault;
        EXPECT_EQ(output.find("KEPT.TXT"), output.npos) << one.fault;
        if (!one.isAsked) continue;
        EXPECT_NE(output.find("/a" + std::string(40, 'x') + " -> A" + std::string(27, 'X') + "~0"), output.npos);
        EXPECT_NE(output.find("7 more names"), output.npos) << output;
    }
}

}  // namespace
}  // namespace tovlark
