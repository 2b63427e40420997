#include <gmock/gmock.h>

#include "authoring/WriterFixture.h"

namespace tovlark {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ImageFileTest : public WriterFixture {
protected:
    Status create(const std::filesystem::path& path) { return CreateImageFile(fake_.task, context_, path.u16string()); }
    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(out_.path()))
            names.push_back(entry.path().filename().string());
        return names;
    }

    TempFolder out_;
};

TEST_F(ImageFileTest, LargeSourcesAreCopiedWholePaddedOrCut) {
    TempFolder sources;
    std::string large(3'000'001, '?');
    for (std::size_t index = 0; index < large.size(); ++index)
        large[index] = static_cast<char>(index * 2654435761u >> 24);
    for (const char* name : {"a", "b", "c"}) source(*context_.root, sources.write(name, large + name));
    file(*context_.root, u"d", "small");
    sources.write("b", large.substr(0, 1'500'000));
    sources.write("c", large + "c" + large);
    context_.optimisationEnabled = false;
    ASSERT_EQ(create(out_ / "x.iso"), Status::Ok);
    EXPECT_TRUE(fake_.flags.error);

    image_ = out_.read("x.iso");
    const IsoReader image(image_);
    const IsoReader::Tree tree = readIso();
    EXPECT_TRUE(image.contents(tree.at("/a")) == large + "a");
    EXPECT_TRUE(image.contents(tree.at("/b")) == large.substr(0, 1'500'000) + std::string(1'500'002, '\0'));
    EXPECT_TRUE(image.contents(tree.at("/c")) == large + "c");
    EXPECT_EQ(image.contents(tree.at("/d")), "small");
}

TEST_F(ImageFileTest, ExistingFileIsAskedAbout) {
    struct Case {
        const char* answer;
        Status status;
        bool isReplaced, isCancelled;
    };
    for (const Case& each : {Case{"Yes\n", Status::Ok, true, false}, Case{"n\n", Status::Failed, false, false},
                             Case{"Cancel\n", Status::Failed, false, true}}) {
        SCOPED_TRACE(each.answer);
        out_.write("x.iso", "old");
        fake_.flags.cancel = false;
        fake_.streams.input += each.answer;
        EXPECT_EQ(create(out_ / "x.iso"), each.status);
        EXPECT_EQ(out_.read("x.iso") != "old", each.isReplaced);
        EXPECT_EQ(fake_.flags.cancel, each.isCancelled);
        EXPECT_THAT(names(), ElementsAre("x.iso"));
    }
    EXPECT_THAT(fake_.streams.output, HasSubstr("x.iso was not made: the file that exists is kept."));
}

TEST_F(ImageFileTest, PlacesThatCannotBeWrittenAreNamed) {
    std::filesystem::create_directory(out_ / "folder");
    struct Case {
        const char* path;
        const char* words;
    };
    for (const Case& each : {Case{"folder", "folder cannot be written: it is a folder."},
                             Case{"missing/x.iso", "x.iso cannot be written: "}}) {
        fake_.flags.error = false;
        EXPECT_EQ(create(out_ / each.path), Status::Failed);
        EXPECT_THAT(fake_.streams.output, HasSubstr(each.words));
        EXPECT_TRUE(fake_.flags.error);
    }
    EXPECT_THAT(names(), ElementsAre("folder"));
}

TEST_F(ImageFileTest, FailedBuildLeavesTheOldFile) {
    out_.write("x.iso", "old");
    fake_.streams.input = "y\n";
    context_.isoEnabled = false;
    EXPECT_EQ(create(out_ / "x.iso"), Status::Failed);
    EXPECT_EQ(out_.read("x.iso"), "old");
    EXPECT_THAT(names(), ElementsAre("x.iso"));
    EXPECT_THAT(fake_.streams.output, HasSubstr("neither ISO 9660 nor UDF is on"));
}

TEST_F(ImageFileTest, OutputIsLeftOutOfItsOwnImage) {
    out_.write("x.iso", "an older image");
    out_.write("y", "another file !");
    for (const char* name : {"x.iso", "y"}) source(*context_.root, out_ / name);
    fake_.streams.input = "y\n";
    ASSERT_EQ(create(out_ / "x.iso"), Status::Ok);
    image_ = out_.read("x.iso");
    const IsoReader::Tree tree = readIso();
    EXPECT_EQ(tree.count("/x.iso"), 0u);
    EXPECT_EQ(tree.count("/y"), 1u);
    EXPECT_NE(fake_.streams.output.find("left out of its own image: /x.iso"), std::string::npos);
    EXPECT_FALSE(fake_.flags.error);
    EXPECT_NE(fake_.streams.output.find("left out of its own image: /x.iso\r\n"), std::string::npos);
}

}  // namespace

}  // namespace tovlark
