#include <algorithm>
#include <cstring>
#include <gmock/gmock.h>

#include "authoring/WriterFixture.h"
#include "base/Checksum.h"
#include "base/UdfBytes.h"
#include "readers/UdfVolume.h"

namespace tovlark {

namespace {

using testing::HasSubstr;

constexpr std::uint64_t kSector = 2048;

class UdfWriterTest : public WriterFixture {
protected:
    UdfWriterTest() {
        context_.udfEnabled = true;
        context_.labelSet = true;
        context_.volumeFields[0] = u"DISC";
    }

    IsoReader image() const { return IsoReader(image_); }
    std::uint32_t little(std::uint64_t sector, std::uint64_t offset, unsigned count) const {
        return image().little(sector * kSector + offset, count);
    }

    /// Holds a tag against what it stands before; returns its identifier.
    std::uint32_t checkTag(std::uint64_t sector, std::uint32_t location, std::uint32_t crcLength) {
        SCOPED_TRACE(sector);
        std::uint32_t sum = 0;
        for (std::uint64_t at = 0; at < 16; ++at) sum += at == 4 ? 0 : little(sector, at, 1);
        EXPECT_EQ(little(sector, 4, 1), sum % 256);
        EXPECT_EQ(little(sector, 2, 2), context_.udfRevision >= 0x0201 ? 3u : 2u);
        EXPECT_EQ(little(sector, 10, 2), crcLength);
        EXPECT_EQ(little(sector, 12, 4), location);
        const std::string body = image().bytes(sector * kSector + 16, crcLength);
        EXPECT_EQ(little(sector, 8, 2), Crc16(std::as_bytes(std::span(body))));
        return little(sector, 0, 2);
    }

