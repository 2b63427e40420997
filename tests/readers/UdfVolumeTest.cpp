#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "app/session/Texts.h"
#include "readers/UdfVolume.h"
#include "support/UdfImage.h"

namespace tovlark {
namespace {

using Extents = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

constexpr std::uint32_t kBlock = UdfImage::kBlock, kStart = UdfImage::kStart;
constexpr std::uint64_t kZeros = DataExtent::kZeros;
constexpr std::uint32_t kNotRecorded = 2u << 30, kContinued = 3u << 30;

std::uint64_t OffsetOf(std::uint32_t block) { return std::uint64_t{kStart + block} * kBlock; }

// "text subject", or what was opened.
std::string FaultText(const std::optional<VolumeFault>& fault) {
    return fault ? std::to_string(NumberOf(fault->text)) + " " + ToUtf8(fault->subject) : "";
}
std::string Number(TextId text) { return std::to_string(NumberOf(text)); }

struct Opened {
    explicit Opened(UdfImage& image) {
        std::optional<VolumeFault> fault;
        volume = OpenUdf(image.source(), fault);
        error = FaultText(fault);
    }
    void list(const VolumeEntry& folder) {
        error = FaultText(volume->list(folder, [&](const VolumeEntry& entry) {
            entries.push_back(entry);
            return true;
        }));
    }

