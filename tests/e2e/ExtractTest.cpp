#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>

#include "support/RunProgram.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

using testing::HasSubstr;

constexpr int kFailed = 255;

/// Images of others and of ours, listed and extracted.
class Extract : public testing::Test {
protected:
    ProgramEnd run(std::vector<std::string> arguments, std::string input = {}) {
        return RunProgram({.words = OurProgram("tvcmd", arguments),
                           .input = std::move(input),
                           .environment = {{"TZ", "UTC"}},
                           .folder = work_.path()});
    }
    std::string foreign(std::vector<std::string> words) {
        const ProgramEnd end = RunProgram({.words = std::move(words), .folder = work_.path()});
        EXPECT_EQ(end.status, 0) << end.output << end.errors;
        return end.output;
    }
    void makeTree() {
        work_.write("tree/a/x.txt", "hello");
        work_.write("tree/a/b/y", std::string(5'000'000, 'y'));
        work_.write("tree/empty", "");
        std::filesystem::create_directory_symlink("/etc", work_ / "tree/a/etc");
        foreign({"sh", "-c", "chmod 640 tree/a/x.txt; chmod 555 tree/a/b; find tree -exec touch -hd @1600000001 {} +"});
    }
    void makeImage(const std::string& writer) {
        foreign({"sh", "-c", writer + " -quiet -R -J -o x.iso tree 2>/dev/null"});
    }
    /// Replaces what is in the image, everywhere, by bytes of the same length.
    void patch(const std::string& from, const std::string& to) {
        std::ifstream in(work_ / "x.iso", std::ios::binary);
        std::string bytes{std::istreambuf_iterator<char>(in), {}};
        std::size_t count = 0;
        for (std::size_t at = bytes.find(from); at != std::string::npos; at = bytes.find(from, at + 1), ++count)
            bytes.replace(at, to.size(), to);
        EXPECT_GT(count, 0u);
        work_.write("x.iso", bytes);
    }
    std::string facts(const std::string& folder) {
        return foreign({"sh", "-c", "cd " + folder + " && find . -mindepth 1 -printf '%P %y %m %Ts %l\\n' | sort"});
    }

    TempFolder work_;
};

TEST_F(Extract, RestoresWhatWasRecorded) {
    if (TestingWindowsPrograms()) GTEST_SKIP() << "no POSIX modes and links there";
    makeTree();
    for (const std::string writer : {"xorriso -as mkisofs", "genisoimage"}) {
        makeImage(writer);
        const ProgramEnd end = run({"extract", "x.iso", "/", "-od", "new/out"});
        EXPECT_EQ(end.status, 0) << writer << end.output;
        foreign({"diff", "-r", "--no-dereference", "tree", "new/out"});
        EXPECT_EQ(facts("tree"), facts("new/out")) << writer;
        foreign({"sh", "-c", "chmod -R u+w new; rm -r new"});
    }
    EXPECT_EQ(run({"extract", "x.iso", "/a/x.txt", "-od", "one"}).status, 0);
    EXPECT_EQ(foreign({"find", "one", "-type", "f"}), "one/x.txt\n");
    const ProgramEnd gone = run({"extract", "x.iso", "/q", "-od", "one"});
    EXPECT_EQ(gone.status, kFailed);
    EXPECT_THAT(gone.output, HasSubstr("Cannot find the object: /q\r\n"));
}

TEST_F(Extract, ReadsEveryKindOfTree) {
    makeTree();
    foreign({"chmod", "-R", "u+w", "tree"});
    foreign({"rm", "tree/a/etc"});  // Joliet has no links
    const std::vector<std::string> ours = {"create", "-y", "-o", "x.iso", "-add", "tree/.", "/"};
    const std::vector<std::string> writers[] = {{"-udf", "on"}, {"-udf", "on", "-joliet", "0"}, {}, {}};
    std::string kind = "-J";
    for (const std::vector<std::string>& switches : writers) {
        if (switches.empty()) {
            foreign({"genisoimage", "-quiet", kind, "-o", "x.iso", "tree"});
            kind = "-udf";
        } else {
            std::vector<std::string> words = ours;
            words.insert(words.begin() + 4, switches.begin(), switches.end());
            ASSERT_EQ(run(words).status, 0);
        }
        EXPECT_EQ(run({"extract", "x.iso", "/", "-od", "out"}).status, 0);
        foreign({"diff", "-r", "tree", "out"});
        const auto dates = [&](const std::string& folder) {
            return foreign({"sh", "-c", "cd " + folder + " && find . -mindepth 1 -printf '%P %Ts\\n' | sort"});
        };
        EXPECT_EQ(dates("tree"), dates("out"));
        foreign({"sh", "-c", "chmod -R u+w out; rm -r out"});
    }
}

