#include <filesystem>
#include <gtest/gtest.h>

#include "readers/ExtractImage.h"
#include "support/FakeSession.h"
#include "support/RunProgram.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

/// Raises the cancel flag as soon as the console shows a percentage of work that goes on.
struct CancellingStreams {
    Flags flags;
    std::string output;

    ConsoleStreams streams() {
        return {this,
                [](void* self, std::string_view bytes) {
                    auto& fake = *static_cast<CancellingStreams*>(self);
                    fake.output += bytes;
                    const std::size_t percent = fake.output.rfind('%');
                    if (percent != std::string::npos && fake.output[percent - 1] != '0') fake.flags.cancel = true;
                    return true;
                },
                [](void*) { return -1; }, [](void*) {}};
    }
};

TEST(ExtractImage, CancelledMidwayLeavesWholeFilesOnly) {
    const TempFolder folder;
    folder.write("tree/a/first", "whole");
    std::filesystem::resize_file(folder.write("tree/b/large", ""), 100u << 20);
    folder.write("tree/c/last", "never reached");
    ASSERT_EQ(
        RunProgram({.words = {"genisoimage", "-quiet", "-R", "-o", "x.iso", "tree"}, .folder = folder.path()}).status,
        0);
    CancellingStreams streams;
    FakeSession fake;
    ConsoleSession session{streams.streams(), fake.texts, fake.clock, streams.flags};
    Task task{session, fake.settings, fake.log, fake.clock, streams.flags};
    const ExtractRequest request{
        .image = (folder / "x.iso").u16string(), .innerPath = u"/", .outputFolder = (folder / "out").u16string()};
    EXPECT_EQ(ExtractImage(task, request), Status::Failed);
    EXPECT_TRUE(streams.flags.cancel) << streams.output;
    EXPECT_EQ(streams.output.find("done."), std::string::npos) << streams.output;
    EXPECT_EQ(folder.read("out/a/first"), "whole");
    std::size_t fileCount = 0;
    for (const auto& item : std::filesystem::recursive_directory_iterator(folder / "out"))
        fileCount += item.is_regular_file() ? 1 : 0;
    EXPECT_EQ(fileCount, 1u) << "a half-written file, or one under a temporary name";
}

}  // namespace
}  // namespace tovlark
