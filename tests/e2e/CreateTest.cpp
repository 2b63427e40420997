#include <algorithm>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "support/RunProgram.h"
#include "support/TempFolder.h"

namespace tovlark {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr int kFailed = 255, kCancelled = 254;

/// The output of a program that must succeed.
std::string RunForeign(std::vector<std::string> words, const std::filesystem::path& folder = {}) {
    const std::string name = words[0];
    const ProgramEnd end =
        RunProgram({.words = std::move(words), .environment = {{"LC_ALL", "C.UTF-8"}}, .folder = folder});
    EXPECT_EQ(end.status, 0) << name << ": " << end.output << end.errors;
    return end.output;
}

/// Images of real folders, judged by programs of others.
class Create : public testing::Test {
protected:
    ProgramEnd create(std::vector<std::string> arguments, std::string input = {}) {
        arguments.insert(arguments.begin(), "create");
        return RunProgram({.words = OurProgram("tvcmd", arguments),
                           .input = std::move(input),
                           .environment = {{"XDG_CONFIG_HOME", settings_.path()}},
                           .folder = out_.path()});
    }
    std::string tree() const { return tree_.path().string(); }
    std::string image() const { return (out_ / "x.iso").string(); }
    std::vector<std::string> made() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(out_.path()))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    /// Names and sizes at the edges of sectors, buffers and fields.
    void fillTree() {
        std::string contents;
        for (std::uint32_t index = 0; index < (3u << 20) + 5; ++index)
            contents += static_cast<char>(index * 2654435761u >> 24);
        for (const std::size_t size : {0u, 1u, 2047u, 2048u, 2049u, (1u << 20) - 1, (1u << 20) + 1, (3u << 20) + 5})
            tree_.write("sizes/file of " + std::to_string(size), contents.substr(contents.size() - size));
        tree_.write("A name with spaces, \xC3\xA4\xC3\xB6\xC3\xBC and \xE6\x97\xA5\xE6\x9C\xAC.html", "names");
        tree_.write("same/one.bin", contents);
        tree_.write("same/two.bin", contents);
        tree_.write(std::string(120, 'n') + ".text", "cut in Joliet only");
        for (int number = 0; number < 300; ++number)
            tree_.write("many/file number " + std::to_string(number) + ".text", std::to_string(number));
        std::string deep = "deep";
        for (int level = 0; level < 20; ++level) deep += "/level" + std::to_string(level);
        tree_.write(deep + "/bottom", "deep");
        std::filesystem::create_directory(tree_ / "empty folder");
        ::chmod((tree_ / "same/one.bin").c_str(), 04755);
        ::chmod((tree_ / "same/two.bin").c_str(), 0600);
        ::chmod((tree_ / "empty folder").c_str(), 0700);
        RunForeign({"find", tree(), "-exec", "touch", "-d", "@1600000001", "{}", "+"});
    }
    /// A file that lists names, kinds, modes and dates below a folder.
    std::string facts(const std::filesystem::path& folder) {
        const std::string listing =
            RunForeign({"sh", "-c", "find . -mindepth 1 -printf '%P %y %m %Ts\\n' | sort"}, folder);
        return work_.write("facts " + folder.filename().string(), listing).string();
    }
    std::filesystem::path extracted(const std::string& name) {
        std::filesystem::create_directory(work_ / name);
        return work_ / name;
    }

    TempFolder tree_, out_, work_, settings_;
};