TEST_F(Extract, SavesWhatDamageLeaves) {
    makeTree();
    makeImage("genisoimage");
    // The data of the large file comes last but for the padding.
    std::filesystem::resize_file(work_ / "x.iso", std::filesystem::file_size(work_ / "x.iso") - 1'000'000);
    const ProgramEnd end = run({"extract", "x.iso", "/", "-od", "out"});
    EXPECT_EQ(end.status, kFailed);
    EXPECT_THAT(end.output, HasSubstr("\"y\" lies beyond the end of the image"));
    EXPECT_EQ(foreign({"cat", "out/a/x.txt"}), "hello");
    EXPECT_EQ(foreign({"find", "out", "-name", "y"}), "");
    EXPECT_THAT(end.output, HasSubstr("Not everything was extracted, errors: 1.\r\n"));
    EXPECT_THAT(end.output, testing::Not(HasSubstr("100%")));
}

TEST_F(Extract, EndsInAnImageThatContainsItself) {
    work_.write("tree/CYCLE/FILE", "once");
    foreign({"genisoimage", "-quiet", "-o", "x.iso", "tree"});
    std::ifstream in(work_ / "x.iso", std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(in), {}};
    // In the record of the folder: where its bytes are, 31 bytes before its name (ECMA-119 9.1), becomes the root's.
    constexpr std::size_t kRootRecord = 16 * 2048 + 156;
    const std::size_t root = 2048 * static_cast<std::size_t>(static_cast<unsigned char>(bytes[kRootRecord + 2]));
    const std::size_t name = bytes.find("CYCLE", root);
    ASSERT_LT(name, root + 2048);
    bytes.replace(name - 31, 8, bytes.substr(kRootRecord + 2, 8));
    work_.write("x.iso", bytes);
    EXPECT_EQ(run({"extract", "x.iso", "/", "-od", "out"}).status, kFailed);
    EXPECT_EQ(foreign({"find", "out", "-mindepth", "2"}), "");
}

TEST_F(Extract, ListsFoldersLineByLine) {
    makeTree();
    makeImage("genisoimage");
    EXPECT_THAT(run({"list", "x.iso", "/a", "-r"}).output, HasSubstr("Objects in /a:\r\n\r\n"
                                                                     "2020-09-13 12:26    <DIR>               b\r\n"
                                                                     "2020-09-13 12:26                     0  etc\r\n"
                                                                     "2020-09-13 12:26                     5  x.txt\r\n"
                                                                     "2 Files, 1 Folders  5 bytes\r\n\r\n"
                                                                     "Objects in /a/b:\r\n\r\n"
                                                                     "2020-09-13 12:26             5,000,000  y\r\n"
                                                                     "1 Files, 0 Folders  5,000,000 bytes\r\n\r\n"));
    EXPECT_THAT(run({"list", "x.iso", "/a/x.txt"}).output,
                AllOf(HasSubstr("The folder cannot be found!\r\n."), HasSubstr("x.iso has no folder /a/x.txt.")));
    if (!TestingWindowsPrograms()) {
        foreign({"mkfifo", "pipe"});
        EXPECT_THAT(run({"list", "pipe", "/"}).output, HasSubstr("It is neither a file nor a folder."));
    }
    work_.write("junk.iso", std::string(100'000, 'j'));
    EXPECT_THAT(run({"list", "junk.iso", "/"}).output, HasSubstr("ISO 9660"));
}

TEST_F(Extract, AsksBeforeItReplaces) {
    work_.write("tree/file", "new");
    makeImage("genisoimage");
    work_.write("out/file", "old");
    EXPECT_EQ(run({"extract", "x.iso", "/", "-od", "out"}, "no\n").status, 0);
    EXPECT_EQ(foreign({"cat", "out/file"}), "old");
    EXPECT_EQ(run({"extract", "x.iso", "/", "-od", "out", "-y"}).status, 0);
    EXPECT_EQ(foreign({"cat", "out/file"}), "new");
}

TEST_F(Extract, NeverLeavesTheOutputFolder) {
    work_.write("tree/s_sh", "slash");
    work_.write("tree/sub1/evil", "written through a link");
    std::filesystem::create_directory_symlink(work_ / "victim", work_ / "tree/sub2");
    std::filesystem::create_directory(work_ / "victim");
    makeImage("genisoimage");
    patch("s_sh", "s/sh");
    patch("sub2", "sub1");  // the link takes the name of the folder
    std::filesystem::create_directory(work_ / "out");
    const ProgramEnd end = run({"extract", "x.iso", "/", "-od", "out"});
    EXPECT_TRUE(std::filesystem::is_empty(work_ / "victim")) << end.output;
    EXPECT_EQ(foreign({"cat", "out/s_sh"}), "slash");
    EXPECT_EQ(foreign({"cat", "out/sub1/evil"}), "written through a link");

    // A link that is there already is not followed either.
    if (TestingWindowsPrograms()) return;  // the emulator shows a link of its host as what it leads to
    foreign({"sh", "-c", "rm -r out/sub1 && ln -s ../victim out/sub1"});
    EXPECT_EQ(run({"extract", "x.iso", "/", "-od", "out", "-y"}).status, kFailed);
    EXPECT_TRUE(std::filesystem::is_empty(work_ / "victim"));
}

}  // namespace
}  // namespace tovlark
