#include <gmock/gmock.h>

#include "app/session/Texts.h"
#include "base/Dates.h"
#include "readers/IsoImage.h"
#include "readers/IsoVolume.h"
#include "readers/TreeWalk.h"

namespace tovlark {
namespace {

using testing::ElementsAre;
using Record = IsoImage::Record;

constexpr std::uint8_t kFolder = 2, kAssociated = 4, kMore = 0x80;

std::string FaultText(const std::optional<VolumeFault>& fault) {
    return fault ? std::to_string(NumberOf(fault->text)) + " " + ToUtf8(fault->subject) : "";
}

struct Listing {
    Listing(IsoImage& image, VolumeKind kind) {
        volume = OpenIso(image.source(), kind, ReadIsoFacts(image.source()));
        if (!volume) return;
        list(volume->root());
    }
    void list(const VolumeEntry& folder) {
        entries.clear();
        names.clear();
        fault = FaultText(volume->list(folder, [&](const VolumeEntry& entry) {
            entries.push_back(entry);
            names.push_back(ToUtf8(entry.name));
            return true;
        }));
    }

    std::unique_ptr<Volume> volume;
    std::vector<VolumeEntry> entries;
    std::vector<std::string> names;
    std::string fault;
};

TEST(IsoVolume, CutsVersionsAndKeepsEverythingElse) {
    IsoImage image;
    for (const char* name : {"FILE.TXT;1", "NOEXT.;12", "DOT.", "A;B;1", ";1", "N;", "lower\xFF.x", "a/..\\b"})
        image.add({name});
    const Listing iso(image, VolumeKind::Iso);
    EXPECT_EQ(iso.fault, "");
    EXPECT_THAT(iso.names, ElementsAre("FILE.TXT", "NOEXT", "DOT.", "A;B", ";1", "N;", "lower\xFF.x", "a/..\\b"));

    image.begin(IsoImage::kJolietRoot);
    image.add({std::string("\0a\xD8\x3D\xDE\x00\0;\0001", 10)});
    image.add({std::string("\xD8\x3D\0b", 4)});  // half a pair
    const Listing joliet(image, VolumeKind::Joliet);
    ASSERT_EQ(joliet.entries.size(), 2u);
    EXPECT_EQ(joliet.entries[0].name, u"a\U0001F600");
    EXPECT_EQ(joliet.entries[1].name, (Text{0xD83D, u'b'}));
}

TEST(IsoVolume, JoinsTheSectionsOfAFile) {
    IsoImage image;
    image.add({"BIG", 24, 2048, kMore});
    image.add({"BIG", 26, 2048, kMore});
    image.add({"BIG", 25, 5, 0});
    image.add({"BIG", 25, 9, kAssociated});
    image.add({"ODD", 24, 1, kMore});  // its next section is missing
    image.add({"ATTR", 24, 7, 0, "", 1});
    image.add({"LEAVED", 24, 7, 0, "", 0, 1});
    image.add({"BEYOND", 27, 2049});
    Listing iso(image, VolumeKind::Iso);
    ASSERT_THAT(iso.names, ElementsAre("BIG", "ODD", "ATTR", "LEAVED", "BEYOND"));
    EXPECT_EQ(iso.entries[0].sizeBytes, 4101u);
    std::vector<DataExtent> extents;
    EXPECT_EQ(FaultText(iso.volume->locate(iso.entries[0], extents)), "");
    ASSERT_EQ(extents.size(), 3u);
    EXPECT_EQ(extents[1].offset, 26u * 2048);
    image.putText(26 * 2048 + 2046, "ab");
    image.putText(25 * 2048, "cde");
    std::string bytes(6, '?');
    std::size_t count = 0;
    EXPECT_FALSE(ReadRange(image.source(), extents, 4094, std::as_writable_bytes(std::span(bytes)), count).failed());
    EXPECT_EQ(bytes.substr(0, 5) + std::to_string(count), "abcde6");
    EXPECT_FALSE(ReadRange(image.source(), extents, 4099, std::as_writable_bytes(std::span(bytes)), count).failed());
    EXPECT_EQ(count, 2u);

    const std::string faults[] = {"", "", "736 LEAVED", "734 BEYOND"};
    for (std::size_t index = 1; index < iso.entries.size(); ++index)
        EXPECT_EQ(FaultText(iso.volume->locate(iso.entries[index], extents)), faults[index - 1]);
    EXPECT_EQ(FaultText(iso.volume->locate(iso.entries[2], extents)), "");
    EXPECT_EQ(extents[0].offset, 25u * 2048);  // behind the extended attributes
}

struct RockRidgeCase {
    const char* what;
    std::string entries;
    std::string expected;  // name, kind, mode, target, fault
};

class RockRidge : public testing::TestWithParam<RockRidgeCase> {};

std::string Name(const char* name, char flags = 0) { return IsoImage::Entry("NM", flags + std::string(name)); }
std::string Link(const std::string& components, char flags = 0) { return IsoImage::Entry("SL", flags + components); }
std::string Part(char flags, const std::string& name = {}) {
    return std::string{flags, static_cast<char>(name.size())} + name;
}

TEST_P(RockRidge, Tells) {
    IsoImage image;
    image.putText(IsoImage::kArea * 2048, Name("tail") + IsoImage::Continue(IsoImage::kArea, 500, 8));
    image.putText(IsoImage::kArea * 2048 + 500, Name("loop", 1).substr(0, 3) + IsoImage::Continue(23, 0, 9));
    image.putText(IsoImage::kArea * 2048 + 1000, IsoImage::Continue(IsoImage::kArea, 1000, 28));
    image.putText(IsoImage::kArea * 2048 + 1200, Name("more") + IsoImage::Entry("ST", ""));
    image.add({"ISO.X;1", 24, 3, 0, GetParam().entries});
    image.add({"NEXT"});
    const Listing listing(image, VolumeKind::RockRidge);
    std::string told;
    for (const VolumeEntry& entry : listing.entries) {
        if (entry.name == u"NEXT") continue;
        char mode[8] = "";
        std::snprintf(mode, sizeof(mode), "%o", entry.mode);
        told += ToUtf8(entry.name) + "|" + std::to_string(static_cast<int>(entry.kind)) + "|" + mode + "|" +
                ToUtf8(entry.linkTarget) + "|";
    }
    EXPECT_EQ(told + listing.fault, GetParam().expected) << GetParam().what;
    ASSERT_FALSE(listing.names.empty());
    EXPECT_EQ(listing.names.back(), "NEXT");  // what is wrong with one item does not hide the others
}

const std::string kLinkPosix = IsoImage::Posix(0120777);
INSTANTIATE_TEST_SUITE_P(
    Entries, RockRidge,
    testing::Values(
        RockRidgeCase{"nothing recorded", "", "ISO.X|0|0||"},
        RockRidgeCase{"name in two entries", Name("ab", 1) + Name("cd"), "abcd|0|0||"},
        RockRidgeCase{"name never finished", Name("ab", 1), "ab|0|0||737 ab"},
        RockRidgeCase{"name of the current folder", Name("", 2), "ISO.X|0|0||"},
        RockRidgeCase{"long attributes", Name("a") + IsoImage::Posix(0100644, IsoImage::Both(9)), "a|0|100644||"},
        RockRidgeCase{"short attributes", Name("a") + IsoImage::Entry("PX", "12"), "a|0|0||737 a"},
        RockRidgeCase{"device", Name("a") + IsoImage::Posix(0060644), "a|3|60644||"},
        RockRidgeCase{"link from the root", kLinkPosix + Link(Part(8) + Part(0, "a") + Part(4) + Part(2)),
                      "ISO.X|2|120777|/a/../.|"},
        RockRidgeCase{"link whose component continues",
                      kLinkPosix + Link(Part(1, "a"), 1) + Link(Part(0, "b") + Part(0, "c")), "ISO.X|2|120777|ab/c|"},
        RockRidgeCase{"component longer than its entry", kLinkPosix + Link({'\0', '\x09', 'a'}),
                      "ISO.X|2|120777||737 ISO.X"},
        RockRidgeCase{"continuation", Name("top-", 1) + IsoImage::Continue(23, 1200, 13), "top-more|0|0||"},
        RockRidgeCase{"continuation that leads to itself", IsoImage::Continue(23, 1000, 28), "ISO.X|0|0||737 ISO.X"},
        RockRidgeCase{"continuation out of the image", Name("a") + IsoImage::Continue(99999, 0, 28), "a|0|0||737 a"},
        RockRidgeCase{"endless continuation", Name("a") + IsoImage::Continue(23, 0, 0xFFFFFFFF), "a|0|0||737 a"},
        RockRidgeCase{"length 0", Name("a") + std::string("PX\0\1", 4), "a|0|0||737 a"},
        RockRidgeCase{"length beyond the record", Name("a") + "PX\x7F\1", "a|0|0||737 a"},
        RockRidgeCase{"unknown entry", IsoImage::Entry("ZZ", "123") + Name("a"), "a|0|0||"},
        RockRidgeCase{"relocated", IsoImage::Entry("RE", "") + Name("a"), ""},
        RockRidgeCase{"stands for nothing", IsoImage::Entry("CL", IsoImage::Both(25)) + Name("a"), "a|1|0||732 a"}));

TEST(RockRidgeTree, PutsRelocatedFoldersBack) {
    IsoImage image;
    const std::string named = Name("deep") + IsoImage::Posix(0040700);
    image.add({"RR_MOVED", 25, 2048, kFolder, Name("rr_moved")});
    image.add({"DEEP", 24, 2048, 0, named + IsoImage::Entry("CL", IsoImage::Both(IsoImage::kSub))});
    image.begin(25);
    image.add({"DEEP", IsoImage::kSub, 2048, kFolder, named + IsoImage::Entry("RE", "")});
    image.begin(IsoImage::kSub, IsoImage::Posix(0040711));
    image.add({"X", 24, 3, 0,
               Name("x") + IsoImage::Entry("TF", std::string("\x03") + std::string(7, '\1') +
                                                     std::string("\x7C\x02\x1D\x0C\0\0\xFC", 7))});
    image.add({"Y", 24, 3, 0, Name("y") + IsoImage::Entry("TF", std::string("\x82") + "2024022912000050\x04")});
    Listing listing(image, VolumeKind::RockRidge);
    ASSERT_THAT(listing.names, ElementsAre("deep"));
    EXPECT_EQ(listing.entries[0].kind, EntryKind::Folder);
    EXPECT_EQ(listing.entries[0].mode, 0040711u);  // as the folder itself tells
    listing.list(VolumeEntry(listing.entries[0]));
    ASSERT_THAT(listing.names, ElementsAre("x", "y"));
    const UnixSeconds noon = ToSeconds({2024, 2, 29, 12, 0, 0});
    EXPECT_EQ(listing.entries[0].date, noon + 3600);
    EXPECT_EQ(listing.entries[1].date, noon - 3600);
}

struct HostileCase {
    const char* what;
    void (*spoil)(IsoImage& image);
    std::string expected;  // fault of the descriptors, trees, names of the root, fault of listing it
};

class HostileIso : public testing::TestWithParam<HostileCase> {};

TEST_P(HostileIso, IsToldAndHarmless) {
    IsoImage image;
    image.add({"A", 24, 3});
    image.add({"B", IsoImage::kSub, 2048, kFolder});
    GetParam().spoil(image);
    const IsoVolumeFacts facts = ReadIsoFacts(image.source());
    std::string told = FaultText(facts.fault) + "|" + (facts.iso ? "I" : "") + (facts.joliet ? "J" : "") +
                       (facts.hasRockRidge ? "R" : "") + "|";
    if (facts.iso) {
        const Listing listing(image, VolumeKind::Iso);
        for (const std::string& name : listing.names) told += name + ",";
        told += "|" + listing.fault;
    }
    EXPECT_EQ(told, GetParam().expected) << GetParam().what;
}

constexpr std::size_t kPrimary = 16 * 2048, kRootFolder = IsoImage::kRoot * 2048;
constexpr std::size_t kRootExtent = kPrimary + 158, kRootSize = kPrimary + 166, kBlockSize = kPrimary + 128;

INSTANTIATE_TEST_SUITE_P(
    Table, HostileIso,
    testing::Values(
        HostileCase{"whole", [](IsoImage&) {}, "|IJR|A,B,|"},
        HostileCase{"no descriptors at all", [](IsoImage& image) { image.resize(kPrimary); }, "||"},
        HostileCase{"no primary descriptor", [](IsoImage& image) { image.put(kPrimary + 1, '?'); }, "730 ISO 9660|J|"},
        HostileCase{"root out of the image", [](IsoImage& image) { image.put(kRootExtent, Both32(0xFFFFFFFF)); },
                    "730 ISO 9660|J|"},
        HostileCase{"root is no folder", [](IsoImage& image) { image.put(kRootExtent, Both32(24)); },
                    "730 ISO 9660|J|"},
        HostileCase{"block size 0", [](IsoImage& image) { image.put(kBlockSize, Both16(0)); }, "730 ISO 9660|J|"},
        HostileCase{"block size 4096", [](IsoImage& image) { image.put(kBlockSize, Both16(4096)); }, "730 ISO 9660|J|"},
        HostileCase{"blocks of 512 bytes",
                    [](IsoImage& image) {
                        image.put(kBlockSize, Both16(512));
                        image.put(kRootExtent, Both32(IsoImage::kRoot * 4));
                    },
                    "|IJR|A,B,|"},
        HostileCase{"Joliet root out of the image",
                    [](IsoImage& image) { image.put(kRootExtent + 2048, Both32(0x7FFFFFFF)); }, "730 Joliet|IR|A,B,|"},
        HostileCase{"root longer than the image", [](IsoImage& image) { image.put(kRootSize, Both32(0xFFFFFFF0)); },
                    "|IJR|A,B,|732 /"},
        HostileCase{"record longer than its sector",
                    [](IsoImage& image) {
                        image.add({"C"});
                        image.put(image.add({"D"}), std::uint8_t{33});
                    },
                    "|IJR|A,B,C,|732 /"},
        HostileCase{"name longer than its record",
                    [](IsoImage& image) { image.put(image.add({"C"}) + 32, std::uint8_t{200}); }, "|IJR|A,B,|732 /"},
        HostileCase{"name of no bytes", [](IsoImage& image) { image.put(image.add({"C"}) + 32, std::uint8_t{0}); },
                    "|IJR|A,B,|732 /"},
        HostileCase{"folder of itself over and over",
                    [](IsoImage& image) {
                        image.add({std::string(1, '\0'), 20, 2048, kFolder});
                    },
                    "|IJR|A,B,|732 /"},
        HostileCase{"image cut in the folder",
                    [](IsoImage& image) {
                        image.put(kRootSize, Both32(8192));
                        image.resize(kRootFolder + 2048);
                    },
                    "730 Joliet|IR|A,B,|733 /"}));

TEST(WalkTree, EndsWhateverTheImageSays) {
    IsoImage image;
    image.add({"LOOP", IsoImage::kRoot, 2048, kFolder});
    image.add({"SUB", IsoImage::kSub, 2048, kFolder});
    image.add({"TWIN", IsoImage::kSub, 2048, kFolder});
    image.add({"OUT", 5000, 2048, kFolder});
    image.add({"EMPTY", 0, 0, kFolder});
    image.add({"CUT", 27, 4096, kFolder});
    image.begin(IsoImage::kSub);
    image.add({"UP", IsoImage::kRoot, 4096, kFolder});
    image.add({"FILE", 24, 3});
    image.begin(27);
    image.add({"WHOLE", 24, 3});
    const auto volume = OpenIso(image.source(), VolumeKind::Iso, ReadIsoFacts(image.source()));
    std::vector<std::string> seen;
    TreeVisitor visitor;
    visitor.enter = [&](const WalkedFolder& folder) {
        seen.push_back(ToUtf8(folder.path) + ":" + std::to_string(folder.tag));
        return true;
    };
    visitor.item = [&](const WalkedFolder&, const VolumeEntry& entry, std::uint64_t& tag, bool&) {
        tag = entry.name.size();
        seen.push_back(ToUtf8(entry.name));
        return true;
    };
    visitor.leave = [&](const WalkedFolder&) {
        seen.push_back(".");
        return true;
    };
    visitor.fault = [&](const VolumeFault& fault) {
        seen.push_back(FaultText(fault));
        return true;
    };
    EXPECT_TRUE(WalkTree(*volume, {u"/", volume->root()}, visitor));
    EXPECT_THAT(seen, ElementsAre("/:0", "LOOP", "SUB", "TWIN", "OUT", "EMPTY", "CUT", ".", "738 /LOOP", "/SUB:3", "UP",
                                  "FILE", ".", "738 /SUB/UP", "738 /TWIN", "733 /OUT", "732 /EMPTY", "733 /CUT",
                                  "/CUT:3", "WHOLE", "."));
}

TEST(FindEntry, PrefersTheExactName) {
    IsoImage image;
    image.add({"readme", 24, 1});
    image.add({"README", 24, 2});
    image.add({"Sub", IsoImage::kSub, 2048, kFolder});
    image.begin(IsoImage::kSub);
    image.add({"X.TXT;1", 24, 3});
    std::optional<VolumeFault> fault;
    const auto volume = OpenIso(image.source(), VolumeKind::Iso, ReadIsoFacts(image.source()));
    const std::pair<const char16_t*, int> cases[] = {{u"/README", 2},    {u"ReadMe", 1},     {u"/sub//x.txt/", 3},
                                                     {u"/sub/none", -1}, {u"/readme/x", -1}, {u"", 2048}};
    for (const auto& [path, size] : cases) {
        const auto entry = FindEntry(*volume, path, fault);
        EXPECT_EQ(entry ? static_cast<int>(entry->sizeBytes) : -1, size) << ToUtf8(path);
        EXPECT_EQ(FaultText(fault), "");
    }
}

TEST(IsoFacts, TellTextsAndDates) {
    IsoImage image;
    const IsoVolumeFacts facts = ReadIsoFacts(image.source());
    ASSERT_TRUE(facts.iso && facts.joliet);
    const auto text = [](const IsoTreeFacts& tree, IsoField field) {
        return tree.fields[static_cast<std::size_t>(field)];
    };
    EXPECT_EQ(text(*facts.iso, IsoField::Volume), u"LABEL");
    EXPECT_EQ(text(*facts.joliet, IsoField::Volume), u"Jol");
    EXPECT_EQ(text(*facts.iso, IsoField::Publisher), u"WHO");
    EXPECT_EQ(text(*facts.iso, IsoField::Bibliographic), u"");
    EXPECT_EQ(facts.iso->dates[0], ToSeconds({2024, 2, 29, 11, 0, 0}));
    EXPECT_EQ(facts.iso->dates[1], std::nullopt);
    EXPECT_EQ(facts.jolietLevel, 3);
}

}  // namespace
}  // namespace tovlark