TEST_F(Create, OthersReadBackWhatWasAdded) {
    fillTree();
    const ProgramEnd end = create({"-o", image(), "-add", tree() + "/.", "/", "-label", "Proof"});
    ASSERT_EQ(end.status, 0) << end.output << end.errors;
    const std::filesystem::path rockRidge = extracted("rock ridge");
    RunForeign({"bsdtar", "-xpf", image(), "-C", rockRidge});
    RunForeign({"diff", "-r", tree(), rockRidge});

    const std::filesystem::path byXorriso = extracted("xorriso");
    RunForeign({"xorriso", "-osirrox", "on", "-indev", image(), "-extract", "/", byXorriso});
    RunForeign({"diff", "-r", tree(), byXorriso});
    if (!TestingWindowsPrograms()) RunForeign({"diff", facts(byXorriso), facts(tree_.path())});

    // Only Joliet cuts the long name.
    const std::filesystem::path joliet = extracted("joliet");
    RunForeign({"bsdtar", "-xf", image(), "-C", joliet, "--options", "iso9660:!rockridge"});
    const std::string cut = std::string(57, 'n') + "~0.text", whole = std::string(120, 'n') + ".text";
    ASSERT_TRUE(std::filesystem::exists(joliet / cut));
    std::filesystem::rename(joliet / cut, joliet / whole);
    RunForeign({"diff", "-r", tree(), joliet});

    const std::filesystem::path plain = extracted("plain");
    RunForeign({"bsdtar", "-xf", image(), "-C", plain, "--options", "iso9660:!rockridge,iso9660:!joliet"});
    EXPECT_EQ(RunForeign({"sh", "-c", "find . -type f -exec md5sum {} + | cut -c-32 | sort"}, plain),
              RunForeign({"sh", "-c", "find . -type f -exec md5sum {} + | cut -c-32 | sort"}, tree_.path()));

    EXPECT_THAT(RunForeign({"7z", "t", image()}), HasSubstr("Everything is Ok"));
    EXPECT_THAT(RunForeign({"isovfy", image()}), HasSubstr("No errors found"));
    const std::string descriptor = RunForeign({"isoinfo", "-d", "-i", image()});
    for (const char* line : {"Volume id: Proof\n", "Joliet with UCS level 3 found", "Rock Ridge signatures version 1"})
        EXPECT_THAT(descriptor, HasSubstr(line));
    // The twins' data are stored once.
    EXPECT_LT(std::filesystem::file_size(image()), 9u << 20);
}

TEST_F(Create, UdfStandsBesideIsoAndHoldsTheSameFiles) {
    fillTree();
    ASSERT_EQ(create({"-o", image(), "-add", tree() + "/.", "/", "-label", "Bridge", "-udf", "on"}).status, 0);
    const std::filesystem::path udf = extracted("udf"), rockRidge = extracted("rock ridge");
    RunForeign({"7z", "x", "-tudf", "-o" + udf.string(), image()});
    RunForeign({"diff", "-r", tree(), udf});
    RunForeign({"bsdtar", "-xpf", image(), "-C", rockRidge});
    RunForeign({"diff", "-r", tree(), rockRidge});
    EXPECT_THAT(RunForeign({"isovfy", image()}), HasSubstr("No errors found"));
    const std::string last = std::to_string(std::filesystem::file_size(image()) / 2048 - 1);
    const std::string information = RunForeign({"udfinfo", image()});
    for (const std::string& line :
         {std::string("lvid=Bridge\n"), std::string("numfiles=313\nnumdirs=26\nudfrev=1.02\n"),
          std::string("start=32, blocks=16, type=MVDS\nstart=48, blocks=16, type=RVDS\n"),
          "start=" + last + ", blocks=1, type=ANCHOR"})
        EXPECT_THAT(information, HasSubstr(line));
    EXPECT_LT(std::filesystem::file_size(image()), 10u << 20);
}