    std::unique_ptr<Volume> volume;
    std::vector<VolumeEntry> entries;
    std::string error;
};

std::string Names(const std::vector<VolumeEntry>& entries) {
    std::string names;
    for (const VolumeEntry& entry : entries) names += ToUtf8(entry.name) + " ";
    return names;
}

Extents ToPairs(const std::vector<DataExtent>& extents) {
    Extents pairs;
    for (const DataExtent& extent : extents) pairs.emplace_back(extent.offset, extent.sizeBytes);
    return pairs;
}

std::string Component(std::uint8_t type, const std::string& name = "") {
    return BytesOf(UdfPathComponent{type, static_cast<std::uint8_t>(name.size()), 0}) + name;
}

TEST(UdfVolume, ShowsWhatAFolderHolds) {
    UdfImage image;
    using Identifier = UdfFileIdentifier;
    image.putEmbedded(1, UdfIcbTag::kFolder,
                      UdfImage::identifier("", 1, Identifier::kParent | Identifier::kFolder) +
                          UdfImage::identifier("\10latin\xFC", 2) +
                          UdfImage::identifier(std::string("\20\x65\xE5\0!", 5), 2, Identifier::kHidden) +
                          UdfImage::identifier("\10gone", 2, Identifier::kDeleted) +
                          UdfImage::identifier("\10broken", 9) +
                          UdfImage::identifier("\10sub", 1, Identifier::kFolder));
    image.putEmbedded(2, UdfIcbTag::kFile, "data");
    Opened opened(image);
    ASSERT_TRUE(opened.volume) << opened.error;
    EXPECT_TRUE(HasUdf(image.source()));
    EXPECT_EQ(opened.volume->label(), u"By hand");
    opened.list(opened.volume->root());
    EXPECT_EQ(Names(opened.entries), "latinü 日! sub ");
    EXPECT_EQ(opened.error, Number(TextId::FileDamaged) + " broken");  // and what stands behind it is shown
    EXPECT_EQ(opened.entries.back().place, opened.volume->root().place);
}

TEST(UdfVolume, ShowsAttributes) {
    struct Case {
        const char* what;
        std::uint8_t type;
        std::uint16_t flags;
        std::uint32_t permissions, owner;
        UdfTime time;
        std::string data;
        std::uint32_t mode, shownOwner;
        std::optional<UnixSeconds> date;
        std::string target;
    };
    const auto time = [](int type, int minutes, std::uint8_t month = 1) {
        return UdfTime{static_cast<std::uint16_t>(type << 12 | (minutes & 0xFFF)), 2001, month, 2, 3, 4, 5};
    };
    constexpr UnixSeconds kUtc = 978404645;  // 2001-01-02 03:04:05
    using Component_ = UdfPathComponent;
    const Case cases[] = {
        {"east of UTC", 5, UdfIcbTag::kSetUser, 0x1CA5, 7, time(1, 120), "", 0104755, 7, kUtc - 7200, ""},
        {"west of UTC", 5, UdfIcbTag::kSetGroup, 0x7FFF, 7, time(1, -90), "", 0102777, 7, kUtc + 5400, ""},
        {"no offset told", 5, UdfIcbTag::kSticky, 0, 7, time(1, UdfTime::kNoOffset), "", 0101000, 7, kUtc, ""},
        {"UTC itself", 249, 0, 0x1084, ~0u, time(0, 60), "", 0100444, 0, kUtc, ""},
        {"no month", 10, 0, 0, 0, time(1, 0, 0), "", 0140000, 0, std::nullopt, ""},
        {"link from the root", 12, 0, 0x1CE7, 0, time(1, 0),
         Component(Component_::kRoot) + Component(Component_::kName, "\10usr") + Component(Component_::kName, "\10x"),
         0120777, 0, kUtc, "/usr/x"},
        {"link from here", 12, 0, 0, 0, time(1, 0),
         Component(Component_::kHere) + Component(Component_::kParent) + Component(Component_::kName, "\10y"), 0120000,
         0, kUtc, "./../y"},
    };
    for (const Case& item : cases) {
        UdfImage image;
        image.putEmbedded(1, UdfIcbTag::kFolder, UdfImage::identifier("\10item", 2));
        UdfFileEntry entry;
        entry.icb.flags = item.flags;
        entry.permissions = item.permissions;
        entry.owner = entry.group = item.owner;
        entry.links = 3;
        entry.modified = item.time;
        image.putEntry(2, item.type, UdfIcbTag::kEmbedded, item.data.size(), item.data, entry);
        Opened opened(image);
        ASSERT_TRUE(opened.volume) << opened.error;
        opened.list(opened.volume->root());
        ASSERT_EQ(opened.entries.size(), 1u) << item.what << opened.error;
        const VolumeEntry& shown = opened.entries.front();
        EXPECT_EQ(shown.mode, item.mode) << item.what;
        EXPECT_EQ(shown.owner, item.shownOwner) << item.what;
        EXPECT_EQ(shown.links, 3u) << item.what;
        EXPECT_EQ(shown.date, item.date) << item.what;
        EXPECT_EQ(ToUtf8(shown.linkTarget), item.target) << item.what;
    }
}

TEST(UdfVolume, FindsDataWhateverTheAllocation) {
    constexpr std::uint16_t kShort = UdfIcbTag::kShortAds, kLong = UdfIcbTag::kLongAds;
    const auto shortAd = [](std::uint32_t length, std::uint32_t block) { return BytesOf(UdfShortAd{length, block}); };
    const auto longAd = [](std::uint32_t length, std::uint32_t block, std::uint16_t partition) {
        return BytesOf(UdfLongAd{length, block, partition});
    };
    const std::string damaged = Number(TextId::FileDamaged) + " item",
                      outside = Number(TextId::FileBeyondEnd) + " item",
                      unsupported = Number(TextId::FileUnsupported) + " item";
    struct Case {
        const char* what;
        std::uint16_t form;
        std::uint64_t size;
        std::string data;
        Extents extents;
        std::string fault;
    };
    const Case cases[] = {
        {"nothing", kShort, 0, "", {}, ""},
        {"embedded", UdfIcbTag::kEmbedded, 4, "data", {{OffsetOf(2) + 176, 4}}, ""},
        {"embedded, but too few", UdfIcbTag::kEmbedded, 5, "data", {}, damaged},
        {"joined where they touch", kShort, 5000, shortAd(kBlock, 5) + shortAd(4096, 6), {{OffsetOf(5), 5000}}, ""},
        {"apart", kLong, 3000, longAd(kBlock, 9, 0) + longAd(952, 5, 0), {{OffsetOf(9), 2048}, {OffsetOf(5), 952}}, ""},
        {"a hole",
         kShort,
         6000,
         shortAd(2048, 5) + shortAd(kNotRecorded | 2048, 0) + shortAd(1904, 6),
         {{OffsetOf(5), 2048}, {kZeros, 2048}, {OffsetOf(6), 1904}},
         ""},
        {"a huge hole", kShort, 0x3FFFF800, shortAd(kNotRecorded | 0x3FFFF800, 0), {{kZeros, 0x3FFFF800}}, ""},
        {"continued",
         kShort,
         4096,
         shortAd(2048, 5) + shortAd(kContinued | 2048, 20),
         {{OffsetOf(5), 2048}, {OffsetOf(30), 2048}},
         ""},
        {"continued in circles", kShort, 1u << 31, shortAd(kContinued | 2048, 21), {}, damaged},
        {"continued nowhere", kShort, 4096, shortAd(kContinued | 2048, 40), {}, damaged},
        {"ends before its size", kShort, 4097, shortAd(2048, 5), {}, damaged},
        {"begins behind the end", kShort, 10, shortAd(10, 100000), {}, outside},
        {"ends behind the end", kShort, 1u << 29, shortAd(1u << 29, 5), {}, outside},
        {"no such partition", kLong, 10, longAd(10, 5, 1), {}, outside},
        {"extended descriptors", 2, 10, std::string(20, '\1'), {}, unsupported},
    };
    for (const Case& item : cases) {
        UdfImage image;
        image.putEmbedded(1, UdfIcbTag::kFolder, UdfImage::identifier("\10item", 2));
        image.putEntry(2, UdfIcbTag::kFile, item.form, item.size, item.data);
        const auto continuation = [&](std::uint32_t block, const std::string& ads) {
            const UdfAllocationExtent head{{}, 0, static_cast<std::uint32_t>(ads.size())};
            image.put(kStart + block, Tagged(BytesOf(head) + ads, UdfTagId::AllocationExtent, block));
        };
        continuation(20, shortAd(2048, 30));
        continuation(21, shortAd(kContinued | 2048, 21));
        Opened opened(image);
        ASSERT_TRUE(opened.volume) << opened.error;
        opened.list(opened.volume->root());
        ASSERT_EQ(opened.entries.size(), 1u) << item.what << opened.error;
        std::vector<DataExtent> extents;
        EXPECT_EQ(FaultText(opened.volume->locate(opened.entries[0], extents)), item.fault) << item.what;
        if (item.fault.empty()) {
            EXPECT_EQ(ToPairs(extents), item.extents) << item.what;
        }
    }
}

std::string Map2(const std::string& kind, const std::string& details = "") {
    UdfPartitionMap2 map;
    map.kind = EntityOf(kind);
    return BytesOf(map).replace(offsetof(UdfPartitionMap2, details), details.size(), details);
}

// The tree of every one of these: the root, in block 1, with a file "a" in block 2 that tells where it was found.
void PutTree(UdfImage& image, std::uint32_t rootSector, std::uint32_t fileSector, std::uint16_t partition) {
    image.putEmbedded(1, UdfIcbTag::kFolder, UdfImage::identifier("\10a", 2, 0, partition), rootSector);
    image.putEmbedded(2, UdfIcbTag::kFile, "data", fileSector);
}

std::string Numbers(std::initializer_list<std::uint32_t> numbers) {
    std::string bytes;
    for (const std::uint32_t number : numbers) bytes += BytesOf(Little32(number));
    return bytes;
}

UdfImage VirtualImage(bool isOld) {
    UdfImage image(BytesOf(UdfPartitionMap{}) + Map2("*UDF Virtual Partition"), 2, 1);
    const std::string numbers = Numbers({0, 70, 60, ~0u, 100000});
    UdfVirtualTable head;
    head.headLength = sizeof(head);
    const UdfVirtualTableEnd end{EntityOf("*UDF Virtual Alloc Tbl"), ~0u};
    const std::uint32_t last = UdfImage::kSectors - kStart - 3;  // the drive put two blocks behind
    image.putEmbedded(last, isOld ? 0 : UdfIcbTag::kVirtualTable,
                      isOld ? numbers + BytesOf(end) : BytesOf(head) + numbers);
    PutTree(image, kStart + 70, kStart + 60, 1);
    return image;
}

UdfImage SparableImage() {
    const UdfSparableDetails details{4, 2, 0, 2048, {120, 121}};
    UdfImage image(Map2("*UDF Sparable Partition", BytesOf(details)), 1, 0);
    UdfSparingTable table;
    table.identifier = EntityOf("*UDF Sparing Table");
    table.entryCount = 3;
    image.put(121, Tagged(BytesOf(table, UdfSparingEntry{~0u, 200}, UdfSparingEntry{8, 210}, UdfSparingEntry{0, 220}),
                          UdfTagId::SparingTable, 121));
    image.putFileSet(220, 0);
    PutTree(image, 221, 222, 0);
    return image;
}

UdfImage MetadataImage(bool isMirrorNeeded) {
    const UdfMetadataDetails details{10, 11, ~0u, 32, 1};
    UdfImage image(BytesOf(UdfPartitionMap{}) + Map2("*UDF Metadata Partition", BytesOf(details)), 2, 1);
    const std::string ads = BytesOf(UdfShortAd{kBlock, 50}, UdfShortAd{2 * kBlock, 40});
    image.putEntry(10, 250, UdfIcbTag::kShortAds, 3 * kBlock, ads);
    image.putEntry(11, 251, UdfIcbTag::kShortAds, 3 * kBlock, ads);
    if (isMirrorNeeded) image.put(kStart + 10, std::string(64, '\7'));
    image.putFileSet(kStart + 50, 1);
    PutTree(image, kStart + 40, kStart + 41, 1);
    return image;
}

// An entry that a write-once medium replaced by a later one.
UdfImage IndirectImage() {
    UdfImage image;
    UdfFileEntry entry;
    entry.icb.strategy = 4096;
    image.putEntry(1, UdfIcbTag::kFolder, UdfIcbTag::kEmbedded, 0, "", entry);
    UdfIndirectEntry indirect;
    indirect.next = {kBlock, 30, 0};
    image.put(kStart + 2, Tagged(BytesOf(indirect), UdfTagId::IndirectEntry, 2));
    image.putEmbedded(30, UdfIcbTag::kFolder, UdfImage::identifier("\10a", 3));
    image.putEmbedded(3, UdfIcbTag::kFile, "data");
    return image;
}

TEST(UdfVolume, FollowsEveryKindOfPartition) {
    struct Case {
        const char* what;
        UdfImage image;
        std::uint64_t sector;  // of the file's entry
    };
    Case cases[] = {{"virtual, UDF 1.50", VirtualImage(true), kStart + 60},
                    {"virtual, UDF 2.00", VirtualImage(false), kStart + 60},
                    {"sparable", SparableImage(), 222},
                    {"metadata", MetadataImage(false), kStart + 41},
                    {"metadata mirror", MetadataImage(true), kStart + 41},
                    {"strategy 4096", IndirectImage(), kStart + 3}};
    for (Case& item : cases) {
        Opened opened(item.image);
        ASSERT_TRUE(opened.volume) << item.what << opened.error;
        opened.list(opened.volume->root());
        ASSERT_EQ(Names(opened.entries), "a ") << item.what << opened.error;
        std::vector<DataExtent> extents;
        EXPECT_EQ(FaultText(opened.volume->locate(opened.entries[0], extents)), "") << item.what;
        EXPECT_EQ(ToPairs(extents), (Extents{{item.sector * kBlock + 176, 4}})) << item.what;
    }
}

TEST(UdfVolume, ReadsALargeFolderInPieces) {
    UdfImage image;
    std::string identifiers;
    for (int index = 0; index < 9000; ++index)
        identifiers += UdfImage::identifier("\10file" + std::to_string(index), 2);
    image.putEntry(1, UdfIcbTag::kFolder, UdfIcbTag::kShortAds, identifiers.size(),
                   BytesOf(UdfShortAd{static_cast<std::uint32_t>(identifiers.size()), 3}));
    image.bytes.resize(image.bytes.size() + identifiers.size());
    image.put(kStart + 3, identifiers);
    image.putEmbedded(2, UdfIcbTag::kFile, "");
    // The partition descriptor tells fewer blocks than that: a long one for both sequences
    for (const std::uint32_t sequence : {UdfImage::kMain, UdfImage::kReserve}) {
        UdfPartition partition;
        partition.start = kStart;
        partition.length = 10000;
        image.put(sequence, Tagged(BytesOf(partition), UdfTagId::Partition, sequence));
    }
    Opened opened(image);
    ASSERT_TRUE(opened.volume) << opened.error;
    opened.list(opened.volume->root());
    EXPECT_EQ(opened.error, "");
    ASSERT_EQ(opened.entries.size(), 9000u);
    for (int index = 0; index < 9000; ++index)
        ASSERT_EQ(ToUtf8(opened.entries[static_cast<std::size_t>(index)].name), "file" + std::to_string(index));
}

TEST(UdfVolume, OpensInSpiteOfDamageOrTellsOfIt) {
    const auto spoil = [](UdfImage& image, std::uint32_t sector, std::uint32_t offset) {
        image.bytes[std::size_t{sector} * kBlock + offset] ^= 1;
    };
    const std::string descriptor = Number(TextId::UdfBadDescriptor) + " ";
    struct Case {
        const char* what;
        std::function<void(UdfImage&)> change;
        std::string fault;  // of opening, or of listing the root
    };
    const Case cases[] = {
        {"nothing", [](UdfImage&) {}, ""},
        {"main sequence", [&](UdfImage& image) { spoil(image, UdfImage::kMain + 1, 100); }, ""},
        {"main partition, reserve volume",
         [&](UdfImage& image) {
             spoil(image, UdfImage::kMain, 188);
             spoil(image, UdfImage::kReserve + 1, 100);
         },
         descriptor + "Partition Descriptor #0"},
        {"both sequences",
         [&](UdfImage& image) {
             for (const std::uint32_t sector : {UdfImage::kMain, UdfImage::kReserve}) spoil(image, sector + 1, 100);
         },
         descriptor + "Logical Volume Descriptor #32"},
        {"a descriptor that lies elsewhere",
         [](UdfImage& image) {
             image.put(UdfImage::kMain + 1, image.bytes.substr((UdfImage::kReserve + 1) * kBlock, 446));
         },
         ""},
        {"anchor, with another at the end",
         [&](UdfImage& image) {
             spoil(image, 256, 16);
             image.putAnchor(UdfImage::kSectors - 1);
         },
         ""},
        {"every anchor", [&](UdfImage& image) { spoil(image, 256, 4); },
         descriptor + "Anchor Volume Descriptor Pointer #256"},
        {"file set", [&](UdfImage& image) { spoil(image, kStart, 400); }, descriptor + "File Set Descriptor #0"},
        {"entry of the root", [&](UdfImage& image) { spoil(image, kStart + 1, 16); },
         Number(TextId::FileDamaged) + " /"},
        {"entry of another block", [](UdfImage& image) { image.putEmbedded(7, UdfIcbTag::kFolder, "", kStart + 1); },
         Number(TextId::FileDamaged) + " /"},
        {"a root that is a file", [](UdfImage& image) { image.putEmbedded(1, UdfIcbTag::kFile, ""); },
         Number(TextId::FolderDamaged) + " /"},
        {"identifier",
         [](UdfImage& image) {
             std::string identifier = UdfImage::identifier("\10a", 2);
             identifier[20] ^= 1;
             image.putEmbedded(1, UdfIcbTag::kFolder, identifier);
         },
         Number(TextId::FolderDamaged) + " /"},
        {"identifier cut off",
         [](UdfImage& image) {
             image.putEmbedded(1, UdfIcbTag::kFolder, UdfImage::identifier("\10a", 2).substr(0, 39));
         },
         Number(TextId::FolderDamaged) + " /"},
        {"attributes longer than the entry",
         [](UdfImage& image) {
             UdfFileEntry entry;
             entry.attributesLength = 0xFFFFFFF0;
             image.putEntry(1, UdfIcbTag::kFolder, UdfIcbTag::kEmbedded, 32, std::string(32, '\0'), entry);
         },
         Number(TextId::FileDamaged) + " /"},
        {"a folder larger than the image",
         [](UdfImage& image) {
             image.putEntry(1, UdfIcbTag::kFolder, UdfIcbTag::kShortAds, 1u << 29,
                            BytesOf(UdfShortAd{kNotRecorded | 1u << 29, 0}));
         },
         Number(TextId::FolderDamaged) + " /"},
    };
    for (const Case& item : cases) {
        UdfImage image;
        PutTree(image, 0, 0, 0);
        item.change(image);
        Opened opened(image);
        if (opened.volume) opened.list(opened.volume->root());
        EXPECT_EQ(opened.error, item.fault) << item.what;
        if (item.fault.empty()) {
            EXPECT_EQ(Names(opened.entries), "a ") << item.what;
        }
    }
}

TEST(UdfVolume, RefusesMapsThatDoNotFit) {
    const std::string map = BytesOf(UdfPartitionMap{});
    std::string endless = map;
    endless[1] = 0;
    UdfImage images[] = {UdfImage(map, 2),
                         UdfImage(map, 0xFFFFFFFF),
                         UdfImage(endless),
                         UdfImage(map, 1, 9),
                         UdfImage(Map2("*UDF Unheard Of") + map, 2),
                         UdfImage(Map2("*UDF Virtual Partition") + map, 2)};
    for (UdfImage& image : images) {
        PutTree(image, 0, 0, 0);
        const Opened opened(image);
        EXPECT_FALSE(opened.volume) << &image - images;
        EXPECT_EQ(opened.error.substr(0, 3), Number(TextId::UdfBadDescriptor)) << &image - images;
    }
}

}  // namespace
}  // namespace tovlark