    /// What a reader of UDF finds, by path; symbolic links as "-> target".
    struct Found {
        VolumeEntry entry;
        std::string contents;
    };
    std::map<std::string, Found> readUdf() {
        const ByteSource source{&image_, image_.size(),
                                [](void* self, std::uint64_t offset, std::span<std::byte> buffer, std::size_t& count) {
                                    const auto& bytes = *static_cast<std::string*>(self);
                                    offset = std::min<std::uint64_t>(offset, bytes.size());
                                    count = std::min<std::size_t>(buffer.size(), bytes.size() - offset);
                                    std::memcpy(buffer.data(), bytes.data() + offset, count);
                                    return SystemError{};
                                },
                                nullptr};
        std::optional<VolumeFault> fault;
        const std::unique_ptr<Volume> volume = OpenUdf(source, fault);
        EXPECT_FALSE(fault);
        std::map<std::string, Found> found;
        if (volume == nullptr) return found;
        EXPECT_EQ(volume->label(), u"DISC");
        std::vector<std::pair<std::string, VolumeEntry>> pending{{"", volume->root()}};
        while (!pending.empty()) {
            const auto [path, folder] = pending.back();
            pending.pop_back();
            const auto failure = volume->list(folder, [&](const VolumeEntry& entry) {
                Found& item = found[path + "/" + ToUtf8(entry.name)];
                item.entry = entry;
                if (entry.kind == EntryKind::Folder) pending.emplace_back(path + "/" + ToUtf8(entry.name), entry);
                if (entry.kind != EntryKind::File) return true;
                std::vector<DataExtent> extents;
                EXPECT_FALSE(volume->locate(entry, extents));
                for (const DataExtent& extent : extents)
                    item.contents += image().bytes(extent.offset, extent.sizeBytes);
                return true;
            });
            EXPECT_FALSE(failure) << path;
        }
        return found;
    }
};

TEST_F(UdfWriterTest, StructuresStandWhereTheyBelong) {
    struct Case {
        bool hasIso;
        std::uint16_t revision;
        std::uint64_t recognition;
    };
    fake_.fakeClock.offsetSeconds = -5 * 3600;
    folder(folder(*context_.root, u"a"), u"b");
    file(*context_.root, u"c.txt", std::string(5000, 'c'));
    for (const Case& each : {Case{true, 0x0102, 19}, Case{true, 0x0201, 19}, Case{false, 0x0102, 16}}) {
        SCOPED_TRACE(each.revision + each.recognition);
        context_.isoEnabled = each.hasIso;
        context_.udfRevision = each.revision;
        ASSERT_EQ(write(), Status::Ok);
        const IsoReader bytes = image();
        const auto last = static_cast<std::uint32_t>(bytes.sectors() - 1);
        const std::string digit = each.revision == 0x0201 ? "3" : "2";
        EXPECT_EQ(bytes.bytes(0, 16 * kSector), std::string(16 * kSector, '\0'));
        for (const std::string identifier : {"BEA01", "NSR0", "TEA01"}) {
            const std::string whole = identifier == "NSR0" ? identifier + digit : identifier;
            const std::uint64_t sector = each.recognition + (identifier == "BEA01" ? 0 : identifier == "TEA01" ? 2 : 1);
            EXPECT_EQ(bytes.bytes(sector * kSector, 8), '\0' + whole + std::string("\1\0", 2));
        }
        const std::uint32_t lengths[] = {496, 496, 496, 430, 8, 496}, tags[] = {1, 4, 5, 6, 7, 8};
        for (std::uint32_t number = 0; number < 6; ++number)
            for (const std::uint32_t first : {32u, 48u}) {
                EXPECT_EQ(checkTag(first + number, first + number, lengths[number]), tags[number]);
                if (number < 5) {
                    EXPECT_EQ(little(first + number, 16, 4), number);
                }
            }
        EXPECT_EQ(bytes.bytes(32 * kSector + 24, 5),
                  "\x08"
                  "DISC");
        EXPECT_EQ(little(32, 24 + 31, 1), 5u);
        EXPECT_EQ(little(32, 376, 2), 0x1000u | (-300 & 0xFFF));
        EXPECT_EQ(bytes.bytes(34 * kSector + 25, 6), "+NSR0" + digit);
        EXPECT_EQ(little(34, 188, 4), 257u);
        EXPECT_EQ(little(34, 192, 4), last - 257);
        EXPECT_EQ(little(35, 216 + 24, 3), 0x030000u | each.revision);

        EXPECT_EQ(checkTag(64, 64, 118), 9u);
        EXPECT_EQ(checkTag(65, 65, 496), 8u);
        EXPECT_EQ(little(64, 40, 4), 19u);  // three entries below the root: 16 to 18
        EXPECT_EQ(little(64, 84, 4), last - 257);
        EXPECT_EQ(little(64, 88 + 32, 4), 1u);
        EXPECT_EQ(little(64, 88 + 36, 4), 3u);
        EXPECT_EQ(little(64, 88 + 40, 2), each.revision);

        for (const std::uint32_t sector : {256u, last}) {
            EXPECT_EQ(checkTag(sector, sector, 496), 2u);
            EXPECT_EQ(bytes.bytes(sector * kSector + 16, 16),
                      std::string("\0\x80\0\0\x20\0\0\0\0\x80\0\0\x30\0\0\0", 16));
        }
        EXPECT_EQ(checkTag(257, 0, 496), 256u);
        EXPECT_EQ(checkTag(258, 1, 496), 8u);
        if (each.hasIso) {
            EXPECT_EQ(readIso().size(), 4u);
        }
        EXPECT_EQ(readUdf().at("/c.txt").contents, std::string(5000, 'c'));
    }
}

TEST_F(UdfWriterTest, TreesKeepNamesAttributesAndSharedData) {
    const Text narrow = Text(250, u'n') + u".txt", wide = Text(127, u'\u3042');
    const std::pair<Text, Text> names[] = {
        {narrow, narrow},
        {Text(251, u'n') + u".txt", Text(248, u'n') + u"~0.txt"},
        {Text(248, u'n') + u"~1.txt", Text(248, u'n') + u"~1.txt"},
        {Text(252, u'n') + u".txt", Text(248, u'n') + u"~2.txt"},
        {wide, wide},
        {wide + u"x", Text(125, u'\u3042') + u"~0"},
        {u"\u00ff;\u00e4", u"\u00ff;\u00e4"},
    };
    for (const auto& [name, recorded] : names) file(*context_.root, name, ToUtf8(name));
    CompilationNode& special = file(*context_.root, u"special", "same");
    special.mode = 0106751;
    special.owner = 1000;
    special.group = 70000;
    special.date = 1'600'000'000;
    const MemorySource* shared = special.memory;
    CompilationNode& sub = folder(*context_.root, u"sub");
    file(sub, u"twin", "same").memory = shared;
    for (int number = 0; number < 300; ++number) folder(sub, FormatText(u"%03d", {number}));
    link(sub, u"absolute", u"/usr/../lib/./\u3042");
    link(sub, u"unrecordable", Text(128, u'\u3042'));
    ASSERT_EQ(write(), Status::Ok);

    auto tree = readUdf();
    EXPECT_EQ(tree.size(), std::size(names) + 1 + 1 + 1 + 300 + 1);
    for (const auto& [name, recorded] : names) EXPECT_EQ(tree["/" + ToUtf8(recorded)].contents, ToUtf8(name));
    const VolumeEntry& entry = tree["/special"].entry;
    EXPECT_EQ(entry.mode, 0106751u);
    EXPECT_EQ(entry.owner, 1000u);
    EXPECT_EQ(entry.group, 70000u);
    EXPECT_EQ(entry.date, 1'600'000'000);
    EXPECT_EQ(tree["/sub/twin"].contents, "same");
    EXPECT_EQ(tree["/sub/absolute"].entry.linkTarget, u"/usr/../lib/./\u3042");
    EXPECT_THAT(fake_.streams.output, HasSubstr("/sub/unrecordable was left out of UDF"));
    EXPECT_EQ(std::string(image_).find("same"), image_.rfind("same"));

    context_.rationalAttributes = true;
    context_.fixedDate = 1'500'000'000;
    ASSERT_EQ(write(), Status::Ok);
    const VolumeEntry rational = readUdf()["/special"].entry;
    EXPECT_EQ(rational.mode, 0100555u);
    EXPECT_EQ(rational.owner + rational.group, 0u);
    EXPECT_EQ(rational.date, 1'500'000'000);
}

TEST_F(UdfWriterTest, RunsDifferUnlessTheTimeIsFixed) {
    for (const bool isFixed : {false, true}) {
        if (isFixed) fake_.fakeSettings.put(u"TimeFixed", 1'234'567'890u);
        std::string images[2];
        for (std::string& image : images) {
            ImageBuildContext context;
            InitialiseCompilation(fake_.task, context);
            context.udfEnabled = true;
            ASSERT_EQ(write(context, image), Status::Ok);
        }
        EXPECT_EQ(images[0] == images[1], isFixed);
        if (isFixed) {
            EXPECT_EQ(images[0].substr(32 * kSector + 72, 17),
                      "\x08"
                      "499602D2499602D2");
        }
    }
}

/// Keeps the first sectors, and of files only that they were asked for.
struct HeadSink {
    std::string head;
    std::uint64_t sectorCount = 0;

    static std::uint32_t accept(void* self, std::uint32_t, std::span<const std::byte> sectors) {
        auto& sink = *static_cast<HeadSink*>(self);
        if (sink.head.size() < (1 << 20))
            for (const std::byte byte : sectors) sink.head += std::to_integer<char>(byte);
        sink.sectorCount += sectors.size() / kSector;
        return static_cast<std::uint32_t>(sectors.size() / kSector);
    }
    static std::uint64_t acceptFile(void* self, std::uint32_t, const FileRange& range, bool&) {
        static_cast<HeadSink*>(self)->sectorCount += (range.sizeBytes + kSector - 1) / kSector;
        return range.sizeBytes;
    }
};

TEST_F(UdfWriterTest, LargeFilesTakeSeveralExtentsAndLeaveIsoOut) {
    const TempFolder sources;
    constexpr std::uint64_t kSize = (5ull << 30) + 1, kPiece = (1u << 30) - kSector;
    std::filesystem::resize_file(sources.write("large", ""), kSize);
    source(*context_.root, sources / "large");
    HeadSink sink;
    ASSERT_EQ(WriteImage(fake_.task, context_, {&sink, HeadSink::accept, HeadSink::acceptFile}), Status::Ok);
    image_ = sink.head;
    const std::uint32_t entry = 257 + 2 + 1 + 1;  // behind the file set, the root's folder and its entry
    EXPECT_EQ(checkTag(entry, entry - 257, 160 + 6 * 8), 261u);
    EXPECT_EQ(little(entry, 56, 4), kSize & 0xFFFFFFFF);
    EXPECT_EQ(little(entry, 60, 4), kSize >> 32);
    std::uint64_t left = kSize;
    const std::uint32_t first = little(entry, 180, 4);
    for (std::uint32_t number = 0; number < 6; ++number) {
        EXPECT_EQ(little(entry, 176 + 8 * number, 4), std::min(left, kPiece));
        EXPECT_EQ(little(entry, 180 + 8 * number, 4), first + number * (kPiece / kSector));
        left -= std::min(left, kPiece);
    }
    EXPECT_EQ(sink.sectorCount, 257 + first + (kSize + kSector - 1) / kSector + 1);
    EXPECT_EQ(image_.find("LARGE"), image_.npos);  // of ISO 9660
}

}  // namespace

}  // namespace tovlark