TEST_F(Create, ImplantedChecksumIsWhatCheckersWant) {
    if (TestingWindowsPrograms()) GTEST_SKIP() << "settings belong to the system there";
    settings_.write("tovlark/tovlark.ini", "[Settings]\nImplantChecksum=1\n");
    fillTree();
    const auto isIntact = [this] {
        return RunProgram({.words = {"checkisomd5", image()}, .environment = {{"LC_ALL", "C"}}}).status == 0;
    };
    const auto area = [this] {
        const std::string text = out_.read("x.iso").substr(33'651, 512);
        return text.substr(0, text.find_last_not_of("; ") + 1);
    };
    for (const char* udf : {"off", "on"}) {
        ASSERT_EQ(create({"-y", "-o", image(), "-add", tree() + "/.", "/", "-udf", udf}).status, 0);
        EXPECT_TRUE(isIntact());
        const std::string ours = area();
        EXPECT_THAT(ours, HasSubstr("RHLISOSTATUS=0;FRAGMENT SUMS = "));
        RunForeign({"implantisomd5", "--force", image()});
        EXPECT_EQ(area(), ours);
        EXPECT_TRUE(isIntact());
    }
    std::string bytes = out_.read("x.iso");
    bytes[bytes.size() / 2] ^= 1;
    out_.write("x.iso", bytes);
    EXPECT_FALSE(isIntact());
}

TEST_F(Create, FileSystemSwitchesChooseTheTrees) {
    tree_.write("folder/a long name, not cut.html", "1");
    ASSERT_EQ(create({"-y", "-o", image(), "-joliet", "0", "-iso-name-len", "30", "-add", tree() + "/.", "/"}).status,
              0);
    const std::string descriptor = RunForeign({"isoinfo", "-d", "-i", image()});
    EXPECT_THAT(descriptor, HasSubstr("NO Joliet present"));
    EXPECT_THAT(descriptor, HasSubstr("NO Rock Ridge present"));
    EXPECT_EQ(RunForeign({"isoinfo", "-f", "-i", image()}), "/FOLDER\n/FOLDER/A LONG NAME, NOT CUT.HTML\n");
}

TEST_F(Create, SameTreeGivesSameBytes) {
    const std::vector<std::string> names{"b", "a", "file.txt", "FILE.TXT", "File.Txt", "sub/x", "sub/y y", "z.html"};
    std::vector<std::string> reversed(names.rbegin(), names.rend());
    std::string images[2];
    for (int run = 0; run < 2; ++run) {
        const TempFolder tree;
        for (const std::string& name : run == 0 ? names : reversed) tree.write(name, "contents of " + name);
        const ProgramEnd end = create({"-o", "run" + std::to_string(run), "-file-datetime", "01-02-2003-04:05:06",
                                       "-label", "Same", "-add", tree.path().string() + "/.", "/"});
        ASSERT_EQ(end.status, 0) << end.output;
        images[run] = out_.read("run" + std::to_string(run));
    }
    EXPECT_FALSE(images[0].empty());
    EXPECT_TRUE(images[0] == images[1]);
}

TEST_F(Create, ExistingImageIsAskedAbout) {
    tree_.write("a", "a");
    out_.write("x.iso", "old");
    const std::vector<std::string> arguments{"-o", image(), "-add", tree() + "/.", "/"};
    EXPECT_EQ(create(arguments, "no\n").status, kFailed);
    EXPECT_EQ(create(arguments, "CANCEL\r\n").status, kCancelled);
    EXPECT_EQ(create(arguments, "").status, kCancelled);  // the end of input
    EXPECT_EQ(out_.read("x.iso"), "old");
    EXPECT_THAT(made(), ElementsAre("x.iso"));
    EXPECT_EQ(create(arguments, "yes\n").status, 0);
    EXPECT_NE(out_.read("x.iso"), "old");
    EXPECT_THAT(made(), ElementsAre("x.iso"));
}

TEST_F(Create, ImageIsNotPartOfItself) {
    tree_.write("a", "a");
    const std::string inside = (tree_ / "x.iso").string();
    for (int run = 0; run < 2; ++run) {
        const ProgramEnd end = create({"-y", "-add", tree() + "/.", "/", "-o", inside});
        ASSERT_EQ(end.status, 0) << end.output;
        EXPECT_EQ(RunForeign({"isoinfo", "-J", "-f", "-i", inside}), "/a\n");
    }
}

TEST_F(Create, FailuresSayWhyAndLeaveNothing) {
    tree_.write("big", std::string(3 << 20, 'b'));
    struct Case {
        const char* output;
        const char* words;
    };
    for (const Case& each :
         {Case{"folder", "folder cannot be written: it is a folder."},
          Case{"missing/x.iso", "x.iso cannot be written: "}, Case{"/dev/full", "/dev/full cannot be"}}) {
        if (TestingWindowsPrograms() && each.output[0] == '/') continue;
        std::filesystem::create_directories(out_ / "folder");
        const ProgramEnd end = create({"-y", "-o", each.output, "-add", tree() + "/.", "/"});
        EXPECT_EQ(end.status, kFailed) << each.output;
        EXPECT_THAT(end.output, HasSubstr(each.words));
    }
    EXPECT_THAT(made(), ElementsAre("folder"));

    if (TestingWindowsPrograms()) return;
    out_.write("x.iso", "old");
    std::vector<std::string> words{"sh", "-c", "ulimit -f 1000; exec \"$@\"", "sh"};
    for (const std::string& word : OurProgram("tvcmd", {"create", "-y", "-o", image(), "-add", tree() + "/.", "/"}))
        words.push_back(word);
    const ProgramEnd end = RunProgram({.words = words});
    EXPECT_EQ(end.status, kFailed);
    EXPECT_THAT(end.output, HasSubstr("Error writing data. (9-0000001b)\r\n"));
    EXPECT_THAT(end.output, HasSubstr("x.iso: File too large\r\n"));
    EXPECT_EQ(out_.read("x.iso"), "old");
    EXPECT_THAT(made(), ElementsAre("folder", "x.iso"));
}

}  // namespace
}  // namespace tovlark
