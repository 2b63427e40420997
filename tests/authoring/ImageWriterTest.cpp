#include <algorithm>
#include <gmock/gmock.h>

#include "authoring/ImageWriter.h"
#include "authoring/WriterFixture.h"

namespace tovlark {

namespace {

using testing::HasSubstr;

class ImageWriterTest : public WriterFixture {};

std::string Spaces(std::size_t count) { return std::string(count, ' '); }

std::string Wide(std::string_view text, std::size_t units) {
    std::string bytes;
    for (std::size_t index = 0; index < units; ++index) bytes += {'\0', index < text.size() ? text[index] : ' '};
    return bytes;
}

TEST_F(ImageWriterTest, DescriptorsStandWhereAndAsTheStandardSays) {
    fake_.fakeClock.offsetSeconds = 2 * 3600;
    context_.labelSet = true;
    context_.volumeFields[0] = u"My disc with a label that is longer than the field";
    context_.volumeFields[3] = u"A publisher";
    context_.volumeFields[6] = u"COPYING.TXT";
    context_.volumeDates[1] = 1'700'000'000;
    context_.root->date = 1'600'000'000;
    file(*context_.root, u"a.txt", "hello");
    ASSERT_EQ(write(), Status::Ok);
    const IsoReader image(image_);

    EXPECT_EQ(image.bytes(0, 32768), std::string(32768, '\0'));
    EXPECT_EQ(image.bytes(32768, 8), std::string("\1CD001\1\0", 8));
    EXPECT_EQ(image.bytes(32768 + 8, 32), "Win32" + Spaces(27));
    EXPECT_EQ(image.bytes(32768 + 40, 32), "My disc with a label that is lon");
    EXPECT_EQ(image.both(32768 + 80, 4), image_.size() / 2048);
    EXPECT_EQ(image.both(32768 + 120, 2), 1u);
    EXPECT_EQ(image.both(32768 + 124, 2), 1u);
    EXPECT_EQ(image.both(32768 + 128, 2), 2048u);
    EXPECT_EQ(image.both(32768 + 132, 4), 10u);
    EXPECT_EQ(image.little(32768 + 140, 4), 20u);  // behind descriptors and marker
    EXPECT_EQ(image.little(32768 + 144, 4), 0u);
    EXPECT_EQ(image.big(32768 + 148, 4), 21u);
    EXPECT_EQ(image.u8(32768 + 156), 34u);
    EXPECT_EQ(image.both(32768 + 156 + 2, 4), 24u);  // behind two pairs of path tables
    EXPECT_EQ(image.bytes(32768 + 156 + 18, 7), std::string("\x78\x09\x0D\x0E\x1A\x28\x08", 7));
    EXPECT_EQ(image.bytes(32768 + 318, 128), "A publisher" + Spaces(117));
    EXPECT_EQ(image.bytes(32768 + 574, 128), "Tovlark" + Spaces(121));
    EXPECT_EQ(image.bytes(32768 + 702, 37), "COPYING.TXT" + Spaces(26));
    EXPECT_EQ(image.bytes(32768 + 813, 17), std::string(16, '0') + '\0');
    EXPECT_EQ(image.bytes(32768 + 830, 17), "2023111500132000\x08");
    EXPECT_EQ(image.bytes(32768 + 864, 17), std::string(16, '0') + '\0');
    EXPECT_EQ(image.bytes(32768 + 881, 1167), '\1' + std::string(1166, '\0'));

    EXPECT_EQ(image.bytes(34816, 8), std::string("\2CD001\1\0", 8));
    EXPECT_EQ(image.bytes(34816 + 8, 32), Wide("Win32", 16));
    EXPECT_EQ(image.bytes(34816 + 40, 32), Wide("My disc with a l", 16));
    EXPECT_EQ(image.bytes(34816 + 88, 4), std::string("%/E\0", 4));
    EXPECT_EQ(image.little(34816 + 140, 4), 22u);
    EXPECT_EQ(image.bytes(34816 + 702, 37), Wide("COPYING.TXT", 18) + " ");

    EXPECT_EQ(image.bytes(36864, 2048),
              "\xFF"
              "CD001\1" +
                  std::string(2041, '\0'));
    EXPECT_EQ(image.bytes(38912, 2048), "TOVLARK  " + std::string(2039, '\0'));
}

TEST_F(ImageWriterTest, TextFieldsAreCutBetweenCharacters) {
    context_.codePage = CodePage(932);
    context_.labelSet = true;
    context_.volumeFields[0] = u"x" + Text(20, u'\u3042');  // two bytes each
    context_.volumeFields[1] =
        u"123456789012345"
        u"\U0001F600";
    ASSERT_EQ(write(), Status::Ok);
    const IsoReader image(image_);
    std::string label = "x";
    for (int count = 0; count < 15; ++count) label += "\x82\xA0";
    EXPECT_EQ(image.bytes(32768 + 40, 32), label + " ");
    EXPECT_EQ(image.bytes(32768 + 8, 32), "123456789012345_" + Spaces(16));
    EXPECT_EQ(image.bytes(34816 + 8, 32), Wide("123456789012345", 16));
}

TEST_F(ImageWriterTest, RecordThatWouldEndWithItsSectorMoves) {
    context_.rockRidge = RockRidgeChoice::Off;
    // 44 bytes each: behind "." and ".." the 45th would end at byte 2048.
    struct Case {
        std::uint32_t fileCount, sizeBytes, inFirstSector;
    };
    for (const Case& expected : {Case{44, 2048, 44}, Case{45, 4096, 44}, Case{90, 4096, 44}, Case{91, 6144, 44}}) {
        SCOPED_TRACE(expected.fileCount);
        ImageBuildContext context;
        InitialiseCompilation(fake_.task, context);
        context.rockRidge = RockRidgeChoice::Off;
        context.jolietEnabled = false;
        for (std::uint32_t number = 0; number < expected.fileCount; ++number)
            context.newNode(NodeKind::File, *context.root, FormatText(u"FILE%03u.TXT", {number}));
        std::string image;
        ASSERT_EQ(write(context, image), Status::Ok);
        IsoReader reader(image);
        const IsoReader::Tree tree = reader.read(16, false);
        EXPECT_EQ(tree.at("").size, expected.sizeBytes);
        EXPECT_EQ(tree.size(), expected.fileCount + 1);
        std::uint32_t count = 0;
        for (std::uint64_t at = tree.at("").extent * 2048ull; reader.u8(at) != 0; at += reader.u8(at)) ++count;
        EXPECT_EQ(count, expected.inFirstSector + 2);
    }
}

TEST_F(ImageWriterTest, RockRidgeKeepsNamesModesAndLinks) {
    // Continuations of 60 such names take several sectors.
    for (int number = 0; number < 60; ++number) {
        CompilationNode& node = file(*context_.root, FormatText(u"%02d", {number}) + Text(253, u'\u3042'), "x");
        node.mode = 0100640 + number % 8;
        node.owner = 1000;
        node.group = 70000;
        node.links = 3;
    }
    CompilationNode& sub = folder(*context_.root, u"sub folder");
    folder(sub, u"inner");
    sub.mode = 0041777;
    const Text longTarget = u"/" + Text(300, u'x') + u"/../" + Text(252, u'y') + u"/./z";
    link(sub, u"link", longTarget);
    link(sub, u"short", u"../a");
    ASSERT_EQ(write(), Status::Ok);

    const IsoReader::Tree tree = readIso();
    EXPECT_EQ(tree.size(), 65u);
    std::string wide;
    for (int count = 0; count < 253; ++count) wide += "\xE3\x81\x82";
    for (int number = 0; number < 60; ++number) {
        const auto found = tree.find("/" + ToUtf8(FormatText(u"%02d", {number})) + wide);
        ASSERT_NE(found, tree.end()) << number;
        EXPECT_EQ(found->second.mode, 0100640u + number % 8);
        EXPECT_EQ(found->second.owner, 1000u);
        EXPECT_EQ(found->second.group, 70000u);
        EXPECT_EQ(found->second.links, 3u);
    }
    EXPECT_EQ(tree.at("/sub folder").mode, 0041777u);
    EXPECT_EQ(tree.at("/sub folder").links, 3u);
    EXPECT_EQ(tree.at("/sub folder/link").target, ToUtf8(longTarget));
    EXPECT_EQ(tree.at("/sub folder/link").size, 0u);
    EXPECT_EQ(tree.at("/sub folder/link").mode, 0120777u);
    EXPECT_EQ(tree.at("/sub folder/short").target, "../a");
    EXPECT_EQ(readJoliet().count("/sub folder/link"), 0u);

    // The root's first record: the area begins right behind the identifier, and leads to the ER entry.
    const IsoReader image(image_);
    const std::uint64_t root = tree.at("").extent * 2048ull;
    EXPECT_EQ(image.bytes(root + 34, 7), std::string("SP\7\1\xBE\xEF\0", 7));
    EXPECT_THAT(image_, HasSubstr("RRIP_1991ATHE ROCK RIDGE INTERCHANGE PROTOCOL"));
}

TEST_F(ImageWriterTest, RationalAttributesSuitEveryone) {
    context_.rationalAttributes = true;
    struct Case {
        TextView name;
        std::uint32_t mode, expected;
    };
    const Case cases[] = {{u"private", 0100600, 0100444}, {u"program", 0104710, 0100555}};
    for (const Case& each : cases) {
        CompilationNode& node = file(*context_.root, each.name, "x");
        node.mode = each.mode;
        node.owner = node.group = 7;
    }
    folder(*context_.root, u"folder").mode = 0040700;
    ASSERT_EQ(write(), Status::Ok);
    const IsoReader::Tree tree = readIso();
    for (const Case& each : cases) EXPECT_EQ(tree.at("/" + ToUtf8(each.name)).mode, each.expected);
    EXPECT_EQ(tree.at("/folder").mode, 0040555u);
    EXPECT_EQ(tree.at("/program").owner + tree.at("/program").group, 0u);
}

TEST_F(ImageWriterTest, DatesFollowTheNodeAndStayInTheirRange) {
    struct Case {
        TextView name;
        UnixSeconds date;
        std::string expected;
    };
    const Case cases[] = {
        {u"own", 1'600'000'000, std::string("\x78\x09\x0D\x0B\x1A\x28\xFC", 7)},
        {u"none", kNoDate, std::string("\x7B\x0B\x0E\x15\x0D\x14\xFC", 7)},
        {u"past", -10'000'000'000, std::string("\x00\x01\x01\x00\x00\x00\xFC", 7)},
        {u"future", 10'000'000'000, std::string("\xFF\x0C\x1F\x17\x3B\x3B\xFC", 7)},
    };
    fake_.fakeClock.offsetSeconds = -3600;
    for (const Case& each : cases) file(*context_.root, each.name, "x").date = each.date;
    ASSERT_EQ(write(), Status::Ok);
    for (const Case& each : cases) {
        const IsoReader::Entry entry = readIso().at("/" + ToUtf8(each.name));
        EXPECT_EQ(entry.date, each.expected) << ToUtf8(each.name);
        EXPECT_EQ(entry.posixDate, each.expected) << ToUtf8(each.name);
    }
    context_.fixedDate = 1'600'000'000;
    ASSERT_EQ(write(), Status::Ok);
    EXPECT_EQ(readIso().at("/future").date, cases[0].expected);
}

TEST_F(ImageWriterTest, LargeTreesHoldTogether) {
    CompilationNode* deep = context_.root;
    for (int level = 0; level < 300; ++level) deep = &folder(*deep, u"level");
    file(*deep, u"bottom.txt", "deep");
    CompilationNode& wide = folder(*context_.root, u"wide");
    for (int number = 0; number < 5000; ++number)
        file(wide, FormatText(u"file number %d.text", {number}), ToUtf8(FormatText(u"%d", {number})));
    CompilationNode& many = folder(*context_.root, u"many");
    for (int number = 0; number < 700; ++number) folder(many, FormatText(u"a.folder %d", {number}));
    ASSERT_EQ(write(), Status::Ok);

    const IsoReader image(image_);
    EXPECT_GT(image.both(32768 + 132, 4), 4 * 2048u);  // the path table takes several sectors
    for (const IsoReader::Tree& tree : {readIso(), readJoliet()}) {
        EXPECT_EQ(tree.size(), 1u + 300 + 1 + 1 + 5000 + 1 + 700);
        std::string path;
        for (int level = 0; level < 300; ++level) path += "/level";
        EXPECT_EQ(image.contents(tree.at(path + "/bottom.txt")), "deep");
        EXPECT_EQ(image.contents(tree.at("/wide/file number 4711.text")), "4711");
    }
    EXPECT_EQ(readIso().at("/many").links, 702u);
}

TEST_F(ImageWriterTest, FileDataStandInOrderAndOnce) {
    CompilationNode& sub = folder(*context_.root, u"a folder");
    const std::string twin(5000, 't');
    file(sub, u"twin", twin);
    const MemorySource* shared = sub.folder->children[0]->memory;
    CompilationNode& other = file(*context_.root, u"z twin", twin);
    other.memory = shared;
    file(*context_.root, u"m", "m");
    file(*context_.root, u"empty", "");
    CompilationNode& first = file(sub, u"first", "1");
    context_.priority = {&first};
    ASSERT_EQ(write(), Status::Ok);

    const IsoReader image(image_);
    const IsoReader::Tree tree = readIso();
    const std::uint32_t begin = tree.at("/a folder/first").extent;
    EXPECT_EQ(tree.at("/m").extent, begin + 1);  // a folder's files before its subfolders'
    EXPECT_EQ(tree.at("/z twin").extent, begin + 2);
    EXPECT_EQ(tree.at("/a folder/twin").extent, begin + 2);
    EXPECT_EQ(tree.at("/empty").extent, 0u);
    EXPECT_EQ(image.sectors(), begin + 5);
    EXPECT_EQ(image.contents(tree.at("/a folder/twin")), twin);
    EXPECT_EQ(readJoliet().at("/m").extent, begin + 1);
}

TEST_F(ImageWriterTest, OrderOfAddingDoesNotMatter) {
    const Text names[] = {u"one.txt", u"Two", u"two.", u"THREE THREE THREE.html", u"three three three.html",
                          u"\u00e4",  u"9"};
    std::string images[2];
    for (int run = 0; run < 2; ++run) {
        ImageBuildContext context;
        InitialiseCompilation(fake_.task, context);
        std::vector<Text> order(std::begin(names), std::end(names));
        if (run == 1) std::reverse(order.begin(), order.end());
        CompilationNode& sub = context.newNode(NodeKind::Folder, *context.root, u"sub");
        for (CompilationNode* parent : {context.root, &sub})
            for (const Text& name : order) {
                CompilationNode& node = context.newNode(NodeKind::File, *parent, name);
                const std::string& kept = contents_.emplace_back(ToUtf8(name));
                node.sizeBytes = kept.size();
                node.memory = &memory_.emplace_back(MemorySource{&kept, std::as_bytes(std::span(kept))});
            }
        ASSERT_EQ(write(context, images[run]), Status::Ok);
    }
    EXPECT_TRUE(images[0] == images[1]);
}

TEST_F(ImageWriterTest, RefusesWhatDoesNotFitBeforeWriting) {
    {
        SCOPED_TRACE("65,536 folders with the root");
        CompilationNode& crowd = folder(*context_.root, u"crowd");
        context_.jolietEnabled = false;
        for (int number = 0; number < 65534; ++number) folder(crowd, FormatText(u"%d", {number}));
        EXPECT_EQ(write(), Status::Failed);
        EXPECT_EQ(context_.error, BuildError::TooManyFolders);
    }
    {
        SCOPED_TRACE("more than 2^32 sectors");
        ImageBuildContext context;
        InitialiseCompilation(fake_.task, context);
        context.optimisationEnabled = false;
        for (int number = 0; number < 2049; ++number)
            context.newNode(NodeKind::File, *context.root, FormatText(u"%d", {number})).sizeBytes = 0xFFFFFFFF;
        EXPECT_EQ(write(context, image_), Status::Failed);
        EXPECT_EQ(context.error, BuildError::TooLarge);
    }
    EXPECT_EQ(acceptCount_, 0u);
}

TEST_F(ImageWriterTest, StopsAtTheFirstFailureAndOnCancel) {
    file(*context_.root, u"big", std::string(5 << 20, 'b'));
    beforeAccept_ = [this] { return acceptCount_ < 3; };
    EXPECT_EQ(write(), Status::Failed);
    EXPECT_EQ(context_.error, BuildError::WriteFailed);
    EXPECT_EQ(acceptCount_, 3u);
    context_.systemError = {0x1C};
    ReportBuildError(fake_.task, context_);
    EXPECT_THAT(fake_.streams.output, HasSubstr("Error writing data. (9-0000001c)\r\n"));
    EXPECT_TRUE(fake_.flags.error);

    context_.error = BuildError::None;
    acceptCount_ = 0;
    beforeAccept_ = [this] { return fake_.flags.cancel = true; };
    EXPECT_EQ(write(), Status::Failed);
    EXPECT_EQ(context_.error, BuildError::Cancelled);
    EXPECT_EQ(acceptCount_, 1u);
}

/// A hundred files of 0 to 99,000 bytes: some megabytes, more than is read ahead at once.
class ManySourcesTest : public ImageWriterTest {
protected:
    ManySourcesTest() {
        for (int number = 0; number < 100; ++number)
            source(*context_.root, sources_.write(nameOf(number), contentsOf(number)));
        context_.optimisationEnabled = false;
    }
    static std::string nameOf(int number) { return ToUtf8(FormatText(u"file %02d", {number})); }
    static std::string contentsOf(int number) {
        return std::string(static_cast<std::size_t>(number) * 1000, static_cast<char>(number));
    }

    TempFolder sources_;
};

TEST_F(ManySourcesTest, StandWhereTheirRecordsSayAndAreReportedInTurn) {
    const std::string big(700'000, 'b');
    source(*context_.root, sources_.write("file 50 big", big));
    file(*context_.root, u"file 60 memory", "memory");
    std::filesystem::remove(sources_ / nameOf(40));
    std::filesystem::resize_file(sources_ / nameOf(64), 64'001);
    std::filesystem::resize_file(sources_ / nameOf(90), 123);
    ASSERT_EQ(write(), Status::Ok);

    const IsoReader image(image_);
    const IsoReader::Tree tree = readIso();
    EXPECT_EQ(tree.size(), 103u);
    for (int number = 0; number < 100; ++number) {
        std::string expected = contentsOf(number);
        if (number == 40) expected.assign(expected.size(), '\0');
        if (number == 90) expected.replace(123, expected.npos, std::string(expected.size() - 123, '\0'));
        EXPECT_TRUE(image.contents(tree.at("/" + nameOf(number))) == expected) << number;
    }
    EXPECT_TRUE(image.contents(tree.at("/file 50 big")) == big);
    EXPECT_EQ(image.contents(tree.at("/file 60 memory")), "memory");
    std::vector<std::string> told;
    for (const MessageLog::Line& line : fake_.log.lines())
        if (line.text.find(u"file ") != line.text.npos && line.text.find(u" -> ") == line.text.npos)
            told.push_back(ToUtf8(line.text));
    ASSERT_EQ(told.size(), 3u);
    const char* reports[] = {"file 40 cannot be read from byte 0 of 40000",
                             "file 64 became longer than the 64000 bytes", "file 90 ended early, at byte 123 of 90000"};
    for (std::size_t line = 0; line < 3; ++line) EXPECT_THAT(told[line], HasSubstr(reports[line]));
}

TEST_F(ManySourcesTest, AreLeftAloneAfterAFailureOrCancel) {
    struct Case {
        bool isCancelled;
        std::uint32_t acceptCount;
    };
    for (const Case& each : {Case{false, 1}, Case{false, 4}, Case{true, 1}, Case{true, 4}}) {
        context_.error = BuildError::None;
        fake_.flags.cancel = false;
        acceptCount_ = 0;
        beforeAccept_ = [&] {
            if (acceptCount_ < each.acceptCount) return true;
            fake_.flags.cancel = each.isCancelled;
            return each.isCancelled;
        };
        EXPECT_EQ(write(), Status::Failed);
        EXPECT_EQ(context_.error, each.isCancelled ? BuildError::Cancelled : BuildError::WriteFailed);
        EXPECT_EQ(acceptCount_, each.acceptCount);
    }
}

TEST_F(ImageWriterTest, SourcesThatChangeArePaddedOrCut) {
    TempFolder folder;
    const std::string contents(3000, 's');
    for (const char* name : {"a gone", "b short", "c long", "d same"})
        source(*context_.root, folder.write(name, contents + name));
    file(*context_.root, u"z", "z");
    std::filesystem::remove(folder / "a gone");
    folder.write("b short", "only this");
    folder.write("c long", contents + "c long" + contents);
    context_.optimisationEnabled = false;
    ASSERT_EQ(write(), Status::Ok);

    const IsoReader image(image_);
    const IsoReader::Tree tree = readIso();
    EXPECT_EQ(image.contents(tree.at("/a gone")), std::string(3006, '\0'));
    EXPECT_EQ(image.contents(tree.at("/b short")), "only this" + std::string(2998, '\0'));
    EXPECT_EQ(image.contents(tree.at("/c long")), contents + "c long");
    EXPECT_EQ(image.contents(tree.at("/d same")), contents + "d same");
    EXPECT_EQ(image.contents(tree.at("/z")), "z");
    EXPECT_TRUE(fake_.flags.error);
    for (const char* words : {"a gone cannot be read from byte 0 of 3006", "b short ended early, at byte 9 of 3007",
                              "c long became longer than the 3006 bytes"})
        EXPECT_THAT(fake_.streams.output, HasSubstr(words));
    EXPECT_EQ(fake_.log.lines().size(), 3u);
}

}  // namespace

}  // namespace tovlark
